// SPDX-License-Identifier: MIT
// Store and forward with an outlet and a clock that the test holds in its hands.
#include "outlets/feeder.h"
#include "outlets/outlet_runner.h"

#include "fake_outlet.h"
#include "store/fake_clock.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

OutletRow fresh(const char *tag, qint64 value, qint64 ms = 0)
{
    return {0, tag, good(ms, value)};
}

class FeederTest : public testing::Test
{
protected:
    FeederTest() { start(); }

    void start()
    {
        feeder.reset();
        feeder = std::make_unique<Feeder>(settings, outlet, clock);
    }
    void offer(std::vector<OutletRow> rows) { notice = feeder->step({std::move(rows), {}, {}}); }
    void pass(kvlink::Duration time)
    {
        clock.advance(time);
        feeder->step({});
    }
    void acknowledge(std::vector<quint64> seqs) { feeder->step({{}, std::move(seqs), {}}); }
    void acknowledgeAll() { acknowledge(outlet.seqs()); }
    qint64 stored() const { return feeder->counts().stored; }
    // Many rows on disk with damage among them; the first of them are handed over.
    bool startWithDamageInside()
    {
        offer(std::vector<OutletRow>(10'000, fresh("a.x", 7)));
        offer({fresh("a.x", 8)});
        feeder->finish({});
        feeder.reset();
        QFile file(settings.path);
        if (!file.open(QIODevice::ReadWrite))
            return false;
        const qint64 half = file.size() / 2;
        if (!file.seek(half) || file.write(QByteArray(65'536, 'x')) != 65'536)
            return false;
        file.close();
        outlet.room = 100'000;
        settings.drainRate = 1'000'000;
        start();
        outlet.connect();
        pass(1s);
        return true;
    }
    // A crash: whoever comes next knows what the disk knows.
    void crash()
    {
        outlet.disconnect();
        start();
    }

    QTemporaryDir folder;
    FakeClock clock;
    FakeOutlet outlet;
    FeederSettings settings{folder.filePath("outlet-a.sqlite"), {}, 1000};
    std::unique_ptr<Feeder> feeder;
    QString notice;
};

TEST_F(FeederTest, whatIsTakenAndAcknowledgedNeverGoesToDisk)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.x", 2), fresh("a.y", 3)});
    EXPECT_EQ(outlet.shown(), "live a.x=1, live a.x=2, live a.y=3");
    EXPECT_EQ(feeder->counts().inFlight, 3);
    acknowledgeAll();
    pass(1s);
    EXPECT_EQ(feeder->counts().inFlight, 0);
    EXPECT_EQ(feeder->counts().acknowledged, 3U);
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, aLostLinkInTheMiddleLosesNothing)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.x", 2), fresh("a.y", 3)});
    acknowledge({outlet.taken[0].seq});
    outlet.shown();
    outlet.disconnect();
    pass(0s);
    EXPECT_EQ(stored(), 2);
    outlet.connect();
    pass(1s);
    // Both are the newest of their tag.
    EXPECT_EQ(outlet.shown(), "live a.x=2, live a.y=3");
    EXPECT_EQ(outlet.taken[3].seq, outlet.taken[1].seq) << "the same row has the same number";
}

// A PLC that is away: its rows cannot go, those of others can.
TEST_F(FeederTest, postponedRowsWaitOnDiskAndHoldNobodyUp)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("b.y", 2)});
    const std::vector<quint64> seqs = outlet.seqs();
    EXPECT_EQ(outlet.shown(), "live a.x=1, live b.y=2");
    feeder->step({{}, {seqs[1]}, {}, {seqs[0]}});
    EXPECT_EQ(stored(), 1);
    pass(1s);
    EXPECT_EQ(outlet.shown(), "stored a.x=1") << "once more, before the cursor has passed it";
    feeder->step({{}, {}, {}, {seqs[0]}});
    pass(10s);
    offer({fresh("b.y", 3)});
    EXPECT_EQ(outlet.shown(), "live b.y=3");
    acknowledge({outlet.taken.back().seq});
    pass(1s);
    EXPECT_EQ(stored(), 1);
    EXPECT_EQ(feeder->counts().inFlight, 0);
    ++outlet.now.round;
    pass(1s);
    EXPECT_EQ(outlet.shown(), "stored a.x=1") << "in the next round";
    acknowledge({seqs[0]});
    pass(1s);
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, postponedRowsCostTheOthersNoTime)
{
    settings.drainRate = 1000;
    start();
    offer(std::vector<OutletRow>(100, fresh("a.x", 1)));
    outlet.connect();
    pass(1s);
    std::vector<quint64> seqs = outlet.seqs();
    ASSERT_EQ(seqs.size(), 100U) << outlet.shown();
    feeder->step({{}, {}, {}, seqs});
    ++outlet.now.round;
    pass(0s);
    EXPECT_EQ(outlet.seqs().size(), 100U) << "what was taken back may go again at once";
}

TEST_F(FeederTest, anOutletHearsOfEachRowWhetherItTakesItOrNot)
{
    offer({fresh("a.x", 1)});
    outlet.connect();
    offer({fresh("a.y", 2)});
    EXPECT_EQ(outlet.noted, "a.x, a.y");
}

TEST_F(FeederTest, anOlderRowThatComesBackDoesNotBecomeTheLiveValue)
{
    outlet.connect();
    outlet.room = 1;
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    EXPECT_EQ(outlet.shown(), "live a.x=1");
    pass(100ms); // no room for so long: the second waits on disk, the first has no answer
    EXPECT_EQ(stored(), 2);
    outlet.disconnect();
    pass(0s);
    outlet.connect();
    outlet.room = 1000;
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=2, stored a.x=1");
    acknowledgeAll();
    pass(1s);
    EXPECT_EQ(stored(), 0);
    EXPECT_EQ(outlet.shown(), "");
}

TEST_F(FeederTest, whatIsOwedAsALiveValueIsNotDrained)
{
    outlet.connect();
    outlet.room = 1;
    outlet.roomForStored = 10; // acknowledgements come between the two offers of one step
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    pass(100ms);
    EXPECT_EQ(outlet.shown(), "live a.x=1");
    outlet.room = 1000;
    pass(100ms);
    EXPECT_EQ(outlet.shown(), "live a.x=2") << "once, and as what it is";
    acknowledgeAll();
    pass(100ms);
    EXPECT_EQ(outlet.shown(), "");
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, afterAnOutageTheNewestGoFirstAndTheRestInOrder)
{
    offer({fresh("a.x", 1), fresh("a.y", 10)});
    offer({fresh("a.x", 2)});
    offer({fresh("a.x", 3), fresh("a.y", 11)});
    EXPECT_EQ(stored(), 5);
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=3, live a.y=11, stored a.x=1, stored a.y=10, stored a.x=2");
    acknowledgeAll();
    pass(1s);
    EXPECT_EQ(stored(), 0);
    pass(1s);
    EXPECT_EQ(outlet.shown(), "") << "nothing goes twice";
}

TEST_F(FeederTest, theDrainBeginsWithTheConnectionAndKeepsItsPace)
{
    for (int i = 0; i < 500; ++i)
        offer({fresh("a.x", i)});
    outlet.connect();
    pass(0s);
    EXPECT_EQ(outlet.shown(), "live a.x=499");
    pass(10ms);
    EXPECT_EQ(outlet.taken.size(), 1U + 10U) << "1,000 rows a second";
    pass(50ms);
    EXPECT_EQ(outlet.taken.size(), 1U + 60U);
    pass(10s);
    EXPECT_EQ(outlet.taken.size(), 1U + 160U) << "what was not used is saved up for 0.1 s only";
}

TEST_F(FeederTest, whatIsNewGoesBeforeWhatIsStored)
{
    for (int i = 0; i < 100; ++i)
        offer({fresh("a.x", i)});
    outlet.connect();
    outlet.room = 1;
    pass(20ms);
    EXPECT_EQ(outlet.shown(), "live a.x=99");
    outlet.room = 2;
    clock.advance(20ms);
    offer({fresh("a.x", 100)});
    EXPECT_EQ(outlet.shown(), "live a.x=100, stored a.x=0");
}

TEST_F(FeederTest, aBusyOutletMissesNothing)
{
    outlet.connect();
    outlet.room = 2;
    offer({fresh("a.x", 1), fresh("a.x", 2), fresh("a.x", 3), fresh("a.y", 4), fresh("a.x", 5)});
    EXPECT_EQ(outlet.shown(), "live a.x=1, live a.x=2");
    pass(100ms); // no room for so long: the rest is kept
    EXPECT_EQ(stored(), 5) << "two of them are under way and not acknowledged";
    acknowledgeAll();
    outlet.room = 1000;
    pass(100ms);
    EXPECT_EQ(outlet.shown(), "live a.y=4, live a.x=5, stored a.x=3");
    acknowledgeAll();
    pass(100ms);
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, aFrozenOutletLeavesEverythingOnDisk)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    pass(99ms);
    EXPECT_EQ(stored(), 0);
    pass(1ms);
    EXPECT_EQ(stored(), 2) << "handed over, and still not believed";
    EXPECT_EQ(feeder->counts().inFlight, 2);
    pass(10s);
    EXPECT_EQ(outlet.taken.size(), 2U) << "and not handed over twice";
    acknowledgeAll();
    pass(100ms);
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, anOutageEndsInTheMiddleOfTheDrain)
{
    for (int i = 0; i < 10; ++i)
        offer({fresh("a.x", i)});
    outlet.connect();
    outlet.room = 5;
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=9, stored a.x=0, stored a.x=1, stored a.x=2, stored a.x=3");
    acknowledge({outlet.taken[1].seq, outlet.taken[2].seq});
    outlet.disconnect();
    pass(100ms);
    EXPECT_EQ(stored(), 8);
    outlet.connect();
    outlet.room = 1000;
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=9, stored a.x=2, stored a.x=3, stored a.x=4, stored a.x=5, "
                              "stored a.x=6, stored a.x=7, stored a.x=8");
}

TEST_F(FeederTest, whatWasNotAcknowledgedSurvivesACrash)
{
    offer({fresh("a.x", 1, 100), fresh("a.y", 10, 200)});
    offer({fresh("a.x", 2, 300)});
    outlet.connect();
    pass(1s);
    const auto before = outlet.taken;
    crash();
    outlet.connect();
    pass(1s);
    ASSERT_EQ(outlet.taken.size(), 2 * before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        const Offered &again = outlet.taken[before.size() + i];
        EXPECT_EQ(again.seq, before[i].seq) << "a duplicate has the number of the first";
        EXPECT_EQ(again.value, before[i].value);
        EXPECT_EQ(again.kind, before[i].kind);
    }
}

TEST_F(FeederTest, numbersRiseAfterACrashToo)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    const quint64 last = outlet.taken.back().seq;
    EXPECT_EQ(outlet.taken[0].seq + 1, last);
    acknowledgeAll();
    crash();
    outlet.connect();
    offer({fresh("a.x", 3)});
    EXPECT_GT(outlet.taken.back().seq, last);
}

TEST_F(FeederTest, numbersAreSetAsideBeforeTheFirstOneIsUsed)
{
    QString problem;
    feeder.reset();
    quint64 used = 0;
    for (int run = 0; run < 3; ++run) { // each ends with a crash before anything was saved
        const auto backlog = Backlog::open(settings.path, {}, clock, notice, problem);
        ASSERT_NE(backlog, nullptr) << problem.toStdString();
        EXPECT_GT(backlog->nextSeq(), used);
        while (!backlog->isReserveLow())
            used = backlog->nextSeq();
        // The most that one step takes, and hands over before it saves.
        for (std::size_t i = 0; i < OutletRunner::mostQueued; ++i)
            used = backlog->nextSeq();
    }
}

TEST_F(FeederTest, numbersThatTheDiskCouldNotSetAsideGoByTheClock)
{
    QString problem;
    feeder.reset();
    auto backlog = Backlog::open(settings.path, {}, clock, notice, problem);
    quint64 used = 0;
    for (int i = 0; i < 1'000'000; ++i)
        used = backlog->nextSeq();
    backlog.reset();
    clock.advance(2s);
    backlog = Backlog::open(settings.path, {}, clock, notice, problem);
    EXPECT_GT(backlog->nextSeq(), used);
}

TEST_F(FeederTest, aRestartBeginsWithTheOutletAway)
{
    offer({fresh("a.x", 1)});
    feeder->finish({});
    start();
    offer({fresh("a.x", 2)});
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=2, stored a.x=1");
}

TEST_F(FeederTest, anOrderlyEndKeepsWhatIsUnderWay)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.x", 2), fresh("a.x", 3)});
    feeder->finish({{}, {outlet.taken[0].seq}, {}});
    EXPECT_EQ(stored(), 2);
}

TEST_F(FeederTest, theValueBeforeTheOutageIsNotSentAgain)
{
    outlet.connect();
    offer({fresh("a.x", 1)});
    acknowledgeAll();
    EXPECT_EQ(outlet.shown(), "live a.x=1");
    for (int i = 0; i < 3; ++i) {
        outlet.disconnect();
        pass(1s);
        outlet.connect();
        pass(1s);
    }
    EXPECT_EQ(outlet.shown(), "");
}

TEST_F(FeederTest, anOutletThatForgotGetsTheNewestAgain)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.y", 2)});
    acknowledgeAll();
    outlet.disconnect();
    offer({fresh("a.x", 3)});
    outlet.shown();
    outlet.connect(true);
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.y=2, live a.x=3");
    EXPECT_EQ(outlet.taken[2].seq, outlet.taken[1].seq);
    outlet.disconnect();
    pass(0s);
    EXPECT_EQ(stored(), 1) << "a repeated row is not kept";
}

TEST_F(FeederTest, anOutletThatForgotDoesNotGetTagsThatAreGone)
{
    outlet.connect();
    offer({fresh("a.x", 1), fresh("a.y", 2)});
    acknowledgeAll();
    outlet.shown();
    outlet.goneTag = "a.x";
    outlet.disconnect();
    pass(1s);
    outlet.connect(true);
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.y=2");
}

TEST_F(FeederTest, aRefusedRowHoldsUpNoOther)
{
    outlet.connect();
    outlet.room = 1;
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    pass(100ms);
    outlet.room = 1;
    feeder->step({{}, {}, outlet.seqs()});
    pass(100ms);
    EXPECT_EQ(outlet.shown(), "live a.x=1, live a.x=2");
    EXPECT_EQ(feeder->counts().refused, 1U);
    EXPECT_EQ(stored(), 1);
}

TEST_F(FeederTest, beyondItsSizeTheOldestRowsAreDroppedAndCounted)
{
    settings.limits.bytes = 100'000;
    start();
    qint64 offered = 0;
    for (int i = 0; i < 100; ++i) {
        std::vector<OutletRow> rows;
        for (int k = 0; k < 100; ++k)
            rows.push_back(fresh("a.x", offered++));
        offer(std::move(rows));
        clock.advance(1s);
    }
    EXPECT_LT(feeder->counts().storedBytes, 120'000);
    EXPECT_GT(feeder->counts().dropped, 0U);
    EXPECT_EQ(qint64(feeder->counts().dropped) + stored(), offered) << "every row is accounted for";
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.taken[1].value, qint64(feeder->counts().dropped)) << "the oldest that is left";
}

TEST_F(FeederTest, rowsThatAreTooOldAreDroppedAndCounted)
{
    settings.limits.age = 1h;
    start();
    offer({fresh("a.x", 1)});
    clock.advance(30min);
    offer({{0, "a.x", bad(-1'000'000'000, kvlink::Reason::NoLink)}}); // the value is old, the row is not
    pass(30min);
    EXPECT_EQ(stored(), 2);
    pass(2s);
    EXPECT_EQ(stored(), 1);
    EXPECT_EQ(feeder->counts().dropped, 1U);
}

TEST_F(FeederTest, aTagThatWasNeverReadHasTheTimeAtWhichThatWasSeen)
{
    clock.advance(5s);
    offer({{0, "a.x", {}}});
    feeder.reset();
    QString problem;
    const auto backlog = Backlog::open(settings.path, {}, clock, notice, problem);
    ASSERT_EQ(backlog->count(), 1);
    EXPECT_EQ(backlog->rowsAfter(0, 1)[0].sample.time, at(5000));
}

TEST_F(FeederTest, aClockThatJumpsAheadDropsNothing)
{
    settings.limits.age = 1h;
    start();
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    clock.jump(24h * 365);
    pass(2s);
    EXPECT_EQ(stored(), 2);
}

TEST_F(FeederTest, aDiskThatTakesNothingHoldsUpNoValue)
{
    settings.path = folder.filePath("missing/outlet-a.sqlite");
    start();
    offer({fresh("a.x", 1), fresh("a.x", 2)});
    EXPECT_TRUE(feeder->counts().diskProblem.contains("No such file"))
        << feeder->counts().diskProblem.toStdString();
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=2");
    const quint64 last = outlet.taken.back().seq;
    QDir(folder.path()).mkdir("missing");
    pass(5s);
    EXPECT_EQ(feeder->counts().diskProblem, "");
    EXPECT_EQ(outlet.shown(), "stored a.x=1") << "it waited in memory";
    offer({fresh("a.x", 3)});
    EXPECT_EQ(outlet.shown(), "live a.x=3");
    EXPECT_GT(outlet.taken.back().seq, last);
}

TEST_F(FeederTest, aSaveThatFailedIsTriedAgainAfterASecond)
{
    offer({fresh("a.x", 1)});
    ASSERT_EQ(stored(), 1);
    OpenProblem problem;
    const auto other = Database::open(settings.path, Database::Use::History, 0640, problem);
    ASSERT_TRUE(other->run("ALTER TABLE rows RENAME TO away"));
    offer({fresh("a.x", 2)});
    EXPECT_TRUE(feeder->counts().diskProblem.contains("no such table"))
        << feeder->counts().diskProblem.toStdString();
    ASSERT_TRUE(other->run("ALTER TABLE away RENAME TO rows"));
    pass(999ms);
    EXPECT_EQ(stored(), 1) << "a disk in trouble is not asked all the time";
    EXPECT_NE(feeder->counts().diskProblem, "");
    pass(1ms);
    EXPECT_EQ(stored(), 2);
    EXPECT_EQ(feeder->counts().diskProblem, "");
    ASSERT_TRUE(other->run("ALTER TABLE rows RENAME TO away"));
    offer({fresh("a.x", 3)});
    ASSERT_TRUE(other->run("ALTER TABLE away RENAME TO rows"));
    feeder->finish({});
    EXPECT_EQ(stored(), 3) << "the last save waits for nothing";
}

TEST_F(FeederTest, onlyWhatTheDiskDoesNotTakeIsBoundedByMemory)
{
    const std::vector<OutletRow> rows(FeederSettings::mostUnsaved + 10, fresh("a.x", 1));
    offer(rows);
    EXPECT_EQ(stored(), qint64(rows.size()));
    EXPECT_EQ(feeder->counts().dropped, 0U);
    settings.path = folder.filePath("missing/outlet-a.sqlite");
    start();
    offer(rows);
    EXPECT_EQ(feeder->counts().dropped, 10U);
}

TEST_F(FeederTest, aDamagedFileIsSetAside)
{
    offer({fresh("a.x", 1)});
    feeder.reset();
    QFile file(settings.path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(QByteArray(8192, 'x')) == 8192);
    file.close();
    start();
    offer({fresh("a.x", 2)});
    EXPECT_TRUE(notice.contains("damaged")) << notice.toStdString();
    EXPECT_TRUE(QFile::exists(settings.path + ".broken-1"));
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.shown(), "live a.x=2");
}

TEST_F(FeederTest, damageInsideAFileIsFoundWhenItIsReached)
{
    ASSERT_TRUE(startWithDamageInside());
    EXPECT_EQ(outlet.shown().substr(0, 32), "live a.x=8, stored a.x=7, stored");
    std::string notices;
    for (int i = 0; i < 20; ++i) {
        clock.advance(1s);
        offer({});
        notices += notice.toStdString();
    }
    EXPECT_NE(notices.find("outlet-a.sqlite was damaged and is set aside as "), std::string::npos) << notices;
    EXPECT_TRUE(QFile::exists(settings.path + ".broken-1"));
    EXPECT_FALSE(QFile::exists(settings.path + ".broken-2"));
    outlet.shown();
    // What was handed over and has no answer is still there.
    const qint64 inFlight = feeder->counts().inFlight;
    EXPECT_GT(inFlight, 100);
    EXPECT_EQ(stored(), inFlight);
    EXPECT_EQ(qint64(feeder->counts().dropped), 10'001 - inFlight) << "the others are lost, and counted";
    offer({fresh("a.x", 9)});
    EXPECT_EQ(outlet.shown(), "live a.x=9");
    acknowledgeAll();
    pass(1s);
    EXPECT_EQ(stored(), 0);
}

TEST_F(FeederTest, numbersDoNotGoBackWhenADamagedFileIsSetAside)
{
    ASSERT_TRUE(startWithDamageInside());
    clock.jump(-1h); // it was ahead when the file was opened
    for (int i = 0; i < 20; ++i)
        pass(1s);
    ASSERT_TRUE(QFile::exists(settings.path + ".broken-1"));
    outlet.disconnect();
    pass(0s);
    offer({fresh("a.x", 9)});
    outlet.shown();
    outlet.connect();
    pass(1s);
    EXPECT_EQ(outlet.shown().substr(0, 10), "live a.x=9");
}

TEST_F(FeederTest, theNumberOfRowsSurvivesACrash)
{
    offer({fresh("a.x", 1), fresh("a.x", 2), fresh("a.x", 3)});
    outlet.connect();
    pass(1s);
    acknowledge({outlet.taken[0].seq});
    pass(1s);
    EXPECT_EQ(stored(), 2);
    crash();
    pass(0s);
    EXPECT_EQ(stored(), 2);
    // As an older version left it.
    feeder.reset();
    OpenProblem problem;
    ASSERT_TRUE(Database::open(settings.path, Database::Use::History, 0640, problem)
                    ->run("DELETE FROM facts WHERE name = 'rows'; PRAGMA user_version=1"));
    start();
    pass(0s);
    EXPECT_EQ(stored(), 2);
}

TEST_F(FeederTest, afterARestartOnlyTheEndOfALongFileIsSearchedForTheNewest)
{
    offer({fresh("a.y", 1)});
    offer(std::vector<OutletRow>(50'000, fresh("a.x", 2)));
    offer(std::vector<OutletRow>(50'000, fresh("a.x", 3)));
    crash();
    outlet.connect();
    pass(10ms);
    EXPECT_EQ(outlet.shown().substr(0, 25), "live a.x=3, stored a.y=1,")
        << "the other one goes as a late one";
}

TEST_F(FeederTest, aFileOfANewerVersionIsLeftAlone)
{
    offer({fresh("a.x", 1)});
    feeder.reset();
    OpenProblem problem;
    Database::open(settings.path, Database::Use::History, 0640, problem)->run("PRAGMA user_version=99");
    start();
    feeder->step({});
    EXPECT_TRUE(feeder->counts().diskProblem.contains("newer kv-gateway"));
}

TEST_F(FeederTest, valuesComeBackFromDiskAsTheyWere)
{
    const kvlink::Value values[] = {true, qint64(-7), 1.5, QStringLiteral("caf\u00e9"),
                                    std::vector<kvlink::Scalar>{qint64(1), 2.5}};
    std::vector<OutletRow> rows;
    for (const kvlink::Value &value : values)
        rows.push_back({0, "a.x", good(123, value)});
    rows.push_back({0, "a.x", bad(456, kvlink::Reason::PlcError)});
    rows.back().sample.plcError = 1;
    offer(rows);
    feeder.reset();
    QString problem;
    const auto backlog = Backlog::open(settings.path, {}, clock, notice, problem);
    ASSERT_NE(backlog, nullptr) << problem.toStdString();
    const auto found = backlog->rowsAfter(0, 10);
    ASSERT_EQ(found.size(), rows.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].sample.value, rows[i].sample.value) << i;
        EXPECT_EQ(found[i].sample.quality, rows[i].sample.quality);
        EXPECT_EQ(found[i].sample.time, rows[i].sample.time);
    }
    EXPECT_EQ(found.back().sample.reasonText(), "the PLC answered E1");
}

} // namespace
} // namespace kvgateway
