// SPDX-License-Identifier: MIT
// Reads beside the rhythm: which one is first, and when each ends. And the requests that read the
// tags of several devices.
#include "engine/asked_reads.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

using Ids = std::vector<ReadId>;

AskedReads readsOf(const Ids &ids)
{
    AskedReads reads;
    for (const ReadId id : ids) {
        AskedRead read;
        read.id = id;
        reads.add(std::move(read));
    }
    return reads;
}

TEST(AskedReads, endInTheOrderInWhichTheyWereAskedFor)
{
    AskedReads reads = readsOf({7, 0, 5});
    EXPECT_EQ(reads.first().id, 7U);
    reads.endFirst();
    EXPECT_EQ(reads.takeEnded(), Ids{7});
    EXPECT_EQ(reads.first().id, 0U);
    reads.endFirst(); // of new tags: nobody waits for it
    EXPECT_EQ(reads.takeEnded(), Ids{});
    reads.endFirst();
    EXPECT_TRUE(reads.isEmpty());
    EXPECT_EQ(reads.takeEnded(), Ids{5});
    EXPECT_EQ(reads.takeEnded(), Ids{}) << "each ends once";
}

TEST(AskedReads, surviveOneLossOfTheLink)
{
    AskedReads reads = readsOf({7, 0, 5});
    EXPECT_EQ(reads.first().pass(), 1U);
    reads.linkLost();
    EXPECT_EQ(reads.takeEnded(), Ids{});
    EXPECT_EQ(reads.first().pass(), 2U) << "all of it is asked again";
    AskedRead later;
    later.id = 9;
    reads.add(std::move(later));
    reads.linkLost();
    EXPECT_EQ(reads.takeEnded(), (Ids{7, 5}));
    ASSERT_FALSE(reads.isEmpty());
    EXPECT_EQ(reads.first().id, 9U);
}

TEST(AskedReads, ofNewTagsEndWithTheLink)
{
    AskedReads reads = readsOf({0});
    reads.linkLost();
    EXPECT_TRUE(reads.isEmpty());
    EXPECT_EQ(reads.takeEnded(), Ids{});
}

TEST(AskedReads, endAllAtOnce)
{
    AskedReads reads = readsOf({0, 7, 5});
    reads.endAll();
    EXPECT_TRUE(reads.isEmpty());
    EXPECT_EQ(reads.takeEnded(), (Ids{7, 5}));
}

TEST(ReadGroups, giveEachRequestOfAPassOnce)
{
    const Device &dm = *findDevice(QStringLiteral("DM"));
    const Device &em = *findDevice(QStringLiteral("EM"));
    const PlanCosts costs(100, 0.0);
    ReadGroups groups;
    groups.add(dm, {0, 1, 1, 1});
    groups.add(em, {7, 2, 1, 2});
    groups.add(dm, {1, 1, 1, 3});
    std::map<QString, std::vector<ValueBook::Slot>> asked;
    const auto askAll = [&](quint64 pass) {
        asked.clear();
        ReadRequest request;
        while (groups.next(request, pass, costs, SteadyTime{1h}))
            asked[QLatin1String(request.device->name)] = request.tagSlots;
        return asked.size();
    };
    EXPECT_EQ(askAll(1), 2U);
    EXPECT_EQ(asked[QStringLiteral("DM")], (std::vector<ValueBook::Slot>{1, 3}));
    EXPECT_EQ(asked[QStringLiteral("EM")], (std::vector<ValueBook::Slot>{2}));
    EXPECT_EQ(askAll(1), 0U) << "nothing is left of this pass";
    EXPECT_EQ(askAll(2), 2U);
}

TEST(ReadGroups, goWithTheirLastTag)
{
    const Device &dm = *findDevice(QStringLiteral("DM"));
    ReadGroups groups;
    EXPECT_EQ(groups.find(dm), nullptr);
    groups.add(dm, {0, 1, 1, 1});
    groups.add(dm, {5, 1, 1, 2});
    groups.remove(dm, {0, 1, 1, 1});
    ASSERT_NE(groups.find(dm), nullptr);
    EXPECT_EQ(groups.find(dm)->tagCount(), 1);
    groups.remove(dm, {5, 1, 1, 2});
    EXPECT_TRUE(groups.isEmpty());
    EXPECT_EQ(groups.find(dm), nullptr);
}

} // namespace
} // namespace kvlink
