// SPDX-License-Identifier: MIT
// Plans as texts: "0+12(2)" is a request of 12 units from 0 on for two tags.
#include "engine/planner.h"
#include "engine/read_group.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kvlink
{
namespace
{

std::string text(const std::vector<PlannedBlock> &blocks)
{
    std::ostringstream out;
    for (const PlannedBlock &block : blocks)
        out << (out.str().empty() ? "" : " ") << block.first << '+' << block.count << '('
            << block.end - block.begin << ')' << (block.isPiece ? "p" : "");
    return out.str();
}

PlanLimits limits(int most, double gapsPerRequest)
{
    return {most, gapsPerRequest, 1.0};
}

TEST(Planner, MakesAsFewRequestsAsPay)
{
    // clang-format off
    const struct { std::vector<UnitRange> tags; int most; double gap; const char *plan; } rows[] = {
        {{},                                         128, 10, ""},
        {{{5, 1}},                                   128, 10, "5+1(1)"},
        {{{0, 1}, {1, 1}, {2, 2}},                   128, 10, "0+4(3)"},
        {{{0, 1}, {10, 1}},                          128, 10, "0+11(2)"},       // 9 units cost less than a request
        {{{0, 1}, {11, 1}},                          128, 10, "0+1(1) 11+1(1)"},// 10 cost as much
        {{{0, 1}, {120, 1}},                         128, 10, "0+1(1) 120+1(1)"},
        {{{0, 100}, {100, 28}, {128, 1}},            128, 10, "0+128(2) 128+1(1)"},
        {{{126, 2}, {127, 2}},                       2,   10, "126+2(1) 127+2(1)"}, // never torn
        {{{0, 1}, {127, 2}},                         128, 1000, "0+1(1) 127+2(1)"}, // a double word where a block would end
        {{{0, 10}, {2, 1}, {12, 1}},                 128, 10, "0+13(3)"},       // one inside another
        {{{0, 20, 2}},                               8,   10, "0+8(1)p 8+8(1)p 16+4(1)p"},
        {{{0, 20, 2}},                               9,   10, "0+8(1)p 8+8(1)p 16+4(1)p"}, // between values
        {{{0, 1}, {1, 20, 2}, {21, 1}},              8,   10, "0+1(1) 1+8(1)p 9+8(1)p 17+4(1)p 21+1(1)"},
        {{{0, 20, 20}},                              8,   10, "0+20(1)p"},      // a text stays whole
        {{{0, 4, 2}},                                1,   10, "0+2(1)p 2+2(1)p"}, // a value is the least
    };
    // clang-format on
    for (const auto &row : rows)
        EXPECT_EQ(text(planBlocks(row.tags, limits(row.most, row.gap))), row.plan);
}

TEST(Planner, CutsWhereItMust)
{
    const std::vector<UnitRange> tags{{0, 1}, {1, 1}, {2, 1}, {2, 2}, {4, 1}};
    EXPECT_EQ(text(planBlocks(tags, limits(128, 10), {{2, 1}})), "0+2(2) 2+3(3)");
    EXPECT_EQ(text(planBlocks(tags, limits(128, 10), {{2, 2}})), "0+3(3) 2+3(2)");
    EXPECT_EQ(text(planBlocks(tags, limits(128, 10), {{1, 1}, {2, 1}})), "0+1(1) 1+1(1) 2+3(3)");
}

TEST(Planner, CountsUnitsThatNobodyAskedFor)
{
    const std::vector<PlannedBlock> blocks =
        planBlocks(std::vector<UnitRange>{{0, 2}, {5, 1}, {5, 2}, {9, 1}}, limits(128, 10));
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].count, 10);
    EXPECT_EQ(blocks[0].usedUnits, 5);
    EXPECT_EQ(blocks[0].gaps, 2);
}

TEST(ReadGroup, IsolatesWhatThePlcRefuses)
{
    const SteadyTime now{1h};
    ReadGroup group(*findDevice(QStringLiteral("DM")));
    for (int unit = 0; unit < 16; ++unit)
        group.add({unit, 1, 1, quint32(unit)});
    constexpr int bad = 11;
    int requests = 0;
    const auto pass = [&](quint64 number, SteadyTime at) {
        requests = 0;
        for (;;) {
            group.forgetOldCuts(at);
            group.replan(limits(128, 10));
            const ReadBlock *block = group.next(number, at);
            if (block == nullptr)
                return;
            ++requests;
            const PlannedBlock asked = *block;
            if (asked.first <= bad && bad < asked.first + asked.count)
                EXPECT_EQ(group.refused(asked, 0, at), asked.count > 1) << asked.first;
            else
                group.answered(asked, at + 3s);
        }
    };
    pass(1, now);
    EXPECT_EQ(requests, 9); // 16, 8, 8 of which 4 4, 2 2, 1 1
    pass(2, now + 1s);
    EXPECT_EQ(requests, 4); // the pieces without the bad one
    pass(3, now + 61s);
    EXPECT_EQ(requests, 3); // all before the bad one, it again, all behind it
    EXPECT_TRUE(group.blocks()[1].isRefused());
    group.forgetRefusals();
    group.replan(limits(128, 10));
    EXPECT_EQ(group.blocks().size(), 1U);
}

TEST(ReadGroup, TakesOneMoreTagToAHundredThousand)
{
    ReadGroup group(*findDevice(QStringLiteral("ZF")));
    for (int tag = 0; tag < 100000; ++tag)
        group.add({tag * 2, 2, 2, quint32(tag)});
    group.replan(limits(128, 10));
    EXPECT_EQ(group.blocks().size(), 1563U); // 64 double words each
    EXPECT_EQ(group.tagCount(), 100000);
    const UnitRange one{7, 1, 1, 100000};
    group.add(one);
    group.replan(limits(128, 10));
    EXPECT_EQ(group.blocks().size(), 1563U);
    group.remove(one);
    group.replan(limits(128, 10));
    EXPECT_EQ(group.tagCount(), 100000);
}

TEST(ReadGroup, KeepsWhatItKnowsOfRequestsThatStay)
{
    const SteadyTime now{1h};
    ReadGroup group(*findDevice(QStringLiteral("DM")));
    group.add({0, 1, 1, 1});
    group.add({100, 1, 1, 2});
    group.replan(limits(128, 10));
    while (const ReadBlock *block = group.next(1, now))
        group.answered(PlannedBlock(*block), now + 3s);
    group.add({50, 1, 1, 3});
    group.replan(limits(128, 10));
    const ReadBlock *fresh = group.next(1, now);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh->first, 50); // the other two have been asked in this pass
    EXPECT_EQ(group.next(1, now), nullptr);
}

} // namespace
} // namespace kvlink
