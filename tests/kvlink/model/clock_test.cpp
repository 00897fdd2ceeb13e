// SPDX-License-Identifier: MIT
// Waits without an end.
#include "model/clock.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

TEST(Waits, withoutAnEndTakeTenYears)
{
    EXPECT_EQ(countable(Duration::max()), Duration(87'600h));
    EXPECT_EQ(countable(Duration(87'601h)), Duration(87'600h));
}

TEST(Waits, withAnEndStayAsTheyAre)
{
    for (const Duration wait : {Duration(0), Duration(1us), Duration(2s), Duration(87'599h)})
        EXPECT_EQ(countable(wait), wait);
}

} // namespace
} // namespace kvlink
