// SPDX-License-Identifier: MIT
// What is said of a link and of a button when something goes wrong, refusals that last, questions
// and reads on demand while reads are due, passes that are missed, and tags that share a place.
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

// --- what is said --------------------------------------------------------------------------------

struct ProblemRow {
    const char *name;
    bool whenGreeting; // otherwise with the first read
    WireFault fault;
    const char *problem;
};

class LinkProblem : public ::testing::TestWithParam<ProblemRow>
{
};

TEST_P(LinkProblem, IsTold)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    if (!GetParam().whenGreeting)
        bench.wire.faults.push_back({});
    bench.wire.faults.push_back(GetParam().fault);
    bench.engine.start();
    bench.run(150ms);
    EXPECT_EQ(bench.engine.link().state, LinkState::Waiting);
    EXPECT_EQ(bench.engine.link().problem.toStdString(), GetParam().problem);
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_TRUE(bench.engine.link().problem.isEmpty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Engine, LinkProblem, ::testing::Values(
    ProblemRow{"greetingLost",  true,  {.losesAnswer = true},   "connected, but no answer to CR in 100ms"},
    ProblemRow{"greetingOther", true,  {.instead = "OK\r\n"},   "something else than CC was answered to CR; is it a PLC of the KV series?"},
    ProblemRow{"readLost",      false, {.losesAnswer = true},   "no answer in 100ms"},
    ProblemRow{"readOther",     false, {.instead = "OK\r\n"},   "an answer that does not belong to its request"},
    ProblemRow{"readTooLong",   false, {.after = "7\r\n"},      "an answer that does not belong to its request"}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(LinkProblems, BytesThatNobodyAskedForAreOne)
{
    Bench bench(quick());
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.comes("x");
    bench.step();
    EXPECT_EQ(bench.engine.link().problem, QStringLiteral("bytes came that nobody had asked for"));
}

TEST(LinkProblems, AttemptsThatFailAreNoLossesOfALink)
{
    Bench bench(quick());
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.start();
    bench.run(5s);
    EXPECT_GE(bench.wire.opens(), 3);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 0U);
    bench.wire.door = ModelWire::Door::Open;
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.engine.statistics().linkLosses, 1U);
}

TEST(Buttons, WhoseReleaseWasNotSentSayWhy)
{
    LinkSettings settings;
    settings.timeout = 5s;
    Bench bench(settings);
    bench.add({engineTag(1, "R500", Duration(0)), engineTag(2, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.press(70, Tag(1));
    bench.run(50ms);
    bench.wire.isFrozen = true;
    bench.engine.readNow(80, {Tag(2)});
    bench.step(); // on its way, and no answer will come
    bench.engine.stop();
    bench.run(Engine::longestRelease);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(70).text, QStringLiteral("only the first part is confirmed: pressed; the release: "
                                                    "the link was stopped; nothing was sent"));
}

// --- refusals ------------------------------------------------------------------------------------

TEST(Refusals, LeaveTheNeighboursGoodAndAreTriedAgainEachMinute)
{
    Bench bench(quick());
    bench.plc.lastUnit["DM"] = 5003;
    bench.add({engineTag(1, "DM5000", 1s), engineTag(2, "DM5003", 1s), engineTag(3, "DM5002.D:2", 1s)});
    bench.engine.start();
    for (int minute = 1; minute <= 4; ++minute) {
        bench.run(60s);
        EXPECT_EQ(bench.text(1), "good 0") << minute;
        EXPECT_EQ(bench.text(2), "good 0") << minute;
        EXPECT_EQ(bench.text(3), "bad (the PLC answered E0)") << minute;
    }
    for (const Events::Change &change : bench.events.changes)
        EXPECT_TRUE(change.tag == Tag(3) || change.sample.isGood()) << qPrintable(change.sample.toText());
    // All three, the later two, and the last one alone: at most three answers of E0 each minute.
    EXPECT_LE(bench.engine.statistics().plcErrors, 3U * 5);
    EXPECT_GE(bench.plc.count("RDS DM5002.U 4"), 4);
    EXPECT_LE(bench.plc.count("RDS DM5002.U 4"), 5);
}

TEST(Refusals, OfAnotherTagMinutesLaterLeaveTheNeighboursGoodToo)
{
    Bench bench(quick());
    bench.plc.lastUnit["DM"] = 5003;
    bench.add({engineTag(1, "DM4998", 1s), engineTag(2, "DM4999", 1s), engineTag(3, "DM5000", 1s),
               engineTag(4, "DM5002.D:2", 1s)});
    bench.engine.start();
    bench.run(200s);
    EXPECT_EQ(bench.text(3), "good 0");
    bench.plc.lastUnit["DM"] = 4999;
    bench.run(10s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.text(2), "good 0");
    EXPECT_EQ(bench.text(3), "bad 0 (the PLC answered E0)");
    EXPECT_EQ(bench.text(4), "bad (the PLC answered E0)");
}

// --- questions -----------------------------------------------------------------------------------

TEST(Questions, AreAllAnsweredWhileReadsAreDue)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 5ms)}); // a request takes 2 ms
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.run(10ms);
    for (QueryId id = 1; id <= 30; ++id)
        bench.engine.query(id, "?K");
    bench.run(500ms);
    ASSERT_EQ(bench.events.queries.size(), 30U);
    for (const QueryResult &result : bench.events.queries)
        EXPECT_EQ(result.answer, QStringLiteral("57")) << result.id;
    EXPECT_EQ(bench.plc.count("?K"), 30);
    EXPECT_GE(bench.plc.count("RDS DM0"), 80);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 0U);
}

TEST(ReadsOnDemand, OfATagWithAPeriodStayGoodForThreeOfThem)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 60s)});
    bench.engine.start();
    bench.run(10s);
    bench.engine.readNow(1, {Tag(1)});
    bench.run(100ms);
    EXPECT_EQ(bench.text(1), "good 0");
    bench.wire.isFrozen = true;
    bench.run(40s);
    EXPECT_EQ(bench.text(1), "good 0");
}

TEST(ReadsOnDemand, TellATagOnceThoughItWasNamedTwice)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0)), engineTag(2, "DM500", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.readNow(1, {Tag(1), Tag(2), Tag(1)});
    bench.run(100ms);
    EXPECT_EQ(bench.events.changes.size(), 2U);
    EXPECT_EQ(bench.events.reads, std::vector<ReadId>{1});
}

TEST(PendingValues, CarryNoErrorOfThePlc)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    bench.run(100ms);
    bench.write(1, qint64(5));
    bench.run(100ms);
    EXPECT_EQ(bench.text(1), "pending 0");
    EXPECT_EQ(bench.sample(1).plcError, 0);
    EXPECT_EQ(bench.sample(1).reason, Reason::None);
}

TEST(Lists, AreToldWhenAnyOfTheirValuesPassesTheDeadband)
{
    Bench bench(quick());
    EngineTag list = engineTag(1, "DM0:3", 100ms);
    list.deadband = 5.0;
    bench.add({list});
    bench.engine.start();
    bench.run(1s);
    ASSERT_EQ(bench.events.changes.size(), 1U);
    for (int unit = 0; unit < 3; ++unit) {
        bench.plc.set("DM", unit, 4, bench.clock.now());
        bench.run(1s);
        EXPECT_EQ(bench.events.changes.size(), std::size_t(1 + unit)) << unit;
        bench.plc.set("DM", unit, 100, bench.clock.now());
        bench.run(1s);
        EXPECT_EQ(bench.events.changes.size(), std::size_t(2 + unit)) << unit;
    }
}

// --- what requests cost --------------------------------------------------------------------------

// At 9600 baud a word takes 6 ms: reading across the 29 between the two costs 0.18 s.
TEST(Gaps, AreReadAcrossOnceTheAnswersTakeLongAndNoLongerWhenTheyDoNot)
{
    Bench bench({}, 10.0 / 9600);
    bench.add({engineTag(1, "DM0", 2s), engineTag(2, "DM30", 2s)});
    bench.engine.start();
    bench.run(60s);
    EXPECT_EQ(bench.engine.plan().requests.size(), 2);
    bench.wire.back = 400ms;
    bench.run(300s);
    EXPECT_EQ(bench.engine.plan().requests.size(), 1);
    bench.wire.back = 1ms;
    bench.run(300s);
    EXPECT_EQ(bench.engine.plan().requests.size(), 2);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 0U);
}

// --- missed passes -------------------------------------------------------------------------------

TEST(MissedPasses, AreCountedAndStayCountedWhenTheTagsHaveGone)
{
    Bench bench(quick());
    // Eight requests of 2 ms: every second pass is missed.
    for (quint32 id = 1; id <= 8; ++id)
        bench.add({engineTag(id, QStringLiteral("DM%1").arg(id * 1000), 10ms)});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.run(1s);
    const LinkStatistics busy = bench.engine.statistics();
    ASSERT_EQ(busy.periods.size(), 1U);
    EXPECT_NEAR(double(busy.missedPasses), 50.0, 1.0);
    EXPECT_EQ(busy.periods[0].missed, busy.missedPasses);
    EXPECT_NEAR(double(busy.periods[0].passes), 50.0, 1.0);
    for (quint32 id = 1; id <= 8; ++id)
        bench.engine.removeTag(Tag(id));
    EXPECT_EQ(bench.engine.statistics().missedPasses, busy.missedPasses);
    EXPECT_TRUE(bench.engine.statistics().periods.empty());
}

// --- tags that share a place ---------------------------------------------------------------------

TEST(SharedPlace, IsStillReadForOneTagWhenTheOtherIsRemovedAtOnce)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 100ms), engineTag(2, "DM0", 100ms)});
    bench.engine.removeTag(Tag(2));
    bench.engine.start();
    bench.run(1s);
    EXPECT_EQ(bench.text(1), "good 0");
    EXPECT_EQ(bench.text(2), "never");
}

TEST(SharedPlace, IsStillReadForOneTagWhenTheOtherIsRemovedLater)
{
    for (const quint32 removed : {1U, 2U}) {
        Bench bench(quick());
        bench.add({engineTag(1, "DM0", 100ms), engineTag(2, "DM0", 100ms)});
        bench.engine.start();
        bench.run(1s);
        bench.engine.removeTag(Tag(removed));
        bench.plc.set("DM", 0, 7, bench.clock.now());
        bench.run(1s);
        EXPECT_EQ(bench.text(3 - removed), "good 7");
    }
}

} // namespace
} // namespace kvlink
