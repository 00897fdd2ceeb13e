// SPDX-License-Identifier: MIT
// The table of newest samples: a reader that comes late gets the newest state, once.
#include "plant/live_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TableTag tag(const char *name, int plc)
{
    TableTag tag;
    tag.config.name = name;
    tag.plc = plc;
    return tag;
}

kvlink::Sample good(qint64 value)
{
    return {value, kvlink::Quality::Good, kvlink::Reason::None, 0, kvlink::WallTime(1s), {}};
}

class Table : public testing::Test
{
protected:
    // "0=5 1=- link0" in the order of the changes.
    std::string after(quint64 seen, int most = 1000)
    {
        const Changes changes = table.changesAfter(seen, most);
        std::string text;
        for (const SampleChange &change : changes.samples)
            text += std::to_string(change.tag) + "=" + change.sample.toText().toStdString() + " ";
        for (const LinkChange &change : changes.links)
            text += "link" + std::to_string(change.plc) + " ";
        seenNow = changes.last;
        return text + (changes.more ? "more" : "");
    }

    LiveTable table{"run", {"a", "b"}, {tag("a.x", 0), tag("a.y", 0), tag("b.z", 1)}};
    quint64 seenNow = 0;
};

TEST_F(Table, beginsWithEverything)
{
    EXPECT_EQ(after(0), "0= 1= 2= link0 link1 ");
    EXPECT_EQ(after(seenNow), "");
}

TEST_F(Table, aReaderGetsTheNewestOfEachTagOnce)
{
    const quint64 seen = table.newest();
    table.update(0, good(1));
    table.update(1, good(2));
    table.update(0, good(3));
    EXPECT_EQ(after(seen), "1=2 0=3 ");
    table.setLink(1, {});
    EXPECT_EQ(after(seenNow), "link1 ");
}

TEST_F(Table, manyChangesComeInPieces)
{
    table.update(1, good(1));
    EXPECT_EQ(after(0, 2), "0= 2= more");
    EXPECT_EQ(after(seenNow, 2), "link0 link1 more");
    EXPECT_EQ(after(seenNow, 2), "1=1 ");
    EXPECT_EQ(after(seenNow, 2), "");
}

TEST_F(Table, aReaderFromTheFutureGetsNothing)
{
    EXPECT_EQ(after(1'000'000), "");
}

TEST_F(Table, longHistoryIsForgottenAndNothingIsLost)
{
    const quint64 seen = table.newest();
    for (int i = 0; i < 10'000; ++i)
        table.update(0, good(i));
    table.update(2, good(7));
    EXPECT_EQ(after(seen), "0=9999 2=7 ");
    EXPECT_EQ(after(0), "1= 0=9999 2=7 link0 link1 ");
}

TEST_F(Table, aSampleWithoutValueKeepsTheLastOne)
{
    table.update(0, good(5));
    table.update(0, {{}, kvlink::Quality::Bad, kvlink::Reason::NoLink, 0, {}, {}});
    const kvlink::Sample sample = table.sample(0);
    EXPECT_EQ(sample.toInt(), 5);
    EXPECT_EQ(sample.quality, kvlink::Quality::Bad);
    EXPECT_EQ(sample.time, kvlink::WallTime(1s));
}

TEST_F(Table, countsQualities)
{
    EXPECT_EQ(table.qualities(0), (QualityCounts{2, 0, 0, 0, 0}));
    table.update(0, good(5));
    EXPECT_EQ(table.qualities(0), (QualityCounts{1, 1, 0, 0, 0}));
    EXPECT_EQ(table.qualities(1), (QualityCounts{1, 0, 0, 0, 0}));
}

TEST_F(Table, findsByName)
{
    EXPECT_EQ(table.find("b.z"), 2);
    EXPECT_EQ(table.find("b.q"), -1);
    EXPECT_EQ(table.findPlc("b"), 1);
    EXPECT_EQ(table.findPlc("c"), -1);
}

TEST_F(Table, closingWakesThoseWhoWait)
{
    const quint64 seen = table.newest();
    std::thread waiter([&] { table.waitForChange(seen, 60s); });
    table.close();
    waiter.join();
    EXPECT_TRUE(table.isClosed());
}

// Readers of other threads see each change, whatever comes between.
TEST_F(Table, readersOfOtherThreadsMissNothing)
{
    constexpr int last = 20'000;
    std::atomic<bool> isFine{true};
    const auto follow = [&] {
        quint64 seen = 0;
        qint64 newest = -1;
        while (newest < last) {
            table.waitForChange(seen, 10s);
            const Changes changes = table.changesAfter(seen, 2);
            seen = changes.last;
            for (const SampleChange &change : changes.samples) {
                if (change.tag != 0 || !change.sample.hasValue())
                    continue;
                isFine = isFine && change.sample.toInt() > newest;
                newest = change.sample.toInt();
            }
        }
    };
    std::thread one(follow), other(follow);
    for (int i = 0; i <= last; ++i) {
        table.update(0, good(i));
        table.update(1, good(i));
    }
    one.join();
    other.join();
    EXPECT_TRUE(isFine);
}

} // namespace
} // namespace kvgateway
