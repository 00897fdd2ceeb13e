// SPDX-License-Identifier: MIT
// Times as people write them.
#include "model/duration_text.h"
#include "rows.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

struct GoodRow {
    const char *name;
    const char *typed;
    qint64 microseconds;
    const char *shown;
};

class GoodDuration : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodDuration, isThatLong)
{
    QString problem;
    const auto duration = durationFromText(QString::fromLatin1(GetParam().typed), problem);
    ASSERT_TRUE(duration) << problem.toStdString();
    EXPECT_EQ(duration->count(), GetParam().microseconds);
    EXPECT_EQ(durationText(*duration).toStdString(), GetParam().shown);
    EXPECT_TRUE(problem.isEmpty());
}

TEST_P(GoodDuration, comesBackFromHowItIsShown)
{
    QString problem;
    const auto again = durationFromText(QString::fromLatin1(GetParam().shown), problem);
    ASSERT_TRUE(again) << problem.toStdString();
    EXPECT_EQ(again->count(), GetParam().microseconds);
}

// clang-format off
const GoodRow goodRows[] = {
    {"milliseconds", "500ms",    500'000,             "500ms"},
    {"seconds",      "2s",       2'000'000,           "2s"},
    {"minutes",      "1.5m",     90'000'000,          "1.5m"},
    {"hour",         "1h",       3'600'000'000,       "1h"},
    {"days",         "30d",      2'592'000'000'000,   "30d"},
    {"microseconds", "250us",    250,                 "250us"},
    {"capitals",     "2S",       2'000'000,           "2s"},
    {"spaces",       " 2 s ",    2'000'000,           "2s"},
    {"noWhole",      ".5s",      500'000,             "500ms"},
    {"seconds90",    "90s",      90'000'000,          "1.5m"},
    {"seconds100",   "100s",     100'000'000,         "100s"},
    {"decimals",     "1.234s",   1'234'000,           "1234ms"},
    {"oneDecimal",   "1.5s",     1'500'000,           "1.5s"},
    {"odd",          "1.234567s", 1'234'567,          "1234567us"},
    {"tenths",       "0.1ms",    100,                 "100us"},
    {"rounded",      "0.6us",    1,                   "1us"},
    {"nineTenths",   "1.9h",     6'840'000'000,       "1.9h"},
    {"zero",         "0s",       0,                   "0s"},
    {"zeroDays",     "0d",       0,                   "0s"},
    {"longest",      "36500d",   3'153'600'000'000'000, "36500d"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, GoodDuration, testing::ValuesIn(goodRows), nameOfRow<GoodRow>);

struct BadRow {
    const char *name;
    const char *typed;
    const char *problem;
};

class BadDuration : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadDuration, isRefusedWithASentence)
{
    QString problem;
    EXPECT_FALSE(durationFromText(QString::fromLatin1(GetParam().typed), problem));
    EXPECT_EQ(problem.toStdString(), GetParam().problem);
}

// clang-format off
const BadRow badRows[] = {
    {"noUnit",    "500",      "'500' has no unit: write 500ms or 500s"},
    {"noUnit2",   "1.5",      "'1.5' has no unit: write 1.5ms or 1.5s"},
    {"zero",      "0",        "'0' has no unit: write 0ms or 0s"},
    {"empty",     "",         "'' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"unitOnly",  "ms",       "'ms' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"word",      "soon",     "'soon' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"negative",  "-1s",      "'-1s' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"twoPoints", "1.2.3s",   "'1.2.3s' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"comma",     "1,5s",     "',5s' is not a unit of time: use us, ms, s, m, h or d"},
    {"otherUnit", "5min",     "'min' is not a unit of time: use us, ms, s, m, h or d"},
    {"slash",     "5/s",      "'/s' is not a unit of time: use us, ms, s, m, h or d"},
    {"colon",     "5:s",      "':s' is not a unit of time: use us, ms, s, m, h or d"},
    {"twoUnits",  "1h30m",    "'h30m' is not a unit of time: use us, ms, s, m, h or d"},
    {"tooLong",   "36501d",   "'36501d' is too long: at most 36500d"},
    {"muchTooLong", "99999999999999999999999d", "'99999999999999999999999d' is too long: at most 36500d"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, BadDuration, testing::ValuesIn(badRows), nameOfRow<BadRow>);

TEST(DurationText, hasASign)
{
    EXPECT_EQ(durationText(-1500ms), QStringLiteral("-1.5s"));
    EXPECT_EQ(durationText(-500ms), QStringLiteral("-500ms"));
}

} // namespace
} // namespace kvlink
