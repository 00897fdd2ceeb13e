// SPDX-License-Identifier: MIT
// What must never happen to a write; each test is named after what a user would see.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

LinkSettings quick()
{
    LinkSettings settings;
    settings.timeout = 50ms;
    return settings;
}

// A link that is up, with tags that are read only on demand.
class Writes : public ::testing::Test
{
protected:
    void SetUp() override
    {
        bench.add({engineTag(1, "DM100", Duration(0)), engineTag(2, "DM200.3", Duration(0)),
                   engineTag(3, "R500", Duration(0)), engineTag(4, "DM300:300", Duration(0)),
                   engineTag(5, "DM101", Duration(0))});
        bench.engine.start();
        ASSERT_TRUE(bench.runUntilReady());
    }

    Bench bench{quick()};
};

TEST_F(Writes, ThatWereCarriedOutButNotAnsweredAreUnknownNotFailed)
{
    bench.wire.faults.push_back({.losesAnswer = true});
    const WriteId id = bench.write(1, qint64(5), {.attempts = 1});
    bench.run(1s);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(id).reason, Reason::NoAnswer);
    EXPECT_EQ(bench.result(id).text, QStringLiteral("sent, no answer in 50ms; it may have been carried out"));
    EXPECT_EQ(bench.plc.value("DM", 100), 5U);
}

TEST_F(Writes, DoNotUseUpAttemptsWhileTheyWaitForTheLink)
{
    bench.wire.faults.push_back({.losesAnswer = true});
    const WriteId id = bench.write(1, qint64(5), {.attempts = 3});
    bench.wire.door = ModelWire::Door::Refuses;
    bench.run(1s);
    EXPECT_FALSE(bench.hasEnded(id));
    bench.wire.door = ModelWire::Door::Open;
    bench.run(3s);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
    EXPECT_EQ(bench.result(id).attempts, 2);
}

TEST_F(Writes, ThatDoNotWaitEndWithTheLink)
{
    bench.wire.isFrozen = true;
    bench.write(1, qint64(5));
    bench.step();
    const WriteId behind = bench.write(5, qint64(6), {.whenOffline = WhenOffline::Fail});
    bench.step();
    EXPECT_FALSE(bench.hasEnded(behind));
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.result(behind).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(behind).reason, Reason::Offline);
}

TEST_F(Writes, AllEndWhenTheLinkComesTooLate)
{
    bench.wire.door = ModelWire::Door::Refuses;
    bench.wire.cut();
    bench.step();
    for (int i = 0; i < 2000; ++i)
        bench.write(1, qint64(i),
                    {.whenOffline = i % 2 == 0 ? WhenOffline::Wait : WhenOffline::Fail, .attempts = 1});
    bench.run(6s);
    EXPECT_EQ(bench.events.writes.size(), 2000U);
    EXPECT_EQ(bench.engine.statistics().writesNotSent, 2000U);
    bench.wire.door = ModelWire::Door::Open;
    bench.run(10s);
    EXPECT_EQ(bench.plc.count("WRS"), 0); // expired is never sent
}

TEST_F(Writes, AreSentAtLeastOnceAndAtMostTenTimes)
{
    const struct {
        int asked, sent;
    } rows[] = {{0, 1}, {-3, 1}, {1, 1}, {10, 10}, {11, 10}};
    for (const auto &row : rows) {
        bench.wire.faultOf = [](const QByteArray &frame) {
            return WireFault{.losesAnswer = frame.startsWith("WRS")};
        };
        const WriteId id = bench.write(
            1, qint64(5), {.whenOffline = WhenOffline::Wait, .expires = 1h, .attempts = row.asked});
        ASSERT_TRUE(bench.runUntil([&] { return bench.hasEnded(id); }, 600s));
        EXPECT_EQ(bench.result(id).attempts, row.sent) << row.asked;
        ASSERT_TRUE(bench.runUntilReady());
    }
}

TEST_F(Writes, AreCountedByTheirOutcome)
{
    const WriteId done = bench.write(1, qint64(1));
    bench.run(10ms);
    bench.plc.refusesWrites = true;
    const WriteId refused = bench.write(1, qint64(2));
    bench.run(10ms);
    const WriteId notSent = bench.write(1, qint64(70000));
    bench.wire.isFrozen = true;
    const WriteId unknown = bench.write(1, qint64(3), {.attempts = 1});
    const WriteId expired = bench.write(1, qint64(4), {.expires = 1ms});
    bench.run(60ms);
    EXPECT_EQ(bench.result(done).outcome, Outcome::Done);
    EXPECT_EQ(bench.result(refused).outcome, Outcome::Refused);
    EXPECT_EQ(bench.result(notSent).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(unknown).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(expired).outcome, Outcome::NotSent);
    const LinkStatistics statistics = bench.engine.statistics();
    EXPECT_EQ(statistics.writesDone, 1U);
    EXPECT_EQ(statistics.writesRefused, 1U);
    EXPECT_EQ(statistics.writesNotSent, 2U);
    EXPECT_EQ(statistics.writesUnknown, 1U);
    EXPECT_EQ(statistics.answers, 1U);
    EXPECT_EQ(statistics.plcErrors, 1U);
    EXPECT_EQ(statistics.noAnswers, 1U);
    EXPECT_EQ(statistics.corrupted, 0U);
    EXPECT_EQ(statistics.requests, 3U);
}

TEST_F(Writes, ThatWereNotCarriedOutLeaveTheirTagsGood)
{
    bench.engine.readNow(1, {Tag(1)});
    bench.run(10ms);
    bench.plc.refusesWrites = true;
    const WriteId refused = bench.write(1, qint64(2));
    bench.run(10ms);
    EXPECT_EQ(bench.result(refused).outcome, Outcome::Refused);
    EXPECT_EQ(bench.text(1), "good 0");
    const WriteId notSent = bench.write(1, qint64(70000));
    bench.step();
    EXPECT_EQ(bench.result(notSent).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.text(1), "good 0");
}

TEST_F(Writes, OfWhichAPartMayHaveBeenCarriedOutLeaveTheirTagsPending)
{
    bench.engine.readNow(1, {Tag(4)});
    bench.run(50ms);
    ASSERT_TRUE(bench.sample(4).isGood());
    bench.wire.faultOf = [this](const QByteArray &frame) { // the second of three requests is refused
        bench.plc.refusesWrites = frame.startsWith("WRS DM428");
        return WireFault();
    };
    const WriteId id = bench.write(4, std::vector<Scalar>(300, Scalar(qint64(7))));
    bench.run(50ms);
    EXPECT_EQ(bench.result(id).reason, Reason::PartlyDone);
    EXPECT_EQ(bench.sample(4).quality, Quality::Pending);
}

TEST_F(Writes, OfATagThatIsRemovedMeanwhileStillEnd)
{
    const WriteId id = bench.write(1, qint64(5));
    bench.step(); // on its way
    bench.engine.removeTag(Tag(1));
    bench.run(10ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("DM", 100), 5U);
}

TEST(WritesOfALink, AreNoLongerThanItsLargestRequest)
{
    LinkSettings settings;
    settings.maxBlock = 50;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0:120", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    const WriteId id = bench.write(1, std::vector<Scalar>(120, Scalar(qint64(7))));
    bench.run(50ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
    for (const char *frame : {"WRS DM0.U 50 ", "WRS DM50.U 50 ", "WRS DM100.U 20 "})
        EXPECT_EQ(bench.plc.count(frame), 1) << frame;
}

TEST_F(Writes, OfSeveralRequestsGoNoFurtherWhenTheLinkIsToBeStopped)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    const WriteId many = bench.write(4, std::vector<Scalar>(300, Scalar(qint64(7))));
    bench.step(); // the first of three is on its way
    bench.engine.stop();
    bench.run(10ms);
    EXPECT_EQ(bench.result(many).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(many).reason, Reason::PartlyDone);
    EXPECT_EQ(bench.plc.count("WRS"), 1);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
}

TEST_F(Writes, OfABitStartAgainFromTheReadAndKeepTheProgramsBits)
{
    bench.plc.set("DM", 200, 0x00F0, bench.clock.now());
    bench.wire.faults.push_back({});                     // the read
    bench.wire.faults.push_back({.losesRequest = true}); // the write
    const WriteId id = bench.write(2, true, {.attempts = 2});
    bench.run(30ms);
    bench.plc.set("DM", 200, 0x0F00, bench.clock.now()); // the program, meanwhile
    bench.run(2s);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("DM", 200), 0x0F08U);
    EXPECT_EQ(bench.plc.count("RDS DM200.U 1"), 2);
}

TEST_F(Writes, OfABitWhoseWordCannotBeReadWereNotSent)
{
    bench.wire.faults.push_back({.losesAnswer = true});
    const WriteId id = bench.write(2, true, {.attempts = 1});
    bench.run(1s);
    EXPECT_EQ(bench.result(id).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(id).attempts, 0);
    EXPECT_EQ(bench.plc.count("WRS"), 0);
}

TEST_F(Writes, ThatAreConfirmedAreNeverSentAgainWhateverFollowsTheAnswer)
{
    for (const WireFault &fault : {WireFault{.copies = 1}, WireFault{.copies = 3}}) {
        bench.plc.clearDiary();
        bench.wire.faults.push_back(fault);
        const WriteId first = bench.write(1, qint64(0));
        const WriteId second = bench.write(3, true);
        bench.run(1s);
        EXPECT_EQ(bench.result(first).outcome, Outcome::Done);
        EXPECT_EQ(bench.result(second).outcome, Outcome::Done);
        EXPECT_EQ(bench.plc.count("WRS"), 1);
        EXPECT_EQ(bench.plc.count("ST"), 1);
    }
}

TEST_F(Writes, BehindWhichOtherBytesComeAreUnknownAndTheLinkStartsAfresh)
{
    bench.wire.faults.push_back({.after = "00001\r\n"});
    const WriteId id = bench.write(1, qint64(5), {.attempts = 1});
    bench.run(10ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(id).reason, Reason::Corrupted);
    EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
}

TEST_F(Writes, OfACommandAreSentOnceWhateverIsAskedFor)
{
    EngineTag start = engineTag(9, "R900", Duration(0));
    start.command = true;
    bench.add({start});
    bench.wire.faults.push_back({.losesAnswer = true});
    const WriteId lost = bench.write(9, true, {.whenOffline = WhenOffline::Wait, .attempts = 5});
    bench.run(5s);
    EXPECT_EQ(bench.result(lost).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.plc.count("ST R900"), 1);

    bench.plc.restart(); // answers E1: an ordinary write would be greeted for and asked once more
    const WriteId refused = bench.write(9, true);
    bench.run(1s);
    EXPECT_EQ(bench.result(refused).outcome, Outcome::Refused);
    EXPECT_EQ(bench.plc.count("ST R900"), 2);
}

TEST_F(Writes, AreAllReportedWhenTheLinkIsStopped)
{
    const WriteId done = bench.write(1, qint64(1));
    bench.run(10ms);
    const WriteId inFlight = bench.write(1, qint64(2));
    const WriteId waiting = bench.write(1, qint64(3));
    bench.step();
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.result(done).outcome, Outcome::Done);
    EXPECT_EQ(bench.result(inFlight).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(inFlight).reason, Reason::Stopped);
    EXPECT_EQ(bench.result(waiting).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(waiting).reason, Reason::Stopped);
}

TEST_F(Writes, LeaveEveryThirdRequestToReads)
{
    bench.add({engineTag(10, "EM0", 10ms)});
    bench.run(5ms);
    for (int i = 0; i < 60; ++i)
        bench.write(1, qint64(i));
    bench.plc.clearDiary();
    bench.run(180ms); // 90 requests of 2 ms
    EXPECT_EQ(bench.plc.count("WRS"), 60);
    EXPECT_GE(bench.plc.count("RDS EM0"), 11); // one each 10 ms was due, and there was room for 30
}

TEST_F(Writes, OfSeveralRequestsSayHowFarTheyCame)
{
    Value many = std::vector<Scalar>(300, Scalar(qint64(7)));
    const WriteId whole = bench.write(4, many);
    bench.run(1s);
    EXPECT_EQ(bench.result(whole).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("DM", 599), 7U);
    EXPECT_EQ(bench.plc.count("WRS"), 3);
    bench.wire.faults = {{}, {.losesAnswer = true}};
    const WriteId part = bench.write(4, many, {.attempts = 1});
    bench.run(1s);
    EXPECT_EQ(bench.result(part).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(part).reason, Reason::PartlyDone);
    EXPECT_EQ(bench.result(part).text, QStringLiteral("only the first part is confirmed: 1 of 3 requests"));
}

TEST_F(Writes, AreCheckedBeforeAnythingIsSent)
{
    EngineTag readOnly = engineTag(11, "DM1", Duration(0));
    readOnly.readOnly = true;
    EngineTag hex = engineTag(12, "DM2.H", Duration(0));
    hex.offset = 10.0;
    bench.add({readOnly, hex, engineTag(13, "T5", Duration(0)), engineTag(14, "TC5", Duration(0))});
    const struct {
        quint32 tag;
        Value value;
        WriteOptions options;
        Reason reason;
        const char *text;
    } rows[] = {
        {1, qint64(70000), {}, Reason::InvalidValue, "70000 is too large for DM100 (0 to 65535)"},
        {1, QStringLiteral("x"), {}, Reason::InvalidValue, "DM100 takes a number, not a text"},
        {11, qint64(1), {}, Reason::NotPermitted, "not permitted: DM1 is read-only"},
        {13,
         true,
         {},
         Reason::NotPermitted,
         "not permitted: T5 is a contact: only the PLC's program sets it"},
        {14,
         qint64(4294967296),
         {},
         Reason::InvalidValue,
         "4294967296 is too large for TC5 (0 to 4294967295)"},
        {99, qint64(1), {}, Reason::InvalidValue, "there is no such tag"},
        {1,
         qint64(1),
         {.expires = Duration(0)},
         Reason::InvalidValue,
         "a write must expire later than at once"},
    };
    for (const auto &row : rows) {
        const WriteId id = bench.write(row.tag, row.value, row.options);
        bench.run(10ms);
        EXPECT_EQ(bench.result(id).outcome, Outcome::NotSent);
        EXPECT_EQ(bench.result(id).reason, row.reason) << row.tag;
        EXPECT_EQ(bench.result(id).text.toStdString(), row.text + std::string("; nothing was sent"));
    }
    EXPECT_EQ(bench.plc.count("WRS"), 0);
    bench.write(12, qint64(26)); // shown = raw + 10
    bench.run(10ms);
    EXPECT_EQ(bench.plc.value("DM", 2), 16U);
}

// --- push buttons --------------------------------------------------------------------------------

TEST_F(Writes, OfAPulseAreOneOneAndOneZeroItsLengthApart)
{
    bench.engine.pulse(70, Tag(3), 200ms);
    bench.run(1s);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
    const auto &changes = bench.plc.history("R", 5);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[1].at - changes[0].at, Duration(202ms)); // from the confirmation of the 1
}

TEST_F(Writes, OfAStartPulseAreNeverGivenTwice)
{
    bench.wire.faults.push_back({.losesAnswer = true});
    bench.engine.pulse(70, Tag(3), 200ms);
    bench.run(5s);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.plc.count("ST R500"), 1);
    EXPECT_EQ(bench.plc.value("R", 5), 0U); // released as soon as the link was back
    EXPECT_GE(bench.plc.count("RS R500"), 1);
}

TEST_F(Writes, OfAButtonFollowTheFinger)
{
    bench.engine.press(70, Tag(3));
    for (int i = 0; i < 10; ++i) {
        bench.run(300ms);
        bench.engine.renew(70);
        EXPECT_EQ(bench.plc.value("R", 5), 1U);
    }
    EXPECT_FALSE(bench.hasEnded(70));
    bench.engine.release(70);
    bench.run(10ms);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
}

TEST_F(Writes, OfAButtonWhoseScreenHangsEndByThemselves)
{
    bench.engine.press(70, Tag(3));
    bench.run(490ms);
    EXPECT_EQ(bench.plc.value("R", 5), 1U);
    bench.run(20ms);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    bench.engine.renew(70); // too late
    bench.run(1s);
    EXPECT_EQ(bench.plc.count("ST R500"), 1);
}

TEST_F(Writes, OfAButtonPressedWithoutALinkLeaveNoRelease)
{
    bench.wire.cut();
    bench.step();
    bench.engine.press(70, Tag(3));
    bench.run(5s);
    EXPECT_EQ(bench.result(70).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.plc.count("ST"), 0);
    EXPECT_EQ(bench.plc.count("RS"), 0);
}

TEST_F(Writes, OfAReleaseAreRepeatedUntilConfirmed)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    bench.wire.faults.push_back({.losesRequest = true});
    bench.engine.release(70);
    bench.run(5s);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
}

TEST_F(Writes, OfAReleaseThatCannotBeGivenAreReported)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    bench.wire.door = ModelWire::Door::Refuses;
    bench.wire.cut();
    bench.engine.release(70);
    bench.run(5s);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(70).reason, Reason::PartlyDone);
}

// --- buttons and pulses when the link is stopped -------------------------------------------------

TEST_F(Writes, OfAButtonAreReleasedBeforeTheLinkStops)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    const WriteId waiting = bench.write(1, qint64(5));
    bench.engine.stop();
    const WriteId late = bench.write(1, qint64(6));
    EXPECT_EQ(bench.plc.value("R", 5), 1U);
    bench.run(2ms); // the 0 goes out and is confirmed
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
    for (const WriteId id : {waiting, late}) {
        EXPECT_EQ(bench.result(id).outcome, Outcome::NotSent);
        EXPECT_EQ(bench.result(id).reason, Reason::Stopped);
    }
    EXPECT_EQ(bench.plc.count("WRS"), 0);
    EXPECT_EQ(bench.deadline, SteadyTime::max());
}

TEST_F(Writes, OfAPulseEndEarlyWhenTheLinkIsStopped)
{
    bench.engine.pulse(70, Tag(3), 10s);
    bench.step(); // the 1 is on its way
    bench.engine.stop();
    bench.run(4ms); // 2 ms each, the 1 and the 0
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
    EXPECT_EQ(bench.plc.count("ST R500"), 1);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
}

TEST_F(Writes, OfAButtonThatWasNotPressedYetLeaveNothingToRelease)
{
    bench.write(1, qint64(5));
    bench.step(); // it is on its way
    bench.engine.press(70, Tag(3));
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
    EXPECT_EQ(bench.result(70).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(70).reason, Reason::Stopped);
    EXPECT_EQ(bench.plc.count("ST"), 0);
}

// Reads are not asked meanwhile, and what somebody waits for ends.
TEST_F(Writes, OfAReleaseComeBeforeReadsWhenTheLinkIsStopped)
{
    bench.add({engineTag(20, "DM0", 10ms), engineTag(21, "EM0", 10ms)});
    bench.run(50ms);
    bench.engine.press(70, Tag(3));
    bench.run(5ms);
    bench.engine.readNow(80, {Tag(1)});
    bench.plc.clearDiary();
    bench.engine.stop();
    bench.run(100ms);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_LE(bench.plc.count("RDS"), 1); // the one that was on its way
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{80});
}

TEST_F(Writes, OfAReleaseAreNotWaitedForLongerThanStoppingMayTake)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    bench.wire.isFrozen = true;
    const SteadyTime stopped = bench.clock.now();
    bench.engine.stop();
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Stopped; }));
    EXPECT_EQ(bench.clock.now() - stopped, Duration(50ms)); // no answer: the link is lost
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(70).reason, Reason::PartlyDone);
}

TEST(WritesOfASlowPlc, OfAReleaseAreNotWaitedForLongerThanStoppingMayTake)
{
    LinkSettings settings;
    settings.timeout = 5s;
    Bench bench(settings);
    bench.add({engineTag(3, "R500", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    bench.wire.isFrozen = true;
    const SteadyTime stopped = bench.clock.now();
    bench.engine.stop();
    bench.run(200ms);
    bench.engine.stop(); // puts nothing off
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Stopped; }));
    EXPECT_EQ(bench.clock.now() - stopped, Duration(400ms));
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(70).reason, Reason::PartlyDone);
    EXPECT_EQ(
        bench.result(70).text.toStdString(),
        "only the first part is confirmed: pressed; the release: sent, then the link was stopped; it may "
        "have been carried out");
    bench.wire.isFrozen = false;
    bench.engine.start();
    EXPECT_TRUE(bench.runUntilReady());
}

TEST(WritesOfASlowPlc, OfAPressThatHasToWaitLongerThanItsLeaseAreNotSent)
{
    LinkSettings settings;
    settings.timeout = 5s;
    Bench bench(settings);
    bench.add({engineTag(3, "R500", Duration(0)), engineTag(1, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.isFrozen = true;
    bench.engine.readNow(1, {Tag(1)});
    bench.step(); // its answer does not come
    bench.engine.press(70, Tag(3));
    bench.run(499ms);
    EXPECT_FALSE(bench.hasEnded(70));
    bench.run(1ms);
    EXPECT_EQ(bench.result(70).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(70).text.toStdString(), "expired after 500ms; nothing was sent");
}

TEST(WritesOfASlowPlc, OfAPressThatIsNotAnsweredMayHaveBeenCarriedOut)
{
    LinkSettings settings;
    settings.timeout = 5s;
    Bench bench(settings);
    bench.add({engineTag(3, "R500", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.isFrozen = true;
    bench.engine.press(70, Tag(3));
    bench.step(); // on its way
    bench.engine.stop();
    bench.run(400ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(70).reason, Reason::Stopped);
    EXPECT_EQ(bench.result(70).text.toStdString(),
              "sent, then the link was stopped; it may have been carried out");
}

TEST_F(Writes, OfAReleaseEndAtOnceWhenTheLinkIsStartedAgain)
{
    bench.engine.press(70, Tag(3));
    bench.run(50ms);
    bench.wire.isFrozen = true;
    bench.engine.stop();
    bench.step();
    EXPECT_FALSE(bench.hasEnded(70));
    bench.wire.isFrozen = false;
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
}

TEST_F(Writes, OfAButtonOnAWordAreRefused)
{
    bench.add({engineTag(6, "R500:2", Duration(0))});
    bench.engine.press(70, Tag(1));
    bench.engine.pulse(71, Tag(1), 100ms);
    bench.engine.press(72, Tag(6)); // nor on several bits
    bench.run(1s);
    EXPECT_EQ(bench.result(70).reason, Reason::InvalidValue);
    EXPECT_EQ(bench.result(70).text.toStdString(), "DM100 is not a single bit; nothing was sent");
    EXPECT_EQ(bench.result(71).reason, Reason::InvalidValue);
    EXPECT_EQ(bench.result(72).reason, Reason::InvalidValue);
    EXPECT_EQ(bench.plc.count("WRS"), 0);
    EXPECT_EQ(bench.plc.count("ST"), 0);
}

} // namespace
} // namespace kvlink
