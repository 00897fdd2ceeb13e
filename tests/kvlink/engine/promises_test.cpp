// SPDX-License-Identifier: MIT
// What must never happen again: each test is named after what a user would see.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

// --- values --------------------------------------------------------------------------------------

TEST(Values, OfADeadPlcAreNeverGood)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 2s)});
    bench.engine.start();
    bench.run(10s);
    ASSERT_EQ(bench.text(1), "good 0");
    for (int outage = 0; outage < 2; ++outage) {
        bench.wire.isFrozen = true;
        bench.run(3100ms); // the next read, its time-out
        EXPECT_EQ(bench.text(1).substr(0, 3), "bad");
        bench.run(25s);
        EXPECT_EQ(bench.text(1).substr(0, 3), "bad");
        bench.wire.isFrozen = false;
        ASSERT_TRUE(bench.runUntil([&] { return bench.sample(1).isGood(); }));
        // Back for one answer only: however long the outage was, three periods later at the latest
        // it is not good.
    }
}

TEST(Values, AreBadInTheStepThatSeesTheLoss)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 20s), engineTag(2, "R0", 20s)});
    bench.engine.start();
    bench.run(1s);
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.text(1), "bad 0 (no link)");
    EXPECT_EQ(bench.text(2), "bad 0 (no link)");
    EXPECT_EQ(bench.engine.link().problem, QStringLiteral("connection reset"));
    // The last good value keeps its time.
    EXPECT_LT(bench.sample(1).steadyTime, bench.clock.now() - 900ms);
}

TEST(Values, GrowStaleThreePeriodsAfterTheyWereDue)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 100ms)});
    bench.engine.start();
    bench.run(1s);
    const SteadyTime answered = bench.sample(1).steadyTime;
    bench.wire.isFrozen = true; // the time-out is longer than three periods
    ASSERT_TRUE(bench.runUntil([&] { return bench.sample(1).quality == Quality::Stale; }, 1s));
    EXPECT_LE(bench.clock.now() - answered, Duration(300ms));
    EXPECT_GE(bench.clock.now() - answered, Duration(290ms));
}

TEST(Values, OfThirtyTwoBitsAreNeverTornAcrossRequests)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 50ms), engineTag(2, "DM127.D", 50ms), engineTag(3, "DM255.F", 50ms)});
    bench.engine.start();
    bool high = false;
    bench.afterStep = [&](const Events &events) {
        high = !high;
        bench.plc.set("DM", 127, high ? 0 : 65535, bench.clock.now());
        bench.plc.set("DM", 128, high ? 1 : 0, bench.clock.now());
        for (const Events::Change &change : events.changes) {
            const qint64 value = change.sample.toInt();
            const bool isWatched = change.tag == Tag(2) && change.sample.isGood();
            EXPECT_TRUE(!isWatched || value == 65535 || value == 65536 || value == 0) << value;
        }
    };
    bench.run(5s);
    EXPECT_GT(bench.events.changes.size(), 20U);
    EXPECT_EQ(bench.plc.count("RDS DM128."), 0);
}

TEST(Values, OfATagLargerThanARequestAreWholeOneByOne)
{
    LinkSettings settings;
    settings.maxBlock = 8;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0.D:10", 100ms), engineTag(2, "R0:300", 100ms)});
    for (int unit = 0; unit < 20; ++unit)
        bench.plc.set("DM", unit, quint32(unit), bench.clock.now());
    bench.plc.set("R", 18, 0x0800, bench.clock.now());
    bench.engine.start();
    bench.run(150ms);
    EXPECT_EQ(bench.text(1), "good 65536,196610,327684,458758,589832,720906,851980,983054,1114128,1245202");
    const Sample relays = bench.sample(2);
    ASSERT_TRUE(relays.isGood());
    for (std::size_t i = 0; i < 300; ++i)
        EXPECT_EQ(std::get<bool>(std::get<std::vector<Scalar>>(relays.value)[i]), i == 18 * 16 + 11) << i;
    EXPECT_EQ(bench.plc.count("RDS DM0.U 8"), 2); // at 0 and 100 ms
    EXPECT_EQ(bench.plc.count("RDS DM16.U 4"), 2);
}

TEST(Values, AboveTwoThousandMillionComeOutRight)
{
    Bench bench;
    bench.plc.set("TC", 3, 4294967295U, bench.clock.now());
    bench.plc.set("TS", 3, 2147483648U, bench.clock.now());
    bench.plc.set("Z", 5, 3000000000U, bench.clock.now());
    bench.add({engineTag(1, "TC3"), engineTag(2, "TS3"), engineTag(3, "Z5"), engineTag(4, "T3")});
    bench.engine.start();
    bench.run(100ms);
    EXPECT_EQ(bench.text(1), "good 4294967295");
    EXPECT_EQ(bench.text(2), "good 2147483648");
    EXPECT_EQ(bench.text(3), "good 3000000000");
    EXPECT_EQ(bench.plc.count("RDS T3.D 1"), 1); // all three values in one request
}

TEST(Values, AreTakenBackWhenTheTrueAnswerComesBehindACopy)
{
    Bench bench;
    bench.plc.set("DM", 0, 5, bench.clock.now());
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.run(100ms);
    ASSERT_EQ(bench.text(1), "good 5");
    bench.wire.comes("00007\r\n"); // the true one
    bench.step();
    EXPECT_EQ(bench.text(1), "bad 5 (no link)");
    EXPECT_EQ(bench.engine.statistics().strayBytes, 7U);
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 5");
}

TEST(Values, AreNotDisturbedByWholeCopiesOfAnAnswer)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 100ms)});
    bench.wire.faultOf = [](const QByteArray &) { return WireFault{.copies = 2}; };
    bench.engine.start();
    bench.run(10s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.engine.statistics().linkLosses, 0U);
    EXPECT_EQ(bench.engine.statistics().missedPasses, 0U);
    EXPECT_GE(bench.plc.count("RDS DM0"), 100);
}

TEST(Values, NextToARefusedOneStayGood)
{
    Bench bench;
    bench.plc.lastUnit["DM"] = 5003;
    bench.add(
        {engineTag(1, "DM5000", 100ms), engineTag(2, "DM5003", 100ms), engineTag(3, "DM5002.D:2", 100ms)});
    bench.engine.start();
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.text(2), "good 0");
    EXPECT_EQ(bench.text(3), "bad (the PLC answered E0)");
    const int asked = bench.plc.count("RDS DM5002.U 4");
    bench.run(50s);
    EXPECT_EQ(bench.plc.count("RDS DM5002.U 4"), asked); // once a minute, not at every pass
    bench.plc.lastUnit["DM"] = 70000;
    bench.run(20s);
    EXPECT_EQ(bench.text(3), "good 0,0");
    EXPECT_EQ(bench.plc.count("CR"), 1); // E0 is no reason to greet
}

TEST(Values, AskedForNextToARefusedOneAreGood)
{
    Bench bench;
    bench.plc.lastUnit["DM"] = 5003;
    bench.add({engineTag(1, "DM5000", Duration(0)), engineTag(2, "DM5003", Duration(0)),
               engineTag(3, "DM5002.D:2", Duration(0))});
    bench.engine.start();
    bench.engine.readNow(7, {Tag(1), Tag(2), Tag(3)});
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.text(2), "good 0");
    EXPECT_EQ(bench.text(3), "bad (the PLC answered E0)");
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{7});
}

TEST(Values, WithADeadbandKeepWhatWasToldApart)
{
    Bench bench;
    EngineTag slow = engineTag(1, "DM0", 100ms);
    EngineTag fast = engineTag(2, "DM1", 100ms);
    slow.deadband = 5.0;
    fast.deadband = 5.0;
    bench.add({slow, fast});
    bench.plc.set("DM", 0, 10, bench.clock.now());
    bench.engine.start();
    bench.run(1s);
    bench.plc.set("DM", 1, 100, bench.clock.now());
    bench.run(1s);
    bench.events.changes.clear();
    bench.plc.set("DM", 0, 12, bench.clock.now());
    bench.run(1s);
    EXPECT_TRUE(bench.events.changes.empty()) << "12 is near 10, whatever DM1 holds";
    bench.plc.set("DM", 0, 16, bench.clock.now());
    bench.run(1s);
    EXPECT_EQ(bench.events.changes.size(), 1U);
    EXPECT_EQ(bench.text(1), "good 16");
    EXPECT_EQ(bench.text(2), "good 100");
}

TEST(Values, AreReadAtOnceWhenATagComesToALinkThatIsUp)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 60s)});
    bench.engine.start();
    bench.run(1s);
    bench.add({engineTag(2, "DM1", 60s), engineTag(3, "DM2", 30s), engineTag(4, "DM3", Duration(0))});
    bench.run(100ms);
    EXPECT_EQ(bench.text(2), "good 0");
    EXPECT_EQ(bench.text(3), "good 0");
    EXPECT_EQ(bench.text(4), "never"); // on demand only
}

TEST(Values, AskedForAreToldThoughNothingHasChanged)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", Duration(0)), engineTag(2, "DM500", Duration(0))});
    bench.engine.readNow(7, {Tag(1), Tag(2), Tag(99)}); // before the link is there
    bench.engine.start();
    bench.run(1s);
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{7});
    EXPECT_EQ(bench.events.changes.size(), 2U);
    bench.engine.readNow(8, {Tag(1)});
    bench.run(1s);
    EXPECT_EQ(bench.events.changes.size(), 3U);
    EXPECT_EQ(bench.events.reads.back(), 8U);
}

TEST(Values, AskedForWithoutALinkEndAtOnce)
{
    Bench bench;
    bench.wire.door = ModelWire::Door::Refuses;
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.readNow(1, {Tag(1)});
    bench.engine.start();
    bench.run(100ms);
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{1});
    bench.engine.readNow(2, {Tag(1)});
    bench.step();
    EXPECT_EQ(bench.events.reads.back(), 2U);
    EXPECT_EQ(bench.text(1), "bad (no link)");
}

TEST(Values, ArePendingFromAWriteToTheNextRead)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    bench.run(100ms);
    bench.write(1, qint64(5));
    bench.run(100ms);
    EXPECT_EQ(bench.text(1), "pending 0");
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 5");
}

// --- requests ------------------------------------------------------------------------------------

// A PLC gives 120 timers or counters in one answer.
TEST(Requests, OfTimersAndCountersAreAsLargeAsThePlcAllows)
{
    const struct {
        std::vector<const char *> addresses;
        std::vector<QByteArray> frames; // of one pass
    } rows[] = {
        {{"T0:100"}, {"RDS T0.D 100"}},
        {{"T0:120"}, {"RDS T0.D 120"}},
        {{"T0:121"}, {"RDS T0.D 120", "RDS T120.D 1"}},
        {{"TC200:121"}, {"RDS T200.D 120", "RDS T320.D 1"}},
        {{"C0:121"}, {"RDS C0.D 120", "RDS C120.D 1"}},
        {{"T0:100", "T100:20"}, {"RDS T0.D 120"}},
        {{"T0:100", "T100:21"}, {"RDS T0.D 100", "RDS T100.D 21"}},
    };
    for (const auto &row : rows) {
        Bench bench;
        quint32 tag = 0;
        for (const char *address : row.addresses)
            bench.add({engineTag(++tag, QString::fromLatin1(address), 10s)});
        bench.engine.start();
        bench.run(1s);
        std::vector<QByteArray> reads;
        for (const QByteArray &frame : bench.wire.frames()) {
            if (frame.startsWith("RDS"))
                reads.push_back(frame.trimmed());
        }
        EXPECT_EQ(reads, row.frames) << row.addresses.back();
        for (; tag > 0; --tag)
            EXPECT_TRUE(bench.sample(tag).isGood()) << row.addresses[tag - 1];
    }
}

TEST(Requests, DoNotReadAcrossAWideGapOnASlowLine)
{
    Bench bench({}, 10.0 / 9600);
    bench.add({engineTag(1, "DM0", 60ms), engineTag(2, "DM120", 60ms)});
    bench.engine.start();
    bench.run(10s);
    EXPECT_EQ(bench.plc.count("RDS DM0.U 121"), 0);
    const ReadPlan plan = bench.engine.plan();
    ASSERT_EQ(plan.requests.size(), 2);
    EXPECT_EQ(plan.requests[0].frame, QStringLiteral("RDS DM0.U 1"));
    EXPECT_EQ(plan.requests[1].frame, QStringLiteral("RDS DM120.U 1"));
    EXPECT_GT(bench.engine.statistics().periods[0].passes, 10U * 15);
}

TEST(Requests, GetTheTimeTheirCharactersTakeOnTheLine)
{
    LinkSettings settings;
    settings.timeout = 200ms;
    Bench bench(settings, 10.0 / 4800);
    bench.add({engineTag(1, "DM0:128", 5s)});
    bench.engine.start();
    bench.run(4s);
    EXPECT_TRUE(bench.sample(1).isGood()); // 769 characters take 1.6 s
    EXPECT_EQ(bench.engine.statistics().noAnswers, 0U);
}

TEST(Requests, OfAPlcThatWasRestartedAreAskedOnceMoreAfterAGreeting)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 100ms)});
    bench.engine.start();
    bench.run(500ms);
    bench.plc.restart();
    bench.run(500ms);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.plc.count("CR"), 2);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 0U);
    EXPECT_EQ(bench.engine.statistics().repeats, 1U);
    const WriteId id = bench.write(1, qint64(9));
    bench.plc.restart();
    bench.run(50ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
}

TEST(Requests, LeaveNothingInTheDriverAndNothingToBeSentLater)
{
    LinkSettings settings;
    settings.timeout = 50ms;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.isFrozen = true;
    const WriteId id = bench.write(1, qint64(5), {.attempts = 1});
    bench.run(60ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Unknown);
    EXPECT_TRUE(bench.driver->ended());
    bench.wire.isFrozen = false;
    bench.run(10s);
    EXPECT_EQ(bench.plc.count("WRS"), 0); // reported, so never carried out by the way
}

// --- the link ------------------------------------------------------------------------------------

TEST(Link, TellsWhyItWaitsAndForHowLong)
{
    Bench bench;
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(100ms);
    ASSERT_FALSE(bench.events.links.empty());
    const LinkStatus last = bench.events.links.back();
    EXPECT_EQ(last.state, LinkState::Waiting);
    EXPECT_EQ(last.problem, QStringLiteral("connection refused"));
    EXPECT_GE(last.nextTry, Duration(200ms));
    EXPECT_LE(last.nextTry, Duration(250ms));
    bench.run(60s);
    EXPECT_GT(bench.wire.opens(), 10); // forever, every five seconds in the end
    EXPECT_LT(bench.wire.opens(), 25);
    bench.wire.door = ModelWire::Door::Open;
    bench.run(6s);
    EXPECT_TRUE(bench.engine.link().isReady());
    EXPECT_TRUE(bench.engine.link().problem.isEmpty());
    EXPECT_EQ(bench.engine.link().nextTry, Duration(0));
}

TEST(Link, IsListenedToFirstOnlyWhereALineHasNoGreeting)
{
    // clang-format off
    const struct { const char *what; Open open; double secondsPerByte; bool atOnce; } rows[] = {
        {"network, greeted",    Open::Cr,   0.0,   true},
        {"network, no greeting", Open::None, 0.0,   true},
        {"line, greeted",       Open::Cr,   0.001, true},
        {"line, no greeting",   Open::None, 0.001, false},
    };
    // clang-format on
    for (const auto &row : rows) {
        LinkSettings settings;
        settings.open = row.open;
        Bench bench(settings, row.secondsPerByte);
        bench.plc.wantsGreeting = row.open == Open::Cr;
        bench.add({engineTag(1, "DM0", 100ms)});
        bench.engine.start();
        bench.run(99ms);
        EXPECT_EQ(!bench.wire.frames().empty(), row.atOnce) << row.what;
        bench.run(1s);
        EXPECT_EQ(bench.text(1), "good 0") << row.what;
    }
}

TEST(Link, ThatIsAcceptedAndSilentIsLostAndBacksOff)
{
    LinkSettings settings;
    settings.timeout = 100ms;
    settings.open = Open::None; // even where no greeting shows it
    Bench bench(settings);
    bench.plc.wantsGreeting = false;
    bench.wire.isFrozen = true;
    bench.add({engineTag(1, "DM0", 100ms)});
    bench.engine.start();
    bench.run(60s);
    EXPECT_LT(bench.wire.opens(), 25); // connections alone do not make the pause short again
    EXPECT_EQ(bench.text(1).substr(0, 3), "bad");
}

TEST(Link, WaitsForASlowNameAndASwallowedConnectionOnlySoLong)
{
    Bench bench;
    bench.wire.resolving = 20s;
    bench.engine.start();
    bench.run(5100ms);
    EXPECT_EQ(bench.engine.link().problem, QStringLiteral("the name was not resolved in 5s"));
    bench.wire.resolving = {};
    bench.wire.door = ModelWire::Door::Swallows;
    bench.run(3s);
    EXPECT_EQ(bench.engine.link().problem, QStringLiteral("no connection in 2s"));
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
}

TEST(Link, ToAPortThatDoesNotKnowTheGreetingWorksWithoutIt)
{
    LinkSettings settings;
    Bench greeted(settings);
    greeted.plc.knowsGreeting = false;
    greeted.engine.start();
    greeted.run(1s);
    EXPECT_FALSE(greeted.engine.link().isReady());
    EXPECT_EQ(
        greeted.engine.link().problem,
        QStringLiteral("the PLC answered E1 to CR; if its port does not know CR, open the link without it"));

    settings.open = Open::None;
    Bench plain(settings);
    plain.plc.knowsGreeting = false;
    plain.plc.wantsGreeting = false;
    plain.add({engineTag(1, "DM0", 100ms), engineTag(2, "R5", 100ms)});
    plain.engine.start();
    plain.run(1s);
    EXPECT_EQ(plain.text(1), "good 0");
    const WriteId id = plain.write(2, true);
    plain.run(100ms);
    EXPECT_EQ(plain.result(id).outcome, Outcome::Done);
    EXPECT_EQ(plain.plc.count("CR"), 0);
}

TEST(Link, OnASerialLineIsWaitedSilentAndGreetedAgainNotClosed)
{
    LinkSettings settings;
    settings.timeout = 100ms;
    Bench bench(settings, 10.0 / 115200);
    bench.add({engineTag(1, "DM0", 200ms)});
    bench.engine.start();
    bench.run(500ms);
    bench.wire.faults.push_back({.late = 250ms}); // comes while the line is waited until idle
    bench.run(3s);
    EXPECT_EQ(bench.wire.opens(), 1);
    EXPECT_EQ(bench.plc.count("CR"), 2);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.engine.statistics().strayBytes, 7U);
}

// Nothing on such a line tells an answer to this link from one to whoever asked before it was
// started: here the same program, a moment ago.
TEST(Link, OnASerialLineWithoutAGreetingIsNotTakenInByAnAnswerFromBeforeItsStart)
{
    for (const Duration late : {Duration(0ms), Duration(150ms)}) {
        LinkSettings settings;
        settings.open = Open::None;
        settings.timeout = 200ms;
        Bench bench(settings, 10.0 / 9600);
        bench.plc.wantsGreeting = false;
        bench.plc.set("DM", 0, 71, bench.clock.now());
        bench.plc.set("DM", 50, 8, bench.clock.now());
        bench.wire.faults.push_back({.late = late}); // of the first request
        bench.add({engineTag(1, "DM0")});
        bench.engine.start();
        ASSERT_TRUE(bench.runUntil([&] { return bench.wire.frames().size() == 1; }));
        bench.engine.stop();
        bench.engine.removeTag(Tag(1));
        bench.add({engineTag(2, "DM50")});
        bench.step();
        bench.engine.start();
        ASSERT_TRUE(bench.runUntil([&] { return bench.sample(2).isGood(); }));
        EXPECT_EQ(bench.text(2), "good 8") << late.count();
        EXPECT_EQ(bench.engine.statistics().strayBytes, 7U); // "00071", CR LF
    }
}

TEST(Link, OnASerialLineThatIsNeverSilentIsStartedAfterTenSeconds)
{
    LinkSettings settings;
    settings.open = Open::None;
    Bench bench(settings, 10.0 / 9600);
    bench.plc.wantsGreeting = false;
    bench.add({engineTag(1, "DM0")});
    bench.engine.start();
    for (int i = 0; i < 201; ++i) { // 10.05 s
        bench.run(50ms);
        bench.wire.comes("#");
    }
    EXPECT_TRUE(bench.wire.frames().empty());
    // The bound ends at 10.1 s; the line would have been silent at 10.15 s.
    EXPECT_TRUE(bench.runUntil([&] { return !bench.wire.frames().empty(); }, 60ms));
}

TEST(Link, AnswersQuestionsAboutThePlc)
{
    Bench bench;
    bench.engine.query(1, "?K");
    bench.engine.query(2, "M0");
    bench.engine.start();
    bench.run(100ms);
    ASSERT_EQ(bench.events.queries.size(), 2U);
    EXPECT_EQ(bench.events.queries[0].id, 2U);
    EXPECT_FALSE(bench.events.queries[0].answered);
    EXPECT_EQ(bench.events.queries[1].answer, QStringLiteral("57"));
    bench.wire.cut();
    bench.wire.door = ModelWire::Door::Refuses;
    bench.run(1s);
    bench.engine.query(3, "?M");
    bench.step();
    EXPECT_FALSE(bench.events.queries.back().answered);
    EXPECT_EQ(bench.events.queries.back().problem, QStringLiteral("connection refused"));
}

} // namespace
} // namespace kvlink
