// SPDX-License-Identifier: MIT
// The name that was probably meant.
#include "model/near_name.h"
#include "rows.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

struct NearRow {
    const char *name;
    const char *given;
    const char *names; // separated by spaces
    const char *nearest;
};

class NearName : public testing::TestWithParam<NearRow>
{
};

TEST_P(NearName, isTheOneWithFewestSlips)
{
    const QStringList names = QString::fromLatin1(GetParam().names).split(QLatin1Char(' '));
    EXPECT_EQ(nearestName(QString::fromLatin1(GetParam().given), names).toStdString(), GetParam().nearest);
}

// clang-format off
const NearRow nearRows[] = {
    {"swapped",         "raed",      "write read watch",      "read"},
    {"swappedFirst",    "erad",      "write read",            "read"},
    {"swappedTwo",      "mr",        "dm rm",                 "rm"},
    {"swappedAndWrong", "xeda",      "read",                  ""},
    {"missing",         "perod",     "plc period",            "period"},
    {"added",           "watcch",    "write watch",           "watch"},
    {"changed",         "rezd",      "write read",            "read"},
    {"otherCase",       "SPEED1",    "speed1 speed2",         "speed1"},
    {"theName",         "read",      "raed read",             "read"},
    {"firstOfEqual",    "speed",     "speed1 speed2",         "speed1"},
    {"nearerLater",     "speed22",   "speed1 speed2",         "speed2"},
    {"nothingNear",     "xyz",       "write read watch",      ""},
    {"oneLetter",       "d",         "b c dm",                "dm"},
    {"oneLetterNoneIn", "x",         "b c dm",                ""},
    {"twoSlipsOfFive",  "rxxds",     "reads",                 ""},       // 5 letters allow 1
    {"twoSlipsOfSix",   "perxxd",    "period",                "period"}, // 6 letters allow 2
    {"threeSlipsOfSix", "pexxxd",    "period",                ""},
    {"threeSlipsOfNine","conveyxxx", "conveyors",             "conveyors"},
    {"fourSlipsOfNine", "convexxxx", "conveyors",             ""},
    {"muchLonger",      "re",        "read",                  ""},
    {"empty",           "",          "a b",                   ""},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, NearName, testing::ValuesIn(nearRows), nameOfRow<NearRow>);

TEST(NearName, ofNoNamesIsEmpty)
{
    EXPECT_EQ(nearestName(QStringLiteral("read"), {}), QString());
}

} // namespace
} // namespace kvlink
