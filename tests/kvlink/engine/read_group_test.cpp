// SPDX-License-Identifier: MIT
// When the requests of a group are stale, whatever becomes of them, and how long cuts last.
#include "engine/read_group.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

constexpr SteadyTime now{1h};
constexpr SteadyTime never = SteadyTime::max();

// No request reads across ten units or more that nobody asked for.
constexpr PlanLimits apart{128, 10, 1.0};
constexpr PlanLimits together{128, 1000, 1.0};

ReadGroup groupOf(std::initializer_list<UnitRange> tags)
{
    ReadGroup group(*findDevice(QStringLiteral("DM")));
    for (const UnitRange &tag : tags)
        group.add(tag);
    group.replan(apart);
    return group;
}

// Answers all requests of a pass, each a second later than the one before it.
void answerAll(ReadGroup &group, SteadyTime staleAt)
{
    while (const ReadBlock *block = group.next(1, now)) {
        group.answered(PlannedBlock(*block), staleAt);
        staleAt += 1s;
    }
}

struct Aged {
    std::vector<int> first; // units of the requests that were stale
    SteadyTime next;

    friend bool operator==(const Aged &, const Aged &) = default;
};

Aged aged(ReadGroup &group, SteadyTime at)
{
    Aged found;
    found.next = group.age(at, [&found](const ReadBlock &block) { found.first.push_back(block.first); });
    return found;
}

TEST(ReadGroup, AgesEachRequestOnceAndTellsWhenTheNextOneIsDue)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    EXPECT_EQ(aged(group, now), (Aged{{}, never})); // nothing was good yet
    answerAll(group, now + 3s);
    EXPECT_EQ(aged(group, now + 2999ms), (Aged{{}, now + 3s}));
    EXPECT_EQ(aged(group, now + 3s), (Aged{{0}, now + 4s}));
    EXPECT_EQ(aged(group, now + 4s), (Aged{{100}, never}));
    EXPECT_EQ(aged(group, now + 5s), (Aged{{}, never}));
}

TEST(ReadGroup, AgesAValueThatWasGoodWhenItsTagCame)
{
    ReadGroup group = groupOf({});
    group.add({0, 1, 1, 1}, now + 2s);
    group.add({100, 1, 1, 2}, now + 1s);
    group.add({200, 1, 1, 3});
    group.replan(apart);
    // All that came together age with the first of them.
    EXPECT_EQ(aged(group, now + 999ms), (Aged{{}, now + 1s}));
    EXPECT_EQ(aged(group, now + 1s), (Aged{{0, 100, 200}, never}));
    // A later one is not held to the time of those.
    group.add({300, 1, 1, 4}, now + 9s);
    group.replan(apart);
    EXPECT_EQ(aged(group, now + 8s).first, std::vector<int>{});
}

TEST(ReadGroup, AgesJoinedRequestsWithTheEarliestOfThem)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    answerAll(group, now + 3s); // the second one a second later
    group.invalidate();
    group.replan(together);
    ASSERT_EQ(group.blocks().size(), 1U);
    EXPECT_EQ(aged(group, now + 2999ms), (Aged{{}, now + 3s}));
    EXPECT_EQ(aged(group, now + 3s), (Aged{{0}, never}));
}

TEST(ReadGroup, DoesNotAgeWhatIsNotGood)
{
    ReadGroup failed = groupOf({{0, 1, 1, 1}});
    answerAll(failed, now + 3s);
    failed.failed(PlannedBlock(failed.blocks()[0]));
    EXPECT_EQ(aged(failed, now + 1h), (Aged{{}, never}));

    ReadGroup forgotten = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    answerAll(forgotten, now + 3s);
    forgotten.forgetAges();
    EXPECT_EQ(aged(forgotten, now + 1h), (Aged{{}, never}));
}

TEST(ReadGroup, AgesAtLatestAsSaidAndEarlierWhereItHadTo)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    answerAll(group, now + 3s); // and 4 s
    group.ageAtLatest(now + 3500ms);
    EXPECT_EQ(aged(group, now + 3s), (Aged{{0}, now + 3500ms}));
}

TEST(ReadGroup, AgesAllWhenTheRequestThatWasAnsweredIsNoLongerPlanned)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    answerAll(group, now + 3s); // and 4 s
    const PlannedBlock asked = group.blocks()[0];
    group.add({1, 1, 1, 3});
    group.replan(apart);
    ASSERT_EQ(group.blocks()[0].count, 2);
    // Its tags are in another request now, and nothing tells in which.
    group.answered(asked, now + 2s);
    EXPECT_EQ(aged(group, now + 1999ms), (Aged{{}, now + 2s}));
    EXPECT_EQ(aged(group, now + 2s), (Aged{{0, 100}, never}));
}

TEST(ReadGroup, KeepsItsCutsForAMinuteAfterRefusalsWereForgotten)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {1, 1, 1, 2}});
    EXPECT_TRUE(group.refused(PlannedBlock(*group.next(1, now)), 0, now));
    group.forgetRefusals(); // another PLC may be there
    group.replan(apart);
    ASSERT_EQ(group.blocks().size(), 1U);
    EXPECT_TRUE(group.refused(PlannedBlock(*group.next(2, now)), 0, now));
    group.forgetOldCuts(now + 59999ms);
    group.replan(apart);
    EXPECT_EQ(group.blocks().size(), 2U);
    group.forgetOldCuts(now + 60s);
    group.replan(apart);
    EXPECT_EQ(group.blocks().size(), 1U);
}

} // namespace
} // namespace kvlink
