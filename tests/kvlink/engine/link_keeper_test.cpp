// SPDX-License-Identifier: MIT
// How long a link is waited for, what is told of it, and what it does to reads, passes and buttons.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

LinkSettings quick()
{
    LinkSettings settings;
    settings.timeout = 100ms;
    return settings;
}

WallTime wall(const Bench &bench)
{
    return bench.clock.wallNow();
}

// --- how long ------------------------------------------------------------------------------------

TEST(LinkWaits, FiveSecondsForAName)
{
    Bench bench;
    bench.wire.resolving = 20s;
    bench.engine.start();
    bench.run(4999ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Resolving);
    bench.run(1ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
}

TEST(LinkWaits, TwiceTheTimeOutForAConnectionOnceTheNameIsKnown)
{
    Bench bench; // a second
    bench.wire.resolving = 4s;
    bench.wire.door = ModelWire::Door::Swallows;
    bench.engine.start();
    bench.run(5999ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Connecting);
    bench.run(1ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
    EXPECT_EQ(bench.engine.link().problem.toStdString(), "no connection in 2s");
}

TEST(LinkWaits, ShortlyAgainOnceThePlcHasAnsweredARequest)
{
    for (const bool answers : {true, false}) {
        Bench bench(quick());
        bench.add({engineTag(1, "DM0", 100ms)});
        bench.wire.door = ModelWire::Door::Refuses;
        bench.engine.start();
        bench.run(60s);
        EXPECT_GT(bench.engine.link().nextTry, Duration(3s));
        bench.wire.door = ModelWire::Door::Open;
        if (!answers) // more than the greeting
            bench.wire.faultOf = [](const QByteArray &frame) {
                return WireFault{.losesAnswer = frame != "CR\r\n"};
            };
        ASSERT_TRUE(bench.runUntilReady());
        bench.run(50ms);
        bench.wire.cut();
        bench.step();
        EXPECT_EQ(bench.engine.link().nextTry <= 250ms, answers);
    }
}

TEST(LinkWaits, ForASilentSerialLineAtMostTenSecondsMore)
{
    Bench bench(quick(), 10.0 / 115200);
    bench.wire.isFrozen = true;
    bench.engine.start();
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Waiting; }));
    const SteadyTime latest = bench.clock.now() + bench.engine.link().nextTry + 10s;
    while (bench.clock.now() < latest - 1s) {
        bench.run(50ms);
        bench.wire.comes("#");
    }
    EXPECT_EQ(bench.wire.frames().size(), 1U); // the greeting that nobody answered
    while (bench.clock.now() < latest) {
        EXPECT_EQ(bench.wire.frames().size(), 1U);
        bench.run(50ms);
        bench.wire.comes("#");
    }
    bench.step();
    EXPECT_EQ(bench.wire.frames().size(), 2U);
}

// It was listened to when it was opened; a time-out later it is used as soon as its pause is over.
TEST(LinkWaits, OnASerialLineWithoutAGreetingOnlyWhenItIsOpened)
{
    LinkSettings settings = quick();
    settings.open = Open::None;
    Bench bench(settings, 10.0 / 115200);
    bench.plc.wantsGreeting = false;
    bench.add({engineTag(1, "DM0", 100ms)});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntil([&] { return bench.sample(1).isGood(); }));
    bench.wire.faults.push_back({.losesAnswer = true});
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Waiting; }));
    const Duration pause = bench.engine.link().nextTry;
    const std::size_t sent = bench.wire.frames().size();
    bench.run(pause);
    EXPECT_GT(bench.wire.frames().size(), sent);
    EXPECT_EQ(bench.wire.opens(), 1);
}

// --- what is told --------------------------------------------------------------------------------

TEST(LinkTells, SinceWhenAStateLasts)
{
    Bench bench(quick());
    EXPECT_EQ(bench.engine.link().since, wall(bench));
    bench.clock.advance(5s);
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(1ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
    EXPECT_EQ(bench.engine.link().since, wall(bench));
    bench.clock.advance(50ms);
    bench.step();
    EXPECT_EQ(bench.engine.link().since, wall(bench) - 50ms);
}

TEST(LinkTells, NoProblemOfALinkThatIsStopped)
{
    Bench bench(quick());
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(1ms);
    EXPECT_EQ(bench.engine.link().problem.toStdString(), "connection refused");
    bench.engine.stop();
    bench.step();
    EXPECT_TRUE(bench.engine.link().problem.isEmpty());
    EXPECT_EQ(bench.engine.link().nextTry, Duration(0));
    EXPECT_EQ(bench.events.links.back().state, LinkState::Stopped);
}

TEST(LinkTells, ThatTheOtherSideHasClosed)
{
    for (const bool whenGreeting : {true, false}) {
        Bench bench(quick());
        bench.wire.isFrozen = true;
        bench.engine.start();
        bench.run(2ms);
        if (!whenGreeting) {
            bench.wire.isFrozen = false;
            ASSERT_TRUE(bench.runUntilReady());
        }
        bench.wire.cut(QString());
        bench.step();
        EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
        EXPECT_EQ(bench.engine.link().problem.toStdString(), "the connection was closed");
    }
}

TEST(LinkTells, WhyItBrokeWhileItWasGreeted)
{
    Bench bench(quick());
    bench.wire.isFrozen = true;
    bench.engine.start();
    bench.run(2ms);
    ASSERT_EQ(bench.engine.link().state, LinkState::Greeting);
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.engine.link().problem.toStdString(), "connection reset");
}

TEST(LinkTells, EachStepOfItsLifeOnce)
{
    Bench bench(quick());
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.cut();
    bench.step();
    bench.engine.stop();
    bench.step();
    std::vector<LinkState> states;
    for (const LinkStatus &status : bench.events.links)
        states.push_back(status.state);
    EXPECT_EQ(states,
              (std::vector<LinkState>{LinkState::Resolving, LinkState::Connecting, LinkState::Greeting,
                                      LinkState::Ready, LinkState::Waiting, LinkState::Stopped}));
    EXPECT_EQ(bench.engine.statistics().connects, 1U);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 1U);
}

// --- what it does to reads -----------------------------------------------------------------------

TEST(ReadsOfALink, AreWaitedForAgainOnceItWasThere)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(1s);
    bench.wire.door = ModelWire::Door::Open;
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.readNow(1, {Tag(1)});
    bench.step();
    EXPECT_TRUE(bench.events.reads.empty());
    bench.run(10ms);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{1});
}

TEST(ReadsOfALink, WaitForTheStartOfOneThatWasStopped)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(1s);
    bench.engine.stop();
    bench.step();
    bench.wire.door = ModelWire::Door::Open;
    bench.engine.readNow(1, {Tag(1)});
    bench.engine.query(2, "?K");
    bench.step();
    EXPECT_TRUE(bench.events.reads.empty());
    EXPECT_TRUE(bench.events.queries.empty());
    bench.engine.start();
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
    ASSERT_EQ(bench.events.queries.size(), 1U);
    EXPECT_TRUE(bench.events.queries[0].answered);
}

TEST(ReadsOfALink, ThatWereNotAnsweredSayNoLinkOnceItStaysLost)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    bench.run(500ms);
    bench.wire.isFrozen = true;
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Waiting; }));
    EXPECT_EQ(bench.text(1), "bad 0 (no answer)");
    EXPECT_EQ(bench.sample(1).plcError, 0);
    bench.wire.door = ModelWire::Door::Refuses;
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "bad 0 (no link)");
}

TEST(ReadsOfALink, ThatWereNotAnsweredSayNoLinkOnceItIsStopped)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    bench.run(500ms);
    bench.wire.isFrozen = true;
    ASSERT_TRUE(bench.runUntil([&] { return bench.engine.link().state == LinkState::Waiting; }));
    EXPECT_EQ(bench.text(1), "bad 0 (no answer)");
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.text(1), "bad 0 (no link)");
}

TEST(ReadsOfALink, AskAnotherPlcForWhatTheLastOneRefused)
{
    Bench bench(quick());
    bench.plc.lastUnit["DM"] = 100;
    bench.add({engineTag(1, "DM200", 1s)});
    bench.engine.start();
    bench.run(500ms);
    EXPECT_EQ(bench.text(1), "bad (the PLC answered E0)");
    bench.plc.lastUnit.clear();
    bench.wire.cut();
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
}

TEST(ReadsOfALink, UnderWayWhenItIsStoppedCountAsMissed)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 10s)});
    bench.engine.start();
    bench.run(3ms); // the read is on its way
    ASSERT_EQ(bench.wire.frames().size(), 2U);
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.engine.statistics().missedPasses, 1U);
    EXPECT_EQ(bench.text(1), "bad (no link)");
}

// --- tags on a link that is up -------------------------------------------------------------------

TEST(TagsOfALink, AreStaleByTheirNewPeriod)
{
    Bench bench; // its time-out is a second
    bench.add({engineTag(1, "DM0", 60s)});
    bench.engine.start();
    bench.run(1s);
    bench.wire.isFrozen = true;
    bench.engine.setPeriod(Tag(1), 100ms);
    EXPECT_EQ(bench.engine.tag(Tag(1))->period, Duration(100ms));
    bench.run(299ms);
    EXPECT_EQ(bench.text(1), "good 0");
    bench.run(1ms);
    EXPECT_EQ(bench.text(1), "stale 0");
}

TEST(TagsOfALink, AreReadAtOnceWithANewPeriodAndNotToldUnlessTheyHaveChanged)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 60s), engineTag(2, "DM1", 20s)});
    bench.engine.start();
    bench.run(1s);
    bench.events.changes.clear();
    bench.plc.clearDiary();
    bench.engine.setPeriod(Tag(1), 20s); // one that has its rhythm
    bench.run(100ms);
    EXPECT_EQ(bench.plc.count("RDS DM0.U 1"), 1);
    EXPECT_TRUE(bench.events.changes.empty());
    bench.engine.setPeriod(Tag(1), 20s);
    bench.engine.setPeriod(Tag(99), 20s); // no such tag
    bench.run(100ms);
    EXPECT_EQ(bench.plc.count("RDS"), 1);
    EXPECT_EQ(bench.engine.statistics().periods.size(), 1);
    EXPECT_FALSE(bench.engine.tag(Tag(99)));
    EXPECT_EQ(bench.engine.sample(Tag(99)).quality, Quality::Never);
}

TEST(TagsOfALink, ThatAreAddedWhileItIsLostAreBadAtOnce)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    EXPECT_EQ(bench.text(1), "never");
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(10ms);
    bench.add({engineTag(2, "DM1", 1s), engineTag(3, "DM2", Duration(0))});
    EXPECT_EQ(bench.text(2), "bad (no link)");
    EXPECT_EQ(bench.text(3), "bad (no link)");
    EXPECT_EQ(bench.sample(2).plcError, 0);
    bench.engine.removeTag(Tag(3)); // it is in no pass
    bench.engine.removeTag(Tag(3));
    EXPECT_EQ(bench.text(3), "never");
}

// A tag that the PLC refused is not asked for a minute. Asked for by hand it is good, and as old as
// any other three periods later.
TEST(TagsOfALink, ThatSomebodyAskedForAgeByTheirPeriod)
{
    Bench bench;
    bench.plc.lastUnit["DM"] = 100;
    bench.add({engineTag(1, "DM200", 100ms)});
    bench.engine.start();
    bench.run(1s);
    ASSERT_EQ(bench.text(1), "bad (the PLC answered E0)");
    bench.plc.lastUnit.clear();
    bench.engine.readNow(7, {Tag(1)});
    bench.run(299ms);
    EXPECT_EQ(bench.text(1), "good 0");
    bench.run(1ms);
    EXPECT_EQ(bench.text(1), "stale 0");
}

// --- steps ---------------------------------------------------------------------------------------

TEST(Steps, AppendToWhatNobodyHasLookedAtYet)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 100ms), engineTag(2, "DM1", 100ms)});
    bench.engine.readNow(5, {Tag(1)});
    bench.engine.query(6, "?K");
    bench.engine.query(7, "x");
    const WriteId refused = bench.write(1, qint64(70000));
    bench.engine.start();
    Events all;
    for (int i = 0; i < 50; ++i) {
        bench.plc.set("DM", 0, quint32(i), bench.clock.now());
        bench.engine.step(all);
        bench.clock.advance(1ms);
    }
    EXPECT_GE(all.changes.size(), 3U);
    EXPECT_EQ(all.changes[0].tag, Tag(1));
    EXPECT_EQ(all.reads, std::vector<ReadId>{5});
    ASSERT_EQ(all.writes.size(), 1U);
    EXPECT_EQ(all.writes[0].id, refused);
    ASSERT_EQ(all.queries.size(), 2U);
    EXPECT_EQ(all.queries[0].id, 7U);
    EXPECT_EQ(all.queries[1].id, 6U);
    ASSERT_EQ(all.links.size(), 4U);
    EXPECT_EQ(all.links[0].state, LinkState::Resolving);
    EXPECT_EQ(all.links[3].state, LinkState::Ready);
}

TEST(Steps, AreDueWhenSomethingHappensNext)
{
    LinkSettings settings;
    settings.gap = 20ms;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0", 1s)});
    EXPECT_EQ(bench.deadline, SteadyTime{});
    bench.step();
    EXPECT_EQ(bench.deadline, SteadyTime::max()) << "it is not started";
    bench.engine.start();
    const SteadyTime started = bench.clock.now();
    bench.run(2ms);
    EXPECT_EQ(bench.deadline, started + 1001ms) << "the time-out of the greeting, sent after 1 ms";
    bench.run(1ms);
    EXPECT_EQ(bench.deadline, started + 1003ms) << "that of the first read";
    bench.write(1, qint64(1));
    bench.run(2ms);
    EXPECT_EQ(bench.deadline, started + 25ms) << "the write waits for the pause after the read";
    bench.run(50ms);
    EXPECT_EQ(bench.deadline, started + 1003ms) << "the next read, a second after the first one was due";
}

} // namespace
} // namespace kvlink
