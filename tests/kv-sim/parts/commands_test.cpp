// SPDX-License-Identifier: MIT
#include "bench.h"
#include "command_rows.h"

#include <gtest/gtest.h>

namespace
{

class CommandLine : public testing::TestWithParam<CommandRow>
{
};

TEST_P(CommandLine, isAnswered)
{
    Bench bench;
    bench.opened().send(setUpLines(GetParam()));
    EXPECT_EQ(bench.send(GetParam().sent), GetParam().received);
}

TEST_P(CommandLine, isAnsweredTheSameHoweverItIsCut)
{
    const std::string sent = GetParam().sent;
    for (std::size_t cut = 1; cut < sent.size(); ++cut) {
        Bench bench;
        bench.opened().send(setUpLines(GetParam()));
        const std::string first = bench.send(sent.substr(0, cut));
        EXPECT_EQ(first + bench.send(sent.substr(cut)), GetParam().received) << "cut after byte " << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, CommandLine, testing::ValuesIn(commandRows()),
                         [](const auto &row) { return std::string(row.param.name); });

// -------------------------------------------------------------------------------------------------
// Before the link is opened
// -------------------------------------------------------------------------------------------------

TEST(FreshLink, refusesEverythingButCR)
{
    for (const char *line : {"RD DM0\r", "WR DM0 1\r", "ST R0\r", "?K\r", "M1\r", "ER\r", "CQ\r", "HELLO\r"})
        EXPECT_EQ(Bench().send(line), "E1\r\n") << line;
}

TEST(FreshLink, carriesNothingOut)
{
    Bench bench;
    bench.send("WR DM0 7\r");
    EXPECT_EQ(bench.send("CR\rRD DM0\r"), "CC\r\n00000\r\n");
}

TEST(FreshLink, staysClosedAfterAMalformedOpening)
{
    Bench bench;
    EXPECT_EQ(bench.send("CR 99\rRD DM0\r"), "E1\r\nE1\r\n");
}

// -------------------------------------------------------------------------------------------------
// Switches
// -------------------------------------------------------------------------------------------------

kvsim::Rules with(void (*change)(kvsim::Rules &))
{
    kvsim::Rules rules;
    change(rules);
    return rules;
}

struct SwitchRow {
    const char *name;
    void (*change)(kvsim::Rules &);
    const char *sent;
    const char *received;
};

class Switch : public testing::TestWithParam<SwitchRow>
{
};

TEST_P(Switch, changesTheAnswer)
{
    Bench bench(with(GetParam().change));
    EXPECT_EQ(bench.send(GetParam().sent), GetParam().received);
}

using kvsim::Opening;
using kvsim::Rules;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Switch, testing::Values(
    SwitchRow{ "openNever",          [](Rules &r) { r.opening = Opening::Never; },   "RD DM0\rCR\rCQ\rRD DM0\r",        "00000\r\nCC\r\nCF\r\n00000\r\n" },
    SwitchRow{ "openRefuse",         [](Rules &r) { r.opening = Opening::Refused; }, "RD DM0\rCR\rRD DM0\r",            "00000\r\nE1\r\n00000\r\n" },
    SwitchRow{ "upperOnly",          [](Rules &r) { r.values.upperOnly = true; },           "CR\rST B1af\rST B1AF\rST B1Af\r", "CC\r\nE1\r\nOK\r\nE1\r\n" },
    SwitchRow{ "upperOnlyValues",    [](Rules &r) { r.values.upperOnly = true; },           "CR\rWR DM0.H ab\rWR DM0.H AB\r",  "CC\r\nE1\r\nOK\r\n" },
    SwitchRow{ "unaligned",          [](Rules &r) { r.unaligned = true; },           "CR\rST R1005\rST R1100\rRD R1005.U\r", "CC\r\nOK\r\nOK\r\n02049\r\n" },
    SwitchRow{ "unalignedPastEnd",   [](Rules &r) { r.unaligned = true; },           "CR\rRD R199901.U\r",              "CC\r\nE0\r\n" },
    SwitchRow{ "negativeWrapD",      [](Rules &r) { r.values.negativeWraps = true; },       "CR\rWRS Z1.D 1 -000000001\rRD Z1.D\r", "CC\r\nOK\r\n4294967295\r\n" },
    SwitchRow{ "negativeWrapU",      [](Rules &r) { r.values.negativeWraps = true; },       "CR\rWR DM0 -2\rRD DM0\r",         "CC\r\nOK\r\n65534\r\n" },
    SwitchRow{ "negativeWrapTooLow", [](Rules &r) { r.values.negativeWraps = true; },       "CR\rWR DM0 -32769\r",             "CC\r\nE1\r\n" },
    SwitchRow{ "atWriteOk",          [](Rules &r) { r.atWritable = true; },          "CR\rWRS AT0.D 1 3000000000\rRD AT0\r", "CC\r\nOK\r\n3000000000\r\n" },
    SwitchRow{ "tripleBlank",        [](Rules &r) { r.triplesWithBlanks = true; },   "CR\rWR T1 5\rRDS T0.D 2\r",       "CC\r\nOK\r\n0 0000000000 0000000000 0 0000000005 0000000000\r\n" },
    SwitchRow{ "errorDigits2",       [](Rules &r) { r.errorDigits = 2; },            "CR\r?E\r",                        "CC\r\n00\r\n" },
    SwitchRow{ "maxCountAll",        [](Rules &r) { r.mostByDevice[""] = 2; },       "CR\rRDS DM0 2\rRDS DM0 3\r",      "CC\r\n00000 00000\r\nE1\r\n" },
    SwitchRow{ "maxCountOne",        [](Rules &r) { r.mostByDevice["DM"] = 1; },     "CR\rRDS DM0 2\rRDS EM0 2\r",      "CC\r\nE1\r\n00000 00000\r\n" },
    SwitchRow{ "modelCode",          [](Rules &r) { r.modelCode = 134; },            "CR\r?K\r",                        "CC\r\n134\r\n" },
    SwitchRow{ "modelCodeUnknown",   [](Rules &r) { r.modelCode = 0; },              "CR\r?K\r",                        "CC\r\nE1\r\n" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(CpuError, isToldUntilCleared)
{
    Bench bench;
    bench.opened().simulator.plc().setError(42);
    EXPECT_EQ(bench.send("?E\rER\r?E\r"), "042\r\nOK\r\n000\r\n");
}

// -------------------------------------------------------------------------------------------------
// Largest counts
// -------------------------------------------------------------------------------------------------

struct CountRow {
    const char *name;
    const char *operand;
    std::uint32_t most;
    std::size_t answerLength; // of that many values, without CR LF
};

class LargestCount : public testing::TestWithParam<CountRow>
{
};

TEST_P(LargestCount, isServedAndOneMoreIsNot)
{
    const CountRow &row = GetParam();
    const std::string request = std::string("RDS ") + row.operand + " ";
    Bench bench;
    EXPECT_EQ(bench.opened().send(request + std::to_string(row.most) + "\r").size(), row.answerLength + 2);
    EXPECT_EQ(bench.send(request + std::to_string(row.most + 1) + "\r"), "E1\r\n");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LargestCount,
    testing::Values(CountRow{"bits", "R0", 1000, 1999}, CountRow{"channels", "MR0.U", 1000, 5999},
                    CountRow{"channelsD", "LR0.D", 500, 5499}, CountRow{"words", "DM0", 1000, 5999},
                    CountRow{"doubleWords", "DM0.D", 500, 5499}, CountRow{"TM", "TM0", 512, 3071},
                    CountRow{"TM_D", "TM0.D", 256, 2815}, CountRow{"Z", "Z1.D", 12, 131},
                    CountRow{"T", "T0.D", 120, 2879}, CountRow{"C", "C0.D", 120, 2879},
                    CountRow{"CTH", "CTH0.D", 2, 47}, CountRow{"CTC", "CTC0.D", 4, 95},
                    CountRow{"AT", "AT0.D", 8, 87}, CountRow{"TS", "TS0.D", 120, 1319}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
