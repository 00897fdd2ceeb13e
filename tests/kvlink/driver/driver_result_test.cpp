// SPDX-License-Identifier: MIT
// The texts of the driver's results, at both ends of each range and beside them.
#include <kvlink/driver_result.h>

#include <gtest/gtest.h>

namespace
{

const char *const notOne = "not a result of the driver";
const char *const errorCode = "the PLC answered with an error code; the request was given up";
const char *const noAnswer = "the PLC did not answer; the request was given up";
const char *const wrongLength = "the answer has the wrong length; the request was given up";
const char *const errorRemote = "the PLC answered with an error code (remote area); the request was given up";
const char *const noAnswerRemote = "the PLC did not answer (remote area); the request was given up";
const char *const wrongLengthRemote =
    "the answer has the wrong length (remote area); the request was given up";

TEST(DriverResultText, namesEveryResultAndNoOther)
{
    struct Row {
        int result;
        const char *text;
    };
    // clang-format off
    const Row rows[] = {
        {-1, notOne}, {0, "no usable answer; the request will be sent again"}, {1, "good"}, {2, notOne},
        {10, notOne}, {11, errorCode}, {22, errorCode}, {23, notOne},
        {40, notOne}, {41, noAnswer}, {52, noAnswer}, {53, notOne},
        {70, notOne}, {71, wrongLength}, {82, wrongLength}, {83, notOne},
        {99, notOne}, {100, "good; the data of a remote area is not decoded"}, {101, notOne},
        {110, notOne}, {111, errorRemote}, {122, errorRemote}, {123, notOne},
        {140, notOne}, {141, noAnswerRemote}, {152, noAnswerRemote}, {153, notOne},
        {170, notOne}, {171, wrongLengthRemote}, {182, wrongLengthRemote}, {183, notOne},
        {199, notOne}, {200, "an outcome without a number: a defect of the driver"},
        {201, "the PLC did not answer CC to the opening of the link; the request waits"}, {202, notOne},
    };
    // clang-format on
    for (const Row &row : rows)
        EXPECT_STREQ(KvDriverResultText(row.result), row.text) << row.result;
}

} // namespace
