// SPDX-License-Identifier: MIT
// Which settings and options are refused, and with which sentence.
#include "api/settings_check.h"

#include <gtest/gtest.h>

#include <limits>

using namespace kvlink;

namespace
{
template <class Settings>
struct Row {
    const char *name;
    void (*change)(Settings &);
    const char *problem;

    friend std::ostream &operator<<(std::ostream &out, const Row &row) { return out << row.name; }
};

template <class Settings>
class Check : public testing::TestWithParam<Row<Settings>>
{
protected:
    std::string problem() const
    {
        Settings settings;
        this->GetParam().change(settings);
        return problemOf(settings).toStdString();
    }
};

class LinkCheck : public Check<LinkSettings>
{
};
class TagCheck : public Check<TagSettings>
{
};
class WriteCheck : public Check<WriteOptions>
{
};

constexpr auto nameOfRow = [](const auto &row) { return std::string(row.param.name); };
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST_P(LinkCheck, says)
{
    EXPECT_EQ(problem(), GetParam().problem);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, LinkCheck, testing::Values(
    Row<LinkSettings>{"asGiven",         [](LinkSettings &) {},                     ""},
    Row<LinkSettings>{"noTimeout",       [](LinkSettings &s) { s.timeout = 0ms; },
        "a time-out of 0 ms is not possible; it must be between 1 ms and 60 s"},
    Row<LinkSettings>{"shortest",        [](LinkSettings &s) { s.timeout = 1ms; },  ""},
    Row<LinkSettings>{"longest",         [](LinkSettings &s) { s.timeout = 1min; }, ""},
    Row<LinkSettings>{"longTimeout",     [](LinkSettings &s) { s.timeout = 61s; },
        "a time-out of 61000 ms is not possible; it must be between 1 ms and 60 s"},
    Row<LinkSettings>{"noBlock",         [](LinkSettings &s) { s.maxBlock = 0; },
        "a largest request of 0 is not possible; it must be between 1 and 1000"},
    Row<LinkSettings>{"largeBlock",      [](LinkSettings &s) { s.maxBlock = 1001; },
        "a largest request of 1001 is not possible; it must be between 1 and 1000"},
    Row<LinkSettings>{"negativeGap",     [](LinkSettings &s) { s.gap = -1ms; },
        "a pause between requests of -1 ms is not possible; it must be between 0 and 10 s"}),
    nameOfRow);

TEST_P(TagCheck, says)
{
    EXPECT_EQ(problem(), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(Rows, TagCheck, testing::Values(
    Row<TagSettings>{"asGiven",          [](TagSettings &) {},                       ""},
    Row<TagSettings>{"onDemand",         [](TagSettings &s) { s.period = 0ms; },     ""},
    Row<TagSettings>{"scaleZero",        [](TagSettings &s) { s.scale = 0.0; },
        "a scale must be a number other than 0"},
    Row<TagSettings>{"scaleInfinite",    [](TagSettings &s) { s.scale = infinity; },
        "a scale must be a number other than 0"},
    Row<TagSettings>{"scaleNegative",    [](TagSettings &s) { s.scale = -0.1; },     ""},
    Row<TagSettings>{"offsetInfinite",   [](TagSettings &s) { s.offset = infinity; },
        "an offset must be a finite number"},
    Row<TagSettings>{"deadbandNegative", [](TagSettings &s) { s.deadband = -1.0; },
        "a deadband must be 0 or more"},
    Row<TagSettings>{"periodNegative",   [](TagSettings &s) { s.period = -1ms; },
        "a period of -0.001 s is not possible; it must be between 0 and 86400 s"}),
    nameOfRow);

TEST_P(WriteCheck, says)
{
    EXPECT_EQ(problem(), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(Rows, WriteCheck, testing::Values(
    Row<WriteOptions>{"asGiven",         [](WriteOptions &) {},                      ""},
    Row<WriteOptions>{"noExpiry",        [](WriteOptions &o) { o.expires = 0s; },
        "an expiry of 0 s is not possible; it must be above 0 and at most 86400 s"},
    Row<WriteOptions>{"noAttempt",       [](WriteOptions &o) { o.attempts = 0; },
        "a number of attempts of 0 is not possible; it must be between 1 and 10"},
    Row<WriteOptions>{"manyAttempts",    [](WriteOptions &o) { o.attempts = 11; },
        "a number of attempts of 11 is not possible; it must be between 1 and 10"}),
    nameOfRow);
// clang-format on
} // namespace
