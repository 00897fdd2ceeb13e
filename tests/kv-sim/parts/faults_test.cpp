// SPDX-License-Identifier: MIT
#include "bench.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{

using kvsim::Delivery;
using kvsim::Ending;
using kvsim::Step;

// -------------------------------------------------------------------------------------------------
// What a fault makes of the answer "00001 00002" to "RDS DM0 2"
// -------------------------------------------------------------------------------------------------

struct ShapeRow {
    const char *name;
    const char *fault;
    Delivery expected;
};

Delivery whole(const char *bytes)
{
    return {{{0, bytes}}, Ending::StayOpen};
}

class Shape : public testing::TestWithParam<ShapeRow>
{
};

TEST_P(Shape, isDelivered)
{
    Bench bench;
    bench.opened().send("WRS DM0 2 1 2\r");
    ASSERT_NE(bench.fault(GetParam().fault), 0) << bench.refused;
    const Delivery delivery = bench.deliver("RDS DM0 2");
    EXPECT_EQ(delivery.ending, GetParam().expected.ending);
    EXPECT_EQ(delivery.overtakenMs, GetParam().expected.overtakenMs);
    ASSERT_EQ(delivery.steps.size(), GetParam().expected.steps.size());
    for (std::size_t i = 0; i < delivery.steps.size(); ++i) {
        EXPECT_EQ(delivery.steps[i].bytes, GetParam().expected.steps[i].bytes) << "step " << i;
        EXPECT_EQ(delivery.steps[i].waitMs, GetParam().expected.steps[i].waitMs) << "step " << i;
    }
}

// clang-format off
const std::vector<ShapeRow> shapeRows{
    { "silent",        "silent",        { {}, Ending::StayOpen } },
    { "late",          "late",          { { { 2000, "00001 00002\r\n" } }, Ending::StayOpen } },
    { "late50",        "late:50",       { { { 50, "00001 00002\r\n" } }, Ending::StayOpen } },
    { "error",         "error",         whole("E1\r\n") },
    { "errorE5",       "error:E5",      whole("E5\r\n") },
    { "short",         "short",         whole("00001 0000\r\n") },
    { "short6",        "short:6",       whole("00001\r\n") },
    { "shortAll",      "short:99",      whole("\r\n") },
    { "long",          "long",          whole("00001 000020\r\n") },
    { "long3",         "long:3",        whole("00001 00002000\r\n") },
    { "torn",          "torn",          whole("00001 ") },
    { "torn12",        "torn:12",       whole("00001 00002\r") },
    { "garbled",       "garbled",       whole("00001?00002\r\n") },
    { "garbled1",      "garbled:1",     whole("?0001 00002\r\n") },
    { "garbledLast",   "garbled:99",    whole("00001 0000?\r\n") },
    { "doubled",       "doubled",       whole("00001 00002\r\n00001 00002\r\n") },
    { "foreign",       "foreign",       whole("00000 00000\r\n") },
    { "split4",        "split:4",       { { { 0, "0000" }, { 2, "1 00002\r\n" } }, Ending::StayOpen } },
    { "splitInCrlf",   "split:12",      { { { 0, "00001 00002\r" }, { 2, "\n" } }, Ending::StayOpen } },
    { "splitBeyond",   "split:99",      whole("00001 00002\r\n") },
    { "closeBefore",   "close",         { {}, Ending::Close } },
    { "closeBefore2",  "close:before",  { {}, Ending::Close } },
    { "closeIn",       "close:in",      { { { 0, "00001 " } }, Ending::Close } },
    { "closeAfter",    "close:after",   { { { 0, "00001 00002\r\n" } }, Ending::Close } },
    { "resetBefore",   "reset",         { {}, Ending::Reset } },
    { "resetIn",       "reset:in",      { { { 0, "00001 " }, { 2, "" } }, Ending::Reset } },
    { "resetAfter",    "reset:after",   { { { 0, "00001 00002\r\n" }, { 2, "" } }, Ending::Reset } },
    { "forget",        "forget",        whole("E1\r\n") },
    { "lost",          "lost",          { {}, Ending::StayOpen } },
    { "twice",         "twice",         { { { 0, "00001 00002\r\n" }, { 0, "00001 00002\r\n" } }, Ending::StayOpen } },
    { "overtaken",     "overtaken",     { { { 0, "00001 00002\r\n" } }, Ending::StayOpen, 1000 } },
    { "overtaken50",   "overtaken:50",  { { { 0, "00001 00002\r\n" } }, Ending::StayOpen, 50 } },
    { "vanish",        "vanish",        { {}, Ending::Vanish } },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, Shape, testing::ValuesIn(shapeRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(Split, sendsByteByByte)
{
    Bench bench;
    ASSERT_NE(bench.fault("split"), 0);
    const Delivery delivery = bench.opened().deliver("?K");
    EXPECT_EQ(delivery.steps, (std::vector<Step>{{2, "5"}, {2, "7"}, {2, "\r"}, {2, "\n"}}));
}

TEST(Split, reachesEveryPosition)
{
    for (unsigned at = 1; at <= 12; ++at) {
        Bench bench;
        ASSERT_NE(bench.fault("split:" + std::to_string(at)), 0);
        const Delivery delivery = bench.opened().deliver("RDS DM0 2");
        ASSERT_EQ(delivery.steps.size(), 2U);
        EXPECT_EQ(delivery.steps[0].bytes, std::string("00000 00000\r\n").substr(0, at));
        EXPECT_EQ(delivery.steps[1].bytes, std::string("00000 00000\r\n").substr(at));
    }
}

TEST(Slow, givesEveryByteItsTime)
{
    Bench bench;
    ASSERT_NE(bench.fault("slow:7"), 0);
    EXPECT_EQ(bench.opened().deliver("?K").steps,
              (std::vector<Step>{{7, "5"}, {7, "7"}, {7, "\r"}, {7, "\n"}}));
}

TEST(Foreign, givesTheLastOtherAnswerOfTheSameLength)
{
    Bench bench;
    bench.opened().send("WR DM0 11\rWR DM1 22\rRD DM0\rRD DM1\r");
    ASSERT_NE(bench.fault("foreign"), 0);
    EXPECT_EQ(bench.send("RD DM1\r"), "00011\r\n");
}

TEST(Foreign, inventsAnAnswerWhenThereIsNone)
{
    Bench bench;
    ASSERT_NE(bench.fault("foreign"), 0);
    bench.opened();
    EXPECT_EQ(bench.send("WR DM0 1\r"), "CC\r\n");
    EXPECT_EQ(bench.send("RD DM5\r"), "11111\r\n");
}

TEST(Faults, thatLoseTheAnswerStillCarryTheCommandOut)
{
    for (const char *fault : {"silent next 1", "close next 1", "reset next 1", "torn next 1"}) {
        Bench bench;
        ASSERT_NE(bench.fault(fault), 0);
        bench.opened().send("WR DM0 5\r");
        EXPECT_EQ(bench.send("RD DM0\r"), "00005\r\n") << fault;
    }
}

TEST(Lost, doesNotCarryTheCommandOut)
{
    Bench bench;
    ASSERT_NE(bench.fault("lost next 1"), 0);
    EXPECT_EQ(bench.opened().send("WR DM0 5\rRD DM0\r"), "00000\r\n");
}

TEST(Twice, carriesTheCommandOutTwice)
{
    Bench bench;
    ASSERT_NE(bench.fault("twice next 1 cmd CQ"), 0);
    EXPECT_EQ(bench.opened().send("CQ\r"), "CF\r\nE1\r\n"); // the second one finds a closed link
}

TEST(Error, doesNotCarryTheCommandOut)
{
    Bench bench;
    ASSERT_NE(bench.fault("error:E4 next 1"), 0);
    EXPECT_EQ(bench.opened().send("WR DM0 5\rRD DM0\r"), "E4\r\n00000\r\n");
}

TEST(Forget, refusesUntilTheNextOpening)
{
    Bench bench;
    ASSERT_NE(bench.fault("forget next 1"), 0);
    EXPECT_EQ(bench.opened().send("RD DM0\rRD DM0\rCR\rRD DM0\r"), "E1\r\nE1\r\nCC\r\n00000\r\n");
}

TEST(Forget, worksOnPlcsThatNeedNoOpening)
{
    kvsim::Rules rules;
    rules.opening = kvsim::Opening::Never;
    Bench bench(rules);
    ASSERT_NE(bench.fault("forget next 1"), 0);
    EXPECT_EQ(bench.send("RD DM0\rRD DM0\rCR\rRD DM0\r"), "E1\r\nE1\r\nCC\r\n00000\r\n");
}

TEST(Faults, addUp)
{
    Bench bench;
    ASSERT_NE(bench.fault("garbled:1"), 0);
    ASSERT_NE(bench.fault("late:30"), 0);
    ASSERT_NE(bench.fault("doubled"), 0);
    EXPECT_EQ(bench.opened().deliver("?K").steps, (std::vector<Step>{{30, "?7\r\n?7\r\n"}}));
}

// -------------------------------------------------------------------------------------------------
// Which requests a fault happens to: 'x' it did, '.' it did not
// -------------------------------------------------------------------------------------------------

std::string faultsOver(Bench &bench, const std::vector<const char *> &lines)
{
    std::string pattern;
    for (const char *line : lines)
        pattern += bench.deliver(line).steps.empty() ? 'x' : '.';
    return pattern;
}

struct CountRow {
    const char *name;
    const char *fault;
    const char *pattern; // over twelve reads of DM0
    std::uint64_t done;
    bool expired;
};

class Count : public testing::TestWithParam<CountRow>
{
};

TEST_P(Count, isExact)
{
    Bench bench;
    ASSERT_NE(bench.fault(GetParam().fault), 0) << bench.refused;
    EXPECT_EQ(faultsOver(bench.opened(), std::vector<const char *>(12, "RD DM0")), GetParam().pattern);
    const kvsim::Fault &fault = bench.simulator.faults().entries().front().fault;
    EXPECT_EQ(fault.done(), GetParam().done);
    EXPECT_EQ(fault.hasExpired(), GetParam().expired);
    EXPECT_EQ(bench.simulator.faults().done().at("silent"), GetParam().done);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Count, testing::Values(
    CountRow{ "always",       "silent",                 "xxxxxxxxxxxx", 12, false },
    CountRow{ "every1",       "silent every 1",         "xxxxxxxxxxxx", 12, false },
    CountRow{ "every3",       "silent every 3",         "..x..x..x..x",  4, false },
    CountRow{ "every5",       "silent every 5",         "....x....x..",  2, false },
    CountRow{ "every3times2", "silent every 3 times 2", "..x..x......",  2, true  },
    CountRow{ "next1",        "silent next 1",          "x...........",  1, true  },
    CountRow{ "next3",        "silent next 3",          "xxx.........",  3, true  },
    CountRow{ "next12",       "silent next 12",         "xxxxxxxxxxxx", 12, true  },
    CountRow{ "times2",       "silent times 2",         "xx..........",  2, true  },
    CountRow{ "always1",      "silent prob 1",          "xxxxxxxxxxxx", 12, false }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(Probability, repeatsItselfUnderTheSameSeed)
{
    std::vector<std::string> patterns;
    for (const char *fault : {"silent prob 0.5 seed 7", "silent prob 0.5 seed 7", "silent prob 0.5 seed 8"}) {
        Bench bench;
        ASSERT_NE(bench.fault(fault), 0);
        patterns.push_back(faultsOver(bench.opened(), std::vector<const char *>(200, "RD DM0")));
    }
    EXPECT_EQ(patterns[0], patterns[1]);
    EXPECT_NE(patterns[0], patterns[2]);
}

TEST(Probability, happensAboutAsOftenAsAsked)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent prob 0.25 seed 1"), 0);
    const std::string pattern = faultsOver(bench.opened(), std::vector<const char *>(2000, "?K"));
    const auto hits = std::count(pattern.begin(), pattern.end(), 'x');
    EXPECT_GT(hits, 420); // 500 expected, 19 is one standard deviation
    EXPECT_LT(hits, 580);
}

TEST(Probability, of0NeverHappens)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent prob 0"), 0);
    EXPECT_EQ(faultsOver(bench.opened(), std::vector<const char *>(50, "?K")), std::string(50, '.'));
}

TEST(Probability, showsItsSeed)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent prob 0.5"), 0);
    const std::string text = bench.simulator.faults().entries().front().fault.text();
    EXPECT_EQ(text.rfind("silent prob 0.5 seed ", 0), 0U) << text;
    EXPECT_GT(text.size(), std::string("silent prob 0.5 seed ").size());
}

TEST(Filter, countsOneCommandOnly)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent every 2 cmd RDS,WR"), 0);
    EXPECT_EQ(faultsOver(bench.opened(),
                         {"RDS DM0 1", "RD DM0", "RDS DM0 1", "?K", "WR DM0 1", "RD DM0", "RDS DM0 1"}),
              "..x...x");
}

TEST(Filter, takesCROnly)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent cmd CR"), 0);
    EXPECT_EQ(faultsOver(bench.opened(), {"RD DM0", "CR", "CR 01", "CQ"}), ".xx.");
}

TEST(Filter, knowsRangesOfWords)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent dev DM100-DM199"), 0);
    EXPECT_EQ(faultsOver(bench.opened(), {"RD DM99", "RD DM100", "RD DM199", "RD DM200", "RDS DM90 10",
                                          "RDS DM90 11", "RD DM99.D", "RD EM150", "WR DM150 1", "CR"}),
              ".xx..xx.x.");
}

TEST(Filter, knowsRelaysAlsoAsWords)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent dev R1005"), 0);
    EXPECT_EQ(faultsOver(bench.opened(),
                         {"RD R1004", "RD R1005", "ST R1005", "RD R1000.U", "RD R1100.U", "RD R900.D"}),
              ".xxx.x");
}

TEST(Filter, knowsWholeDevicesAndHexRanges)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent dev T"), 0);
    ASSERT_NE(bench.fault("silent dev W1A-1F"), 0);
    EXPECT_EQ(
        faultsOver(bench.opened(), {"RD T0", "RD T3999", "RD TS0", "RD W19", "RD W1A", "RD W1F", "RD W20"}),
        "xx..xx.");
}

// -------------------------------------------------------------------------------------------------
// Connections
// -------------------------------------------------------------------------------------------------

TEST(Connections, areRefusedAsOftenAsAsked)
{
    Bench bench;
    ASSERT_NE(bench.fault("refuse next 2"), 0);
    using kvsim::Entrance;
    EXPECT_EQ(bench.simulator.connectionOpened(false), Entrance::Refuse);
    EXPECT_EQ(bench.simulator.connectionOpened(false), Entrance::Refuse);
    EXPECT_EQ(bench.simulator.connectionOpened(false), Entrance::Serve);
    EXPECT_EQ(bench.simulator.faults().done().at("refuse"), 2U);
}

TEST(Connections, areSwallowed)
{
    Bench bench;
    ASSERT_NE(bench.fault("blackhole every 2"), 0);
    EXPECT_EQ(bench.simulator.connectionOpened(false), kvsim::Entrance::Serve);
    EXPECT_EQ(bench.simulator.connectionOpened(true), kvsim::Entrance::Swallow);
}

TEST(Connections, besideAnotherAreClosed)
{
    Bench bench;
    ASSERT_NE(bench.fault("second next 1"), 0);
    EXPECT_EQ(bench.simulator.connectionOpened(false), kvsim::Entrance::Serve);
    EXPECT_EQ(bench.simulator.connectionOpened(true), kvsim::Entrance::CloseAtOnce);
    EXPECT_EQ(bench.simulator.connectionOpened(true), kvsim::Entrance::Serve);
}

TEST(Connections, doNotCountAsRequests)
{
    Bench bench;
    ASSERT_NE(bench.fault("silent next 1"), 0);
    EXPECT_EQ(bench.simulator.connectionOpened(false), kvsim::Entrance::Serve);
    EXPECT_EQ(faultsOver(bench.opened(), {"?K", "?K"}), "x.");
}

// -------------------------------------------------------------------------------------------------
// Texts that are not faults
// -------------------------------------------------------------------------------------------------

struct WrongRow {
    const char *name;
    const char *text;
    const char *reason; // how the message begins
};

class WrongFault : public testing::TestWithParam<WrongRow>
{
};

TEST_P(WrongFault, isRefusedWithAReason)
{
    Bench bench;
    EXPECT_EQ(bench.fault(GetParam().text), 0);
    EXPECT_EQ(bench.refused.rfind(GetParam().reason, 0), 0U) << bench.refused;
    EXPECT_TRUE(bench.simulator.faults().entries().empty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, WrongFault, testing::Values(
    WrongRow{ "empty",          "",                        "no fault is named" },
    WrongRow{ "blanks",         "   ",                     "no fault is named" },
    WrongRow{ "unknown",        "slient",                  "no fault is called 'slient'" },
    WrongRow{ "noArgument",     "silent:5",                "silent takes no argument" },
    WrongRow{ "badMs",          "late:x",                  "'x' is not an argument for late" },
    WrongRow{ "hugeMs",         "late:3600001",            "'3600001' is not an argument for late" },
    WrongRow{ "manyBytes",      "long:65537",              "'65537' is not an argument for long" },
    WrongRow{ "farPosition",    "torn:65537",              "'65537' is not an argument for torn" },
    WrongRow{ "longCode",       "error:E2345678901234567", "'E2345678901234567' is not an argument for error" },
    WrongRow{ "zeroBytes",      "short:0",                 "'0' is not an argument for short" },
    WrongRow{ "emptyCode",      "error:",                  "'' is not an argument for error" },
    WrongRow{ "badMoment",      "close:during",            "'during' is not an argument for close" },
    WrongRow{ "unknownClause",  "silent often",            "'often' is not understood" },
    WrongRow{ "everyNothing",   "silent every",            "every needs a number from 1 to 4294967295, not ''" },
    WrongRow{ "every0",         "silent every 0",          "every needs a number from 1 to 4294967295, not '0'" },
    WrongRow{ "everyBeyond32",  "silent every 4294967296", "every needs a number from 1 to 4294967295, not '4294967296'" },
    WrongRow{ "timesBeyond32",  "silent times 4294967297", "times needs a number from 1 to 4294967295, not '4294967297'" },
    WrongRow{ "nextText",       "silent next x",           "next needs a number from 1 to 4294967295, not 'x'" },
    WrongRow{ "everyAndNext",   "silent every 2 next 3",   "only one of every, next and prob" },
    WrongRow{ "probAndEvery",   "silent every 2 prob 0.5", "only one of every, next and prob" },
    WrongRow{ "probTooLarge",   "silent prob 1.5",         "prob needs a number from 0 to 1, not '1.5'" },
    WrongRow{ "probNan",        "silent prob nan",         "prob needs a number from 0 to 1, not 'nan'" },
    WrongRow{ "seedText",       "silent prob 0.5 seed x",  "seed needs a number from 0 to 4294967295, not 'x'" },
    WrongRow{ "unknownCommand", "silent cmd RDX",          "'RDX' is not a command" },
    WrongRow{ "emptyCommand",   "silent cmd RDS,",         "'' is not a command" },
    WrongRow{ "unknownDevice",  "silent dev QQ1",          "'QQ1' is not a range of devices" },
    WrongRow{ "backwards",      "silent dev DM5-DM4",      "'DM5-DM4' is not a range of devices" },
    WrongRow{ "twoDevices",     "silent dev DM5-EM9",      "'DM5-EM9' is not a range of devices" },
    WrongRow{ "badBits",        "silent dev R1016",        "'R1016' is not a range of devices" },
    WrongRow{ "pastTheEnd",     "silent dev DM65530-DM65535", "'DM65530-DM65535' is not a range of devices of this model" },
    WrongRow{ "beforeTheFirst", "silent dev Z0-Z3",        "'Z0-Z3' is not a range of devices of this model" },
    WrongRow{ "filterOnConn",   "refuse cmd RDS",          "refuse happens to connections" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(FaultText, takesTheLargestNumbersAndWholeRanges)
{
    for (const char *text : {"silent every 4294967295", "silent next 4294967295",
                             "silent dev DM65530-DM65534", "silent dev Z1-Z12", "silent dev R199915",
                             "late:3600000", "short:65536", "torn:65536", "error:E234567890123456"}) {
        Bench bench;
        EXPECT_NE(bench.fault(text), 0) << bench.refused;
    }
}

TEST(FaultText, isRefusedInOneLineThatNamesTheFaults)
{
    Bench bench;
    bench.fault("slient");
    EXPECT_EQ(bench.refused,
              "no fault is called 'slient'; the faults are silent, late, error, short, long, torn, garbled, "
              "doubled, foreign, split, slow, close, reset, forget, lost, twice, overtaken, vanish, refuse, "
              "blackhole, second");
    bench.fault("late:x");
    EXPECT_EQ(bench.refused, "'x' is not an argument for late; expected late[:MS]");
}

TEST(FaultPlan, forgetsExpiredFaultsBeforeItIsFull)
{
    Bench bench;
    for (int i = 0; i < 1000; ++i)
        ASSERT_NE(bench.fault("silent next 1"), 0);
    EXPECT_EQ(bench.fault("silent next 1"), 0);
    EXPECT_EQ(bench.refused.rfind("there are 1000 faults already", 0), 0U) << bench.refused;
    bench.opened().deliver("?K"); // all happen and expire
    EXPECT_NE(bench.fault("silent next 1"), 0);
    EXPECT_EQ(bench.simulator.faults().entries().size(), 1U);
}

// -------------------------------------------------------------------------------------------------
// Delay and line speed
// -------------------------------------------------------------------------------------------------

kvsim::DelaySettings delay(std::string_view text)
{
    std::string problem;
    const auto settings = kvsim::delayFromText(text, problem);
    EXPECT_TRUE(settings.has_value()) << problem;
    return settings.value_or(kvsim::DelaySettings{});
}

TEST(Delay, comesBeforeEveryAnswer)
{
    Bench bench;
    bench.simulator.setDelay(delay("15"));
    EXPECT_EQ(bench.opened().deliver("?K").steps, (std::vector<Step>{{15, "57\r\n"}}));
}

TEST(Delay, variesWithinItsRange)
{
    for (const char *text : {"5:15", "guess"}) {
        kvsim::AnswerDelay range(delay(text));
        std::vector<bool> seen(21);
        for (int i = 0; i < 2000; ++i) {
            const std::uint32_t wait = range.draw();
            ASSERT_GE(wait, 5U);
            ASSERT_LE(wait, 20U);
            seen[wait] = true;
        }
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 16) << text; // 5 to 20, each of them
    }
}

TEST(Delay, hasTheTailThatWasAskedFor)
{
    kvsim::AnswerDelay tail(delay("tail:8:60:1"));
    constexpr int draws = 100000;
    std::vector<std::uint32_t> waits;
    for (int i = 0; i < draws; ++i)
        waits.push_back(tail.draw());
    std::sort(waits.begin(), waits.end());
    EXPECT_EQ(waits[draws / 2], 8U);
    EXPECT_NEAR(waits[draws / 100 * 99], 60, 3); // one standard deviation is about 1
    EXPECT_GT(waits.back(), 200U);               // and a few are far beyond
}

TEST(Delay, repeatsItselfUnderTheSameSeed)
{
    kvsim::AnswerDelay first(delay("tail:8:60:7"));
    kvsim::AnswerDelay same(delay("tail:8:60:7"));
    kvsim::AnswerDelay other(delay("tail:8:60:8"));
    int differences = 0;
    for (int i = 0; i < 200; ++i) {
        const std::uint32_t wait = first.draw();
        EXPECT_EQ(wait, same.draw());
        differences += wait != other.draw() ? 1 : 0;
    }
    EXPECT_GT(differences, 100);
}

TEST(Delay, withoutATailIsItsMedian)
{
    kvsim::AnswerDelay flat(delay("tail:8:8"));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(flat.draw(), 8U);
}

TEST(Delay, refusesWhatIsNone)
{
    for (const char *text :
         {"", "soon", "-1", "5:", "5:5:5", "3600001", "0:3600001", "tail", "tail:8", "tail:0:5", "tail:8:7",
          "tail:8:3600001", "tail:8:60:x", "tail:8:60:4294967296", "tail:8:60:1:1"}) {
        std::string problem;
        EXPECT_FALSE(kvsim::delayFromText(text, problem).has_value()) << text;
        EXPECT_EQ(problem.rfind("'" + std::string(text) + "' is not a delay", 0), 0U) << problem;
    }
    for (const char *text : {"0", "3600000", "0:3600000", "tail:1:1", "tail:8:3600000:4294967295"})
        delay(text);
}

// -------------------------------------------------------------------------------------------------
// A PLC that is switched on
// -------------------------------------------------------------------------------------------------

TEST(Stage, answersNothingThenRefusesThenServes)
{
    Bench bench;
    bench.opened();
    bench.simulator.setStage(kvsim::Stage::Silent);
    EXPECT_EQ(bench.send("WR DM0 5\rCR\r"), "");
    bench.simulator.setStage(kvsim::Stage::Starting);
    EXPECT_EQ(bench.send("RD DM0\rCR\r"), "E1\r\nE1\r\n");
    bench.simulator.setStage(kvsim::Stage::Running);
    EXPECT_EQ(bench.send("RD DM0\r"), "E1\r\n"); // the link from before is closed
    EXPECT_EQ(bench.send("CR\rRD DM0\r"), "CC\r\n00000\r\n");
}

TEST(Baud, takesElevenBitTimesPerByte)
{
    EXPECT_EQ(kvsim::serialTimeMs(100, 110), 10000U); // 10 bytes a second
    EXPECT_EQ(kvsim::serialTimeMs(96, 9600), 110U);
    EXPECT_EQ(kvsim::serialTimeMs(1, 9600), 2U); // 1.15 ms, rounded up
}

TEST(Baud, spreadsAnAnswerOverItsTime)
{
    const Delivery slow = kvsim::atBaud({{{30, "57\r\n"}}, Ending::StayOpen}, 1100); // 10 ms a byte
    EXPECT_EQ(slow.steps, (std::vector<Step>{{30, ""}, {10, "5"}, {10, "7"}, {10, "\r"}, {10, "\n"}}));
    const Delivery fast =
        kvsim::atBaud({{{0, std::string(100, 'x')}}, Ending::Close}, 110000); // 10 bytes a ms
    EXPECT_EQ(fast.steps.size(), 11U);
    EXPECT_EQ(fast.steps[1], (Step{1, std::string(10, 'x')}));
    EXPECT_EQ(fast.ending, Ending::Close);
}

} // namespace
