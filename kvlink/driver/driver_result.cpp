// SPDX-License-Identifier: MIT
// The texts of the driver's results. See kvlink/driver_result.h.
#include <kvlink/driver_result.h>

#include <Communication_Protocol.h>

namespace
{

struct ResultText {
    int first;
    int last;
    const char *text;
};

// A request that was given up has twelve numbers, one for each type of owner.
// clang-format off
constexpr ResultText resultTexts[] = {
    {kvFailed,           kvFailed,           "no usable answer; the request will be sent again"},
    {kvGood,             kvGood,             "good"},
    {kvGoodUndecoded,    kvGoodUndecoded,    "good; the data of a remote area is not decoded"},
    {11,                 22,                 "the PLC answered with an error code; the request was given up"},
    {41,                 52,                 "the PLC did not answer; the request was given up"},
    {71,                 82,                 "the answer has the wrong length; the request was given up"},
    {111,                122,                "the PLC answered with an error code (remote area); the request was given up"},
    {141,                152,                "the PLC did not answer (remote area); the request was given up"},
    {171,                182,                "the answer has the wrong length (remote area); the request was given up"},
    {kvUnknownOutcome,   kvUnknownOutcome,   "an outcome without a number: a defect of the driver"},
    {kvHandshakeRefused, kvHandshakeRefused, "the PLC did not answer CC to the opening of the link; the request waits"},
};
// clang-format on

} // namespace

// Named as the driver's own calls are.
const char *KvDriverResultText(int result) // NOLINT(readability-identifier-naming)
{
    for (const ResultText &row : resultTexts) {
        if (result >= row.first && result <= row.last)
            return row.text;
    }
    return "not a result of the driver";
}
