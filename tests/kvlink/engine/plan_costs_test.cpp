// SPDX-License-Identifier: MIT
// What plans reckon with: limits for each device, and when what was measured makes new plans.
#include "engine/plan_costs.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

// Answers enough to be believed, without a line between.
void answer(PlanCosts &costs, Duration took)
{
    for (int i = 0; i < 200; ++i)
        costs.measured(took, 0);
}

TEST(PlanCosts, ofADeviceFollowItsUnitsAndItsLimit)
{
    // A millisecond a byte; a request costs 10 ms and 22 bytes as long as nothing was measured.
    const PlanCosts costs(200, 0.001);
    // clang-format off
    const struct { const char *device; int most; double unit; } rows[] = {
        {"DM", 200, 0.006},
        {"R",  200, 0.006},
        {"Z",   12, 0.011}, // a double word
        {"T",  120, 0.024}, // contact, current value and set value come together
        {"TC", 120, 0.024},
    };
    // clang-format on
    for (const auto &row : rows) {
        const Device *device = findDevice(QLatin1String(row.device));
        ASSERT_NE(device, nullptr) << row.device;
        const PlanLimits limits = costs.limitsOf(*device);
        EXPECT_EQ(limits.mostUnits, row.most) << row.device;
        EXPECT_DOUBLE_EQ(limits.unitSeconds, row.unit) << row.device;
        EXPECT_DOUBLE_EQ(limits.requestSeconds, 0.032) << row.device;
    }
}

TEST(PlanCosts, areNotLookedAtBeforeTheyAreMeasured)
{
    PlanCosts costs(100, 0.0);
    costs.measured(1s, 0);
    EXPECT_FALSE(costs.isMeasured());
    EXPECT_FALSE(costs.haveChanged(SteadyTime{1h}));
    answer(costs, 1s);
    EXPECT_TRUE(costs.isMeasured());
    EXPECT_TRUE(costs.haveChanged(SteadyTime{1h})); // the look before was none
}

TEST(PlanCosts, changeInStepsOfTwoEveryTenSeconds)
{
    // clang-format off
    const struct { Duration after, took; bool changed; } rows[] = { // 5 ms are the guess
        {1h,    8ms,  false},
        {10s,   11ms, true},
        {9s,    40ms, false},
        {1s,    40ms, true},
        {10s,   30ms, false},
        {10s,   19ms, true},  // of 40 ms, not of 30
    };
    // clang-format on
    PlanCosts costs(100, 0.0);
    SteadyTime now{};
    int number = 0;
    for (const auto &row : rows) {
        ++number;
        now += row.after;
        answer(costs, row.took);
        EXPECT_EQ(costs.haveChanged(now), row.changed) << number;
    }
}

TEST(PlanCosts, haveChangedAtTwiceAndAtHalf)
{
    for (const Duration took : {Duration(10ms), Duration(2500us)}) { // 5 ms are the guess
        PlanCosts costs(100, 0.0);
        answer(costs, took);
        EXPECT_TRUE(costs.haveChanged(SteadyTime{1h})) << took.count();
    }
}

TEST(PlanCosts, ofARequestStayUntilTheyHaveChanged)
{
    PlanCosts costs(100, 0.001);
    answer(costs, 90ms);
    EXPECT_DOUBLE_EQ(costs.requestSeconds(), 0.032);
    EXPECT_TRUE(costs.haveChanged(SteadyTime{1h}));
    EXPECT_NEAR(costs.requestSeconds(), 0.112, 1e-9);
}

} // namespace
} // namespace kvlink
