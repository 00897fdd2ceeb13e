// How far values may be trusted; which answers may have been another's; how passes are paced.
#include "cycle_pacer.h"
#include "quality.h"
#include "step_doubt.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

const Time START = Time(std::chrono::hours(1));
Time at(int ms)
{
    return START + Ms(ms);
}

class Qualities : public testing::Test
{
protected:
    Qualities()
    {
        m_book.setStaleAfter(Ms(300));
        m_book.track(m_range);
    }
    Quality quality(int ms) const { return m_book.state(m_range, at(ms)).quality; }

    const UnitRange m_range{0, 10, 100, 2};
    QualityBook m_book;
};

TEST_F(Qualities, neverUntilAllOfItIsRead)
{
    EXPECT_EQ(quality(0), Quality::Never);
    m_book.read({0, 10, 100, 1}, at(0));
    EXPECT_EQ(quality(1), Quality::Never);
    m_book.read({0, 10, 90, 20}, at(2));
    EXPECT_EQ(quality(3), Quality::Good);
}

TEST_F(Qualities, readsOfOtherPlacesDoNotCount)
{
    m_book.read({1, 10, 100, 2}, at(0));
    m_book.read({0, 11, 100, 2}, at(0));
    m_book.read({0, 10, 102, 2}, at(0));
    EXPECT_EQ(quality(1), Quality::Never);
}

TEST_F(Qualities, goodTurnsStaleAfterThreeCycles)
{
    m_book.read(m_range, at(0));
    EXPECT_EQ(quality(300), Quality::Good);
    EXPECT_EQ(quality(301), Quality::Stale);
    EXPECT_EQ(m_book.state(m_range, at(301)).age, Ms(301));
    m_book.read(m_range, at(302));
    EXPECT_EQ(quality(303), Quality::Good);
}

TEST_F(Qualities, theOldestPartDecidesTheAge)
{
    m_book.read(m_range, at(0));
    m_book.read({0, 10, 101, 1}, at(250));
    EXPECT_EQ(quality(301), Quality::Stale);
}

TEST_F(Qualities, badWithItsReasonUntilReadAgain)
{
    m_book.read(m_range, at(0));
    m_book.failed({0, 10, 101, 5}, "no answer");
    EXPECT_EQ(quality(1), Quality::Bad);
    EXPECT_EQ(m_book.state(m_range, at(1)).reason.toStdString(), "no answer");
    m_book.read(m_range, at(2));
    EXPECT_EQ(quality(3), Quality::Good);
}

TEST_F(Qualities, badEvenIfNeverRead)
{
    m_book.failed(m_range, "E0");
    EXPECT_EQ(quality(0), Quality::Bad);
}

TEST_F(Qualities, pendingFromTheWriteUntilAReadAfterItsConfirmation)
{
    m_book.read(m_range, at(0));
    m_book.writeQueued(m_range);
    EXPECT_EQ(quality(1), Quality::Pending);
    m_book.read(m_range, at(2)); // sent before the write: shows the old value, or the store's own copy
    EXPECT_EQ(quality(3), Quality::Pending);
    m_book.writeDone(m_range);
    EXPECT_EQ(quality(4), Quality::Pending);
    m_book.read(m_range, at(5));
    EXPECT_EQ(quality(6), Quality::Good);
}

TEST_F(Qualities, twoWritesOnTheWayAreBothWaitedFor)
{
    m_book.writeQueued(m_range);
    m_book.writeQueued(m_range);
    m_book.writeDone(m_range);
    m_book.read(m_range, at(1));
    EXPECT_EQ(quality(2), Quality::Pending);
    m_book.writeDone(m_range);
    m_book.read(m_range, at(3));
    EXPECT_EQ(quality(4), Quality::Good);
}

TEST_F(Qualities, aFailedWriteIsBadUntilReadAgain)
{
    m_book.read(m_range, at(0));
    m_book.writeQueued(m_range);
    m_book.writeFailed(m_range, "refused");
    EXPECT_EQ(quality(1), Quality::Bad);
    m_book.read(m_range, at(2));
    EXPECT_EQ(quality(3), Quality::Good);
}

TEST(QualityNames, areTheFive)
{
    EXPECT_STREQ(qualityName(Quality::Good), "good");
    EXPECT_STREQ(qualityName(Quality::Stale), "stale");
    EXPECT_STREQ(qualityName(Quality::Bad), "bad");
    EXPECT_STREQ(qualityName(Quality::Never), "never");
    EXPECT_STREQ(qualityName(Quality::Pending), "pending");
}

TEST(StepDoubts, aCopyOfTheLastAnswerDoesNoHarm)
{
    StepDoubt doubt;
    doubt.accepted({0, 10, 0, 1}, "00011\r\n", at(0));
    EXPECT_TRUE(doubt.emptied("00011\r\n", at(1)).isEmpty());
}

TEST(StepDoubts, otherBytesPutAllSinceTheLastSilenceInDoubt)
{
    StepDoubt doubt;
    doubt.accepted({0, 10, 0, 1}, "00001\r\n", at(0));
    doubt.emptied({}, at(25)); // silent for long enough, and nothing there: in step
    doubt.accepted({0, 10, 1, 1}, "00002\r\n", at(26));
    doubt.emptied({}, at(27)); // too soon to prove anything
    doubt.accepted({0, 10, 2, 1}, "00003\r\n", at(28));
    doubt.accepted({0, 10, 2, 1}, "00004\r\n", at(29));
    const QVector<UnitRange> ranges = doubt.emptied("00003\r\n", at(30));
    ASSERT_EQ(ranges.size(), 2);
    EXPECT_EQ(ranges[0].first, 1);
    EXPECT_EQ(ranges[1].first, 2);
    EXPECT_TRUE(doubt.mismatch().isEmpty());
}

TEST(Pacing, aPassIsDoneWhenEachBlockOfTheReadyStationsWasTried)
{
    CyclePacer pacer;
    pacer.set({{1, 2}, {2, 3}}, Ms(100));
    pacer.stationReady(1, true);
    pacer.stationReady(2, true);
    pacer.begins(at(0));
    for (int i = 0; i < 4; ++i)
        EXPECT_FALSE(pacer.finished(at(i)));
    EXPECT_TRUE(pacer.finished(at(5)));
    EXPECT_FALSE(pacer.mayRead(at(99)));
    EXPECT_TRUE(pacer.mayRead(at(100)));
    pacer.stationReady(2, false); // switched off: its blocks are passed over
    pacer.begins(at(100));
    EXPECT_FALSE(pacer.finished(at(101)));
    EXPECT_TRUE(pacer.finished(at(102)));
    EXPECT_EQ(pacer.lastCycle(), Ms(100));
}

TEST(Pacing, aPassThatTakesLongerThanAskedIsFollowedAtOnce)
{
    CyclePacer pacer;
    pacer.set({{0, 1}}, Ms(100));
    pacer.stationReady(0, true);
    pacer.begins(at(0));
    EXPECT_TRUE(pacer.finished(at(250)));
    EXPECT_TRUE(pacer.mayRead(at(250)));
    EXPECT_EQ(pacer.lastCycle(), Ms(250));
}

} // namespace
} // namespace kvhost
