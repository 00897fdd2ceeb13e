// SPDX-License-Identifier: MIT
#include "outlets/back_off.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TEST(BackOff, doublesUpToTheLongestAndBeginsAgain)
{
    BackOff backOff(1000ms, 5000ms);
    for (const auto most : {1000ms, 2000ms, 4000ms, 5000ms, 5000ms}) {
        const auto wait = backOff.next();
        EXPECT_GE(wait, most / 2);
        EXPECT_LE(wait, most);
    }
    backOff.reset();
    EXPECT_LE(backOff.next(), 1000ms);
}

} // namespace
} // namespace kvgateway
