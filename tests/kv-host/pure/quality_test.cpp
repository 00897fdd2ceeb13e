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

    void readAndProve(const UnitRange &range, Time now)
    {
        m_book.read(range, now);
        m_book.proved(range);
    }

    const UnitRange m_range{0, 10, 100, 2};
    QualityBook m_book;
};

TEST_F(Qualities, neverUntilAllOfItIsRead)
{
    EXPECT_EQ(quality(0), Quality::Never);
    readAndProve({0, 10, 100, 1}, at(0));
    EXPECT_EQ(quality(1), Quality::Never);
    readAndProve({0, 10, 90, 20}, at(2));
    EXPECT_EQ(quality(3), Quality::Good);
}

TEST_F(Qualities, readsOfOtherPlacesDoNotCount)
{
    readAndProve({1, 10, 100, 2}, at(0));
    readAndProve({0, 11, 100, 2}, at(0));
    readAndProve({0, 10, 102, 2}, at(0));
    EXPECT_EQ(quality(1), Quality::Never);
}

TEST_F(Qualities, goodTurnsStaleAfterThreeCycles)
{
    readAndProve(m_range, at(0));
    EXPECT_EQ(quality(300), Quality::Good);
    EXPECT_EQ(quality(301), Quality::Stale);
    EXPECT_EQ(m_book.state(m_range, at(301)).age, Ms(301));
    readAndProve(m_range, at(302));
    EXPECT_EQ(quality(303), Quality::Good);
}

TEST_F(Qualities, theOldestPartDecidesTheAge)
{
    readAndProve(m_range, at(0));
    readAndProve({0, 10, 101, 1}, at(250));
    EXPECT_EQ(quality(301), Quality::Stale);
}

TEST_F(Qualities, badWithItsReasonUntilReadAgain)
{
    readAndProve(m_range, at(0));
    m_book.failed({0, 10, 101, 5}, "no answer");
    EXPECT_EQ(quality(1), Quality::Bad);
    EXPECT_EQ(m_book.state(m_range, at(1)).reason.toStdString(), "no answer");
    readAndProve(m_range, at(2));
    EXPECT_EQ(quality(3), Quality::Good);
}

TEST_F(Qualities, anUnprovedReadLeavesThemAsTheyWere)
{
    m_book.read(m_range, at(0));
    EXPECT_EQ(quality(1), Quality::Never);
    EXPECT_FALSE(m_book.settled(m_range));
    m_book.proved(m_range);
    EXPECT_EQ(quality(1), Quality::Good);
    EXPECT_TRUE(m_book.settled(m_range));
    m_book.read(m_range, at(250));
    EXPECT_EQ(quality(300), Quality::Good); // the value before
    EXPECT_EQ(quality(301), Quality::Stale);
    m_book.proved(m_range);
    EXPECT_EQ(quality(301), Quality::Good);
}

TEST_F(Qualities, aBadOneIsGoodAgainWithTheProofOnly)
{
    m_book.failed(m_range, "E0");
    m_book.read(m_range, at(1));
    EXPECT_EQ(quality(2), Quality::Bad);
    m_book.proved(m_range);
    EXPECT_EQ(quality(2), Quality::Good);
}

TEST_F(Qualities, aLostReadCountsAsNotDoneAndUnsettled)
{
    readAndProve(m_range, at(0));
    m_book.read(m_range, at(200));
    m_book.lost(m_range);
    m_book.proved(m_range); // another's proof
    EXPECT_EQ(quality(300), Quality::Good);
    EXPECT_EQ(quality(301), Quality::Stale);
    EXPECT_FALSE(m_book.settled(m_range)); // the store holds what came
    readAndProve(m_range, at(302));
    EXPECT_TRUE(m_book.settled(m_range));
}

TEST_F(Qualities, whatWasReadInDoubtIsBadWhateverIsProvedLater)
{
    m_book.read(m_range, at(0));
    m_book.failed(m_range, "doubt");
    m_book.proved(m_range);
    EXPECT_EQ(quality(1), Quality::Bad);
    EXPECT_FALSE(m_book.settled(m_range));
}

TEST_F(Qualities, aWriteBetweenAReadAndItsProofStaysPending)
{
    m_book.read(m_range, at(0));
    m_book.writeQueued(m_range);
    m_book.writeDone(m_range);
    m_book.proved(m_range);
    EXPECT_EQ(quality(1), Quality::Pending);
}

TEST_F(Qualities, badEvenIfNeverRead)
{
    m_book.failed(m_range, "E0");
    EXPECT_EQ(quality(0), Quality::Bad);
}

TEST_F(Qualities, pendingFromTheWriteUntilAReadAfterItsConfirmation)
{
    readAndProve(m_range, at(0));
    m_book.writeQueued(m_range);
    EXPECT_EQ(quality(1), Quality::Pending);
    readAndProve(m_range, at(2)); // sent before the write: shows the old value, or the store's own copy
    EXPECT_EQ(quality(3), Quality::Pending);
    m_book.writeDone(m_range);
    EXPECT_EQ(quality(4), Quality::Pending);
    readAndProve(m_range, at(5));
    EXPECT_EQ(quality(6), Quality::Good);
}

TEST_F(Qualities, twoWritesOnTheWayAreBothWaitedFor)
{
    m_book.writeQueued(m_range);
    m_book.writeQueued(m_range);
    m_book.writeDone(m_range);
    readAndProve(m_range, at(1));
    EXPECT_EQ(quality(2), Quality::Pending);
    m_book.writeDone(m_range);
    readAndProve(m_range, at(3));
    EXPECT_EQ(quality(4), Quality::Good);
}

TEST_F(Qualities, aFailedWriteIsBadUntilReadAgain)
{
    readAndProve(m_range, at(0));
    m_book.writeQueued(m_range);
    m_book.writeFailed(m_range, "refused");
    EXPECT_EQ(quality(1), Quality::Bad);
    readAndProve(m_range, at(2));
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

class StepDoubts : public testing::Test
{
protected:
    void answer(int unit, const QByteArray &text, int ms)
    {
        m_doubt.heard(text, at(ms));
        m_doubt.accepted({{0, 10, unit, 1}, 0});
    }
    static QList<int> units(const QVector<Accepted> &all)
    {
        QList<int> list;
        for (const Accepted &one : all)
            list << one.range.first;
        return list;
    }

    StepDoubt m_doubt;
};

TEST_F(StepDoubts, silenceWithAnEmptyBufferProves)
{
    answer(7, "00011\r\n", 0);
    EXPECT_TRUE(m_doubt.emptied({}, at(19)).nothing());
    EXPECT_TRUE(m_doubt.waiting());
    EXPECT_EQ(m_doubt.provedAt(), at(20));
    EXPECT_EQ(units(m_doubt.emptied({}, at(20)).proved), QList<int>{7});
    EXPECT_FALSE(m_doubt.waiting());
    EXPECT_TRUE(m_doubt.emptied({}, at(40)).nothing());
}

TEST_F(StepDoubts, anythingHeardBeginsTheSilenceAnew)
{
    answer(7, "00011\r\n", 0);
    m_doubt.heard("E0\r\n", at(15));
    EXPECT_TRUE(m_doubt.emptied({}, at(34)).nothing());
    EXPECT_EQ(units(m_doubt.emptied({}, at(35)).proved), QList<int>{7});
}

TEST_F(StepDoubts, aCopyOfTheLastAnswerDoesItNoHarm)
{
    answer(7, "00011\r\n", 0);
    const auto finding = m_doubt.emptied("00011\r\n", at(1));
    EXPECT_EQ(units(finding.proved), QList<int>{7});
    EXPECT_TRUE(finding.doubted.isEmpty());
}

// Asked 1, 2, 3 that hold 11, 22, 22: the copy of 11 was taken for 2, its 22 for 3, and the last 22 is over.
TEST_F(StepDoubts, aCopyOfTheLastAnswerSaysNothingAboutThoseBefore)
{
    answer(1, "00011\r\n", 0);
    answer(2, "00011\r\n", 1);
    answer(3, "00022\r\n", 2);
    const auto finding = m_doubt.emptied("00022\r\n", at(3));
    EXPECT_EQ(units(finding.proved), QList<int>{3});
    EXPECT_EQ(units(finding.lost), (QList<int>{1, 2}));
}

TEST_F(StepDoubts, aCopyOfAnAnswerThatWasNotTakenProvesNothing)
{
    answer(1, "00011\r\n", 0);
    m_doubt.heard("E0\r\n", at(1));
    const auto finding = m_doubt.emptied("E0\r\n", at(2));
    EXPECT_TRUE(finding.proved.isEmpty());
    EXPECT_EQ(units(finding.lost), QList<int>{1});
}

TEST_F(StepDoubts, otherBytesPutAllSinceTheLastSilenceInDoubt)
{
    answer(0, "00001\r\n", 0);
    EXPECT_EQ(units(m_doubt.emptied({}, at(25)).proved), QList<int>{0});
    answer(1, "00002\r\n", 26);
    EXPECT_TRUE(m_doubt.emptied({}, at(27)).nothing()); // too soon to prove anything
    answer(2, "00003\r\n", 28);
    answer(2, "00004\r\n", 29);
    const auto finding = m_doubt.emptied("00003\r\n", at(30));
    EXPECT_EQ(units(finding.doubted), (QList<int>{1, 2}));
    EXPECT_TRUE(finding.proved.isEmpty());
    EXPECT_TRUE(m_doubt.mismatch().nothing());
}

TEST_F(StepDoubts, aLostLinkProvesNothing)
{
    answer(1, "00001\r\n", 0);
    EXPECT_EQ(units(m_doubt.linkLost().lost), QList<int>{1});
    EXPECT_TRUE(m_doubt.emptied({}, at(50)).nothing());
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
