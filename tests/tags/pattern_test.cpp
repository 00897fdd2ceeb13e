// SPDX-License-Identifier: MIT
#include "tags/pattern.h"

#include <gtest/gtest.h>

namespace kvtags
{
namespace
{

struct PatternRow {
    const char *pattern, *name;
    bool matches;
};

class Patterns : public testing::TestWithParam<PatternRow>
{
};

TEST_P(Patterns, matchNamesAsAShellMatchesFiles)
{
    EXPECT_EQ(matchesPattern(GetParam().pattern, GetParam().name), GetParam().matches)
        << GetParam().pattern << " " << GetParam().name;
}

const PatternRow rows[] = {
    {"Valve*", "Valve1", true},
    {"Valve*", "Valve", true},
    {"Valve*", "valve1", false},
    {"*speed", "line1.speed", true},
    {"*speed", "speeds", false},
    {"V?lve", "Valve", true},
    {"V?lve", "Vlve", false},
    {"*a*b*", "xxaxxbxx", true},
    {"*a*b*", "xxbxxaxx", false},
    {"**", "", true},
    {"?", "", false},
    {"a*a*a*a*a*b", "aaaaaaaaaaaaaaaa", false},
};

INSTANTIATE_TEST_SUITE_P(Rows, Patterns, testing::ValuesIn(rows));

TEST(Patterns, oneOfThemIsEnoughAndNoneMeansAll)
{
    EXPECT_TRUE(matchesAny({"a.*", "b.*"}, "b.x"));
    EXPECT_FALSE(matchesAny({"a.*", "b.*"}, "c.x"));
    EXPECT_TRUE(matchesAny({}, "c.x"));
}

} // namespace
} // namespace kvtags
