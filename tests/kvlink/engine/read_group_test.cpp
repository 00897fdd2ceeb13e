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
    EXPECT_TRUE(group.refused(PlannedBlock(*group.next(2, now)), 0, now + 30s));
    group.forgetOldCuts(now + 89999ms);
    group.replan(apart);
    EXPECT_EQ(group.blocks().size(), 2U);
    group.forgetOldCuts(now + 90s);
    group.replan(apart);
    EXPECT_EQ(group.blocks().size(), 1U);
}

TEST(ReadGroup, AgesARequestThatStaysByTheEarlierOfItsTags)
{
    for (const Duration added : {Duration(2s), Duration(9s)}) {
        ReadGroup group = groupOf({{0, 1, 1, 1}});
        answerAll(group, now + 3s);
        group.add({0, 1, 1, 2}, now + added); // another tag of the same unit
        group.replan(apart);
        ASSERT_EQ(group.blocks().size(), 1U);
        EXPECT_EQ(aged(group, now), (Aged{{}, now + std::min<Duration>(added, 3s)}));
    }
}

TEST(ReadGroup, DoesNotPlanAgainForAnAnswer)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {100, 1, 1, 2}});
    answerAll(group, now + 3s);
    group.replan(together);
    EXPECT_EQ(group.blocks().size(), 2U);
    group.invalidate();
    group.replan(together);
    EXPECT_EQ(group.blocks().size(), 1U);
}

// --- tags that come and go in any order ----------------------------------------------------------

std::string slotsOf(const ReadGroup &group)
{
    std::string all;
    for (const ReadBlock &block : group.blocks()) {
        all += all.empty() ? "" : " ";
        for (const UnitRange &tag : group.tagsOf(block))
            all += std::to_string(tag.slot);
    }
    return all;
}

TEST(ReadGroup, PlansTagsByTheirUnitsInWhateverOrderTheyCameAndGo)
{
    ReadGroup group = groupOf({{200, 1, 1, 3}, {0, 1, 1, 1}, {201, 2, 1, 5}, {201, 1, 1, 4}, {1, 1, 1, 2}});
    EXPECT_EQ(slotsOf(group), "12 345");
    group.add({2, 1, 1, 7}); // between those that are there
    group.add({0, 1, 1, 6}); // the unit of 1
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "1627 345");
    group.remove({201, 1, 1, 4});
    group.remove({2, 1, 1, 7});
    group.remove({0, 1, 1, 1});
    EXPECT_EQ(group.tagCount(), 4);
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "62 35");
    EXPECT_EQ(group.tagCount(), 4);
    for (const UnitRange &tag : {UnitRange{201, 2, 1, 5}, {200, 1, 1, 3}, {1, 1, 1, 2}, {0, 1, 1, 6}})
        group.remove(tag);
    EXPECT_TRUE(group.isEmpty());
}

TEST(ReadGroup, TakesBackATagThatWasNotPlannedYet)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}});
    group.add({0, 1, 1, 2});
    group.add({5, 1, 1, 2}); // the same tag elsewhere
    group.remove({5, 1, 1, 2});
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "12");
}

// --- refusals ------------------------------------------------------------------------------------

// Refuses what comes next. \return what is planned then
std::string afterRefusal(ReadGroup &group, quint64 pass, SteadyTime at)
{
    const ReadBlock *block = group.next(pass, at);
    if (block == nullptr)
        return "nothing to refuse";
    group.refused(PlannedBlock(*block), 4, at);
    group.replan(apart);
    return slotsOf(group);
}

TEST(ReadGroup, CutsInTheMiddle)
{
    ReadGroup four = groupOf({{0, 1, 1, 1}, {1, 1, 1, 2}, {2, 1, 1, 3}, {3, 1, 1, 4}});
    EXPECT_EQ(afterRefusal(four, 1, now), "12 34");
    ReadGroup three = groupOf({{0, 1, 1, 1}, {1, 1, 1, 2}, {2, 1, 1, 3}});
    EXPECT_EQ(afterRefusal(three, 1, now), "12 3");
    ReadGroup seven = groupOf(
        {{0, 1, 1, 1}, {1, 1, 1, 2}, {2, 1, 1, 3}, {3, 1, 1, 4}, {4, 1, 1, 5}, {5, 1, 1, 6}, {6, 1, 1, 7}});
    EXPECT_EQ(afterRefusal(seven, 1, now), "1234 567");
    ReadGroup shared =
        groupOf({{0, 1, 1, 1}, {5, 1, 1, 2}, {5, 1, 1, 3}}); // two tags of one unit stay together
    EXPECT_EQ(afterRefusal(shared, 1, now), "1 23");
}

TEST(ReadGroup, AsksBothHalvesInTheSamePassEvenIfOneAsksForTheSameUnits)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {0, 2, 1, 2}});
    EXPECT_EQ(afterRefusal(group, 1, now), "1 2");
    const ReadBlock *first = group.next(1, now);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->count, 1);
    const ReadBlock *second = group.next(1, now);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->count, 2); // as many as were refused, for one tag less
    EXPECT_EQ(group.next(1, now), nullptr);
}

TEST(ReadGroup, KeepsARefusedTagAloneWhenItsNeighboursAreJoinedAgain)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}, {0, 2, 1, 2}, {0, 3, 1, 3}});
    EXPECT_EQ(afterRefusal(group, 1, now), "12 3");
    EXPECT_EQ(afterRefusal(group, 1, now), "1 2 3");
    group.answered(PlannedBlock(*group.next(1, now)), now + 3s); // of 1
    EXPECT_EQ(afterRefusal(group, 1, now + 1s), "1 2 3");        // 2 is alone and bad
    EXPECT_EQ(group.blocks()[1].plcError, 4);
    EXPECT_EQ(group.blocks()[1].notBefore, now + 61s);
    EXPECT_FALSE(group.blocks()[0].isRefused());
    group.forgetOldCuts(now + 60s);
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "1 2 3");
    // Asked again a minute later, it is there: all go together again.
    EXPECT_EQ(group.next(2, now + 61s)->begin, 0U);
    const ReadBlock *again = group.next(2, now + 61s);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->begin, 1U);
    group.answered(PlannedBlock(*again), now + 64s);
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "123");
}

TEST(ReadGroup, AsksOnceMoreForTagsOfARefusedRequestThatIsNoLongerPlanned)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}});
    const PlannedBlock asked = *group.next(1, now);
    group.add({1, 1, 1, 2});
    group.replan(apart);
    EXPECT_TRUE(group.refused(asked, 0, now));
    group.replan(apart);
    EXPECT_EQ(slotsOf(group), "12");
    EXPECT_FALSE(group.blocks()[0].isRefused());
    EXPECT_NE(group.next(1, now), nullptr);
}

TEST(ReadGroup, DoesNotAskARefusedTagBeforeItsMinuteIsOverNorAgeIt)
{
    ReadGroup group = groupOf({{0, 1, 1, 1}});
    answerAll(group, now + 3s);
    EXPECT_EQ(afterRefusal(group, 2, now), "1");
    EXPECT_EQ(aged(group, now + 10s), (Aged{{}, never}));
    EXPECT_EQ(group.next(3, now + 59999ms), nullptr);
    EXPECT_NE(group.next(4, now + 60s), nullptr);
}

} // namespace
} // namespace kvlink
