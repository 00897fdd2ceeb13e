// Requests of screens: each reported exactly once; writes cut into pieces of which each is one entry.
#include "jobs.h"
#include "request_ledger.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

Address place(const char *text)
{
    QString problem;
    Address address = parseAddress(text, &problem).value();
    address.station = 0;
    return address;
}

TEST(Ledger, eachRequestHasAnOwnerOfItsOwn)
{
    RequestLedger ledger;
    const int first = ledger.add(RequestKind::Write, place("DM0"));
    const int second = ledger.add(RequestKind::Write, place("DM0"));
    EXPECT_GT(first, 0);
    EXPECT_NE(first, second);
    EXPECT_EQ(ledger.pending(RequestKind::Write), 2);
    EXPECT_EQ(ledger.pending(RequestKind::Read), 0);
    EXPECT_EQ(ledger.pendingAt(0), 2);
}

TEST(Ledger, doneAndFailedWithTheReasonNotedBefore)
{
    RequestLedger ledger;
    const int good = ledger.add(RequestKind::Read, place("DM0"));
    const int bad = ledger.add(RequestKind::Read, place("DM1"));
    ledger.noteFailure(RequestKind::Read, good, Trouble::NoAnswer,
                       "no answer"); // one attempt; the next went well
    ledger.reported(RequestKind::Read, good, 1);
    ledger.noteFailure(RequestKind::Read, bad, Trouble::Refused, "E0");
    ledger.reported(RequestKind::Read, bad, 2);
    ledger.proved(0);
    EXPECT_EQ(ledger.request(good).state, RequestState::Done);
    EXPECT_TRUE(ledger.request(good).reason.isEmpty());
    EXPECT_EQ(ledger.request(bad).state, RequestState::Failed);
    EXPECT_EQ(ledger.request(bad).trouble, Trouble::Refused);
    EXPECT_EQ(ledger.request(bad).reason.toStdString(), "E0");
    EXPECT_EQ(ledger.pendingAt(0), 0);
    EXPECT_EQ(ledger.surplusReports(), 0);
}

TEST(Ledger, aSecondReportAndOneOfAStrangerAreCounted)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Write, place("DM0"));
    ledger.reported(RequestKind::Write, owner, 1);
    ledger.reported(RequestKind::Write, owner, 2);
    ledger.reported(RequestKind::Write, 99, 1);
    ledger.proved(0);
    EXPECT_EQ(ledger.request(owner).state, RequestState::Done);
    EXPECT_EQ(ledger.surplusReports(), 2);
}

TEST(Ledger, whatTheHostGaveUpMayStillBeReportedOnce)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Write, place("DM0"));
    ledger.fail(owner, Trouble::NoLink, "refused");
    EXPECT_EQ(ledger.take(owner).state, RequestState::Failed);
    EXPECT_EQ(ledger.request(owner).state, RequestState::Failed); // to know its report when it comes
    ledger.reported(RequestKind::Write, owner, 1);
    EXPECT_EQ(ledger.surplusReports(), 0);
    EXPECT_EQ(ledger.request(owner).address.device, nullptr); // an empty one: it is gone
    ledger.reported(RequestKind::Write, owner, 1);
    EXPECT_EQ(ledger.surplusReports(), 1);
}

TEST(Ledger, whatTheHostGaveUpIsKeptUntilItIsTaken)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Write, place("DM0"));
    ledger.fail(owner, Trouble::NoLink, "refused");
    ledger.reported(RequestKind::Write, owner, 1);
    EXPECT_EQ(ledger.take(owner).state, RequestState::Failed);
    EXPECT_EQ(ledger.surplusReports(), 0);
}

TEST(Ledger, forgetsWhatHasEnded)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Read, place("DM0"));
    EXPECT_EQ(ledger.take(owner).state, RequestState::Pending);
    ledger.reported(RequestKind::Read, owner, 1);
    EXPECT_EQ(ledger.take(owner).state, RequestState::Proving);
    ledger.proved(0);
    EXPECT_EQ(ledger.take(owner).state, RequestState::Done);
    EXPECT_EQ(ledger.request(owner).reports, 0); // an empty one: it is gone
}

struct OverlapRow {
    const char *row;
    const char *pending;
    const char *asked;
    bool overlap;
};

class WritesToOnePlace : public testing::TestWithParam<OverlapRow>
{
};

TEST_P(WritesToOnePlace, waitForEachOther)
{
    RequestLedger ledger;
    ledger.add(RequestKind::Write, place(GetParam().pending));
    EXPECT_EQ(ledger.writePending(place(GetParam().asked)), GetParam().overlap);
}

const OverlapRow overlapRows[] = {
    {"same", "DM10", "DM10", true},           {"within", "DM10:5", "DM12", true},
    {"after", "DM10:5", "DM15", false},       {"before", "DM10:5", "DM9", false},
    {"otherDevice", "DM10", "EM10", false},   {"sameWordOfBits", "DM10.1", "DM10.2", true},
    {"otherWord", "DM10.1", "DM11.1", false},
};

INSTANTIATE_TEST_SUITE_P(Rows, WritesToOnePlace, testing::ValuesIn(overlapRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Ledger, oneThatEndedIsNotWaitedFor)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Write, place("DM10"));
    ledger.reported(RequestKind::Write, owner, 1);
    ledger.proved(0);
    EXPECT_FALSE(ledger.writePending(place("DM10")));
}

TEST(Ledger, anAnswerCountsOnceItIsProved)
{
    RequestLedger ledger;
    const int here = ledger.add(RequestKind::Write, place("DM10"));
    Address elsewhere = place("DM10");
    elsewhere.station = 1;
    const int there = ledger.add(RequestKind::Read, elsewhere);
    ledger.reported(RequestKind::Write, here, 1);
    ledger.reported(RequestKind::Read, there, 1);
    EXPECT_EQ(ledger.request(here).state, RequestState::Proving);
    EXPECT_EQ(ledger.pendingAt(0), 0); // the driver has nothing to do for it any more
    EXPECT_TRUE(ledger.writePending(place("DM10")));
    ledger.proved(0);
    EXPECT_EQ(ledger.request(here).state, RequestState::Done);
    EXPECT_EQ(ledger.request(there).state, RequestState::Proving);
}

TEST(Ledger, anUnsureWriteIsWaitedForUntilItIsTaken)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Write, place("DM10"));
    ledger.reported(RequestKind::Write, owner, 1);
    ledger.unsure(0);
    EXPECT_TRUE(ledger.writePending(place("DM10"))); // its repetition must not overtake a later write
    EXPECT_EQ(ledger.take(owner).state, RequestState::Unsure);
    EXPECT_FALSE(ledger.writePending(place("DM10")));
}

TEST(Ledger, anUnsurePartMakesTheWholeUnsure)
{
    RequestLedger ledger;
    const int owner = ledger.add(RequestKind::Read, place("DM10"));
    ledger.partUnsure(owner); // of its frames, the first
    EXPECT_EQ(ledger.request(owner).state, RequestState::Pending);
    ledger.reported(RequestKind::Read, owner, 1);
    EXPECT_EQ(ledger.request(owner).state, RequestState::Unsure);
}

TEST(Ledger, tellsADroppedEntryFromTheLastThatWasTaken)
{
    EXPECT_FALSE(RequestLedger::taken(0, 0)); // refused: bad address
    EXPECT_TRUE(RequestLedger::taken(1, 0));
    EXPECT_TRUE(RequestLedger::taken(1023, 1022));
    EXPECT_TRUE(RequestLedger::taken(1024, 1023));  // the last place
    EXPECT_FALSE(RequestLedger::taken(1024, 1024)); // full: dropped
}

struct PieceRow {
    const char *row;
    const char *address;
    int maxBlock;
    const char *pieces; // text+count
};

class WritePieces : public testing::TestWithParam<PieceRow>
{
};

TEST_P(WritePieces, areOneEntryEach)
{
    QStringList texts;
    for (const Address &piece : writePieces(place(GetParam().address), GetParam().maxBlock))
        texts << QStringLiteral("%1+%2").arg(piece.addressText).arg(piece.elements);
    EXPECT_EQ(texts.join(' ').toStdString(), GetParam().pieces);
}

const PieceRow pieceRows[] = {
    {"word", "DM5", 128, "5+1"},
    {"wordsWhole", "DM0:128", 128, "0+128"},
    {"wordsCut", "DM0:130", 128, "0+128 128+2"},
    {"neverAbove128", "DM0:200", 500, "0+128 128+72"},
    {"bitsOneByOne", "R1014:3", 128, "1014+1 1015+1 1100+1"},
    {"bitOfWord", "DM5.3", 128, "5.3+1"},
    {"doubleWordsByEighty", "TC0:100", 128, "0+80 80+20"},
    // 32-bit values in two words stay whole
    {"floatsWhole", "DM0.F:4", 5, "0+4 4+4"},
    {"floatsTinyBlock", "DM0.F:2", 1, "0+2 2+2"},
    {"textByWords", "DM0.STR:6", 2, "0+2 2+1"},
};

INSTANTIATE_TEST_SUITE_P(Rows, WritePieces, testing::ValuesIn(pieceRows),
                         [](const auto &row) { return std::string(row.param.row); });

} // namespace
} // namespace kvhost
