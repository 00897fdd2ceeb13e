// SPDX-License-Identifier: MIT
// The engine as a whole on a model PLC: what a maker of a screen relies on first.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

TEST(Engine, ReadsAndWritesOneOfEachKind)
{
    Bench bench;
    bench.plc.set("DM", 100, 7, bench.clock.now());
    bench.add(
        {engineTag(1, "DM100"), engineTag(2, "DM200.S"), engineTag(3, "DM300.5"), engineTag(4, "R500")});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.run(100ms);
    EXPECT_EQ(bench.text(1), "good 7");
    const WriteId word = bench.write(2, qint64(-5));
    const WriteId bitOfWord = bench.write(3, true);
    const WriteId relay = bench.write(4, true);
    bench.run(600ms);
    for (const WriteId id : {word, bitOfWord, relay})
        EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("DM", 200), 65531U);
    EXPECT_EQ(bench.plc.value("DM", 300), 32U);
    EXPECT_EQ(bench.plc.value("R", 5), 1U);
    EXPECT_EQ(bench.text(2), "good -5");
    EXPECT_EQ(bench.text(3), "good 1");
    EXPECT_EQ(bench.text(4), "good 1");
}

TEST(Engine, ASampleCarriesTheTimeOfItsAnswer)
{
    Bench bench;
    bench.add({engineTag(1, "DM100", 10s)});
    bench.engine.start();
    const SteadyTime started = bench.clock.now();
    bench.run(9s);
    // 1 ms to connect, 2 ms for the greeting, 2 ms for the read.
    EXPECT_EQ(bench.sample(1).steadyTime, started + 5ms);
    EXPECT_EQ(bench.sample(1).time, WallTime((started + 5ms).time_since_epoch() + 400000h));
}

TEST(Engine, SleepsWhileAnAnswerTakesLongerThanThePeriod)
{
    Bench bench;
    bench.add({engineTag(1, "DM100", 10ms)});
    bench.engine.start();
    const SteadyTime started = bench.clock.now();
    ASSERT_TRUE(bench.runUntil([&bench] { return bench.wire.frames().size() == 2; })); // CR and a read
    EXPECT_EQ(bench.clock.now(), started + 3ms);
    EXPECT_EQ(bench.deadline, started + 30ms); // not at 13 ms: the value is stale after three periods
    bench.wire.back = 94ms;
    bench.run(1s);
    // Nine of ten are missed, each counted.
    EXPECT_NEAR(double(bench.engine.statistics().periods[0].passes), 10.0, 1.0);
    EXPECT_NEAR(double(bench.engine.statistics().missedPasses), 90.0, 1.0);
}

TEST(Engine, AChangeIsToldOnceAndOnlyWhenThereIsOne)
{
    Bench bench;
    bench.add({engineTag(1, "DM100", 100ms)});
    bench.engine.start();
    bench.run(1s);
    EXPECT_EQ(bench.events.changes.size(), 1U); // the first value
    bench.plc.set("DM", 100, 9, bench.clock.now());
    bench.run(1s);
    ASSERT_EQ(bench.events.changes.size(), 2U);
    EXPECT_EQ(bench.events.changes[1].sample.toInt(), 9);
}

TEST(Engine, EachAnswerOfATagThatIsLoggedIsTold)
{
    Bench bench;
    EngineTag logged = engineTag(1, "DM100", 100ms);
    logged.everySample = true;
    EngineTag calm = logged;
    calm.tag = Tag(2);
    calm.deadband = 5.0;
    bench.add({logged, calm});
    bench.engine.start();
    bench.run(1s);
    int ofLogged = 0, ofCalm = 0;
    for (const Events::Change &change : bench.events.changes)
        ++(change.tag == Tag(1) ? ofLogged : ofCalm);
    EXPECT_EQ(ofLogged, 10);
    EXPECT_EQ(ofCalm, 1); // its deadband says what is worth a report
}

TEST(Engine, StartingAndStoppingTwiceDoesNothing)
{
    Bench bench;
    bench.engine.start();
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.stop();
    bench.engine.stop();
    bench.step();
    EXPECT_EQ(bench.engine.link().state, LinkState::Stopped);
    EXPECT_EQ(bench.wire.opens(), 1);
    EXPECT_EQ(bench.deadline, SteadyTime::max());
}

} // namespace
} // namespace kvlink
