// SPDX-License-Identifier: MIT
// Programs that react: what a text asks for, scan by scan, and texts that are not programs.
#include "bench.h"
#include "scan/program_text.h"

#include <gtest/gtest.h>

namespace
{

class Program : public testing::Test
{
protected:
    void load(std::string_view text)
    {
        std::string problem;
        const auto rows = kvsim::programFromText(text, bench.simulator.plc().rules(), problem);
        ASSERT_TRUE(rows.has_value()) << problem;
        bench.simulator.plc().setProgram(*rows);
        bench.opened();
    }

    void scan(int times = 1)
    {
        for (int i = 0; i < times; ++i)
            bench.simulator.plc().scan();
    }

    // Lines without their CR: the answer without CR LF.
    std::string ask(const std::string &line)
    {
        const std::string answer = bench.send(line + "\r");
        return answer.substr(0, answer.size() - 2);
    }

    // The answers after each of so many scans.
    std::string overScans(const std::string &line, int times)
    {
        std::string all;
        for (int i = 0; i < times; ++i) {
            scan();
            all += (i == 0 ? "" : " ") + ask(line);
        }
        return all;
    }

    Bench bench;
};

// -------------------------------------------------------------------------------------------------
// What machines do
// -------------------------------------------------------------------------------------------------

TEST_F(Program, consumesAStartPulseAndCountsIt)
{
    load("when MR100 on then count DM10, reset MR100");
    scan();
    EXPECT_EQ(ask("ST MR100"), "OK");
    EXPECT_EQ(ask("RD MR100"), "1");
    scan(3);
    EXPECT_EQ(ask("RD MR100"), "0");
    EXPECT_EQ(ask("RD DM10"), "00001");
    ask("ST MR100");
    ask("ST MR100"); // within one scan: the program sees one pulse
    scan();
    EXPECT_EQ(ask("RD DM10"), "00002");
}

TEST_F(Program, changesABitBesideTheWrittenOne)
{
    load("when R1000 rises then toggle R1001");
    scan();
    ask("ST R1000");
    scan(2);
    EXPECT_EQ(ask("RDS R1000 2"), "1 1");
    ask("RS R1000");
    scan();
    ask("ST R1000");
    scan();
    EXPECT_EQ(ask("RDS R1000 2"), "1 0");
}

TEST_F(Program, letsAWordFollowAnother)
{
    load("when DM0 changes then copy DM0 DM1");
    scan();
    ask("WR DM0 7");
    EXPECT_EQ(ask("RDS DM0 2"), "00007 00000"); // until the next scan
    scan();
    EXPECT_EQ(ask("RDS DM0 2"), "00007 00007");
    ask("WR DM1 9");
    scan();
    EXPECT_EQ(ask("RDS DM0 2"), "00007 00009"); // no change of DM0, no copy
}

TEST_F(Program, beatsAHeart)
{
    load("when always then toggle R0 after 2 scans");
    EXPECT_EQ(overScans("RD R0", 10), "0 0 1 1 1 0 0 0 1 1");
}

TEST_F(Program, reactsLater)
{
    load("when R0 rises then set R1 after 3 scans");
    scan();
    ask("ST R0");
    scan();
    ask("RS R0"); // the delay runs on
    EXPECT_EQ(overScans("RD R1", 4), "0 0 1 1");
}

TEST_F(Program, runsItsRowsFromTopToBottom)
{
    load("when R0 on then set R1\nwhen R1 on then set R2\nwhen R4 on then set R5\nwhen R3 on then set R4\n");
    ask("ST R0");
    ask("ST R3");
    scan();
    EXPECT_EQ(ask("RDS R0 6"), "1 1 1 1 1 0"); // R5 follows R4 in the next scan only
    scan();
    EXPECT_EQ(ask("RDS R0 6"), "1 1 1 1 1 1");
}

TEST_F(Program, stopsInProgramModeAndGoesOnInRun)
{
    load("when always then count DM0");
    ask("M0");
    scan(5);
    EXPECT_EQ(ask("RD DM0"), "00000");
    ask("M1");
    scan(5);
    EXPECT_EQ(ask("RD DM0"), "00005");
}

TEST_F(Program, startsAgainAfterAReset)
{
    load("when R0 rises then count DM0\nwhen always then set R1 after 2 scans");
    scan();
    bench.simulator.plc().reset();
    ask("ST R0");
    EXPECT_EQ(overScans("RD DM0", 2), "00000 00000"); // on in the first scan: nothing has risen
    EXPECT_EQ(ask("RD R1"), "0");
    scan();
    EXPECT_EQ(ask("RD R1"), "1");
}

TEST_F(Program, movesNothingElse)
{
    load("when R0 on then set R1");
    scan(10);
    EXPECT_EQ(ask("RD DM0"), "00000"); // the fixed program would count here
}

// -------------------------------------------------------------------------------------------------
// Every condition and action
// -------------------------------------------------------------------------------------------------

struct ReactRow {
    const char *name;
    const char *program;
    const char *before; // control assignment before the first scan
    const char *then;   // and after it
    const char *read;
    const char *received; // after the second scan
};

class React : public Program, public testing::WithParamInterface<ReactRow>
{
};

TEST_P(React, asItsRowSays)
{
    const ReactRow &row = GetParam();
    load(row.program);
    ask(row.before);
    scan();
    ask(row.then);
    scan();
    EXPECT_EQ(ask(row.read), row.received);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, React, testing::Values(
    ReactRow{ "onTwice",          "when R0 on then count DM0",            "ST R0",          "ER",             "RD DM0",   "00002" },
    ReactRow{ "onOnce",           "when R0 on then count DM0",            "ER",             "ST R0",          "RD DM0",   "00001" },
    ReactRow{ "off",              "when R0 off then count DM0",           "ER",             "ST R0",          "RD DM0",   "00001" },
    ReactRow{ "rises",            "when R0 rises then count DM0",         "ER",             "ST R0",          "RD DM0",   "00001" },
    ReactRow{ "risesNotAtFirst",  "when R0 rises then count DM0",         "ST R0",          "ER",             "RD DM0",   "00000" },
    ReactRow{ "falls",            "when R0 falls then count DM0",         "ST R0",          "RS R0",          "RD DM0",   "00001" },
    ReactRow{ "fallsNotAtRise",   "when R0 falls then count DM0",         "ER",             "ST R0",          "RD DM0",   "00000" },
    ReactRow{ "timerContact",     "when T5 rises then count DM0",         "ER",             "ST T5",          "RD DM0",   "00001" },
    ReactRow{ "changesRelay",     "when R0 changes then count DM0",       "ER",             "ST R0",          "RD DM0",   "00001" },
    ReactRow{ "changesD",         "when DM1.D changes then count DM0",    "ER",             "WR DM2 1",       "RD DM0",   "00001" },
    ReactRow{ "changesNotBeside", "when DM1 changes then count DM0",      "ER",             "WR DM2 1",       "RD DM0",   "00000" },
    ReactRow{ "equal",            "when DM1 = 5 then count DM0",          "WR DM1 4",       "WR DM1 5",       "RD DM0",   "00001" },
    ReactRow{ "notEqual",         "when DM1 != 5 then count DM0",         "WR DM1 4",       "WR DM1 5",       "RD DM0",   "00001" },
    ReactRow{ "less",             "when DM1 < 5 then count DM0",          "WR DM1 4",       "WR DM1 5",       "RD DM0",   "00001" },
    ReactRow{ "lessOrEqual",      "when DM1 <= 5 then count DM0",         "WR DM1 5",       "WR DM1 6",       "RD DM0",   "00001" },
    ReactRow{ "greater",          "when DM1 > 5 then count DM0",          "WR DM1 5",       "WR DM1 6",       "RD DM0",   "00001" },
    ReactRow{ "greaterOrEqual",   "when DM1 >= 5 then count DM0",         "WR DM1 4",       "WR DM1 5",       "RD DM0",   "00001" },
    ReactRow{ "signedWord",       "when DM1.S < 0 then count DM0",        "WR DM1 32767",   "WR DM1 32768",   "RD DM0",   "00001" },
    ReactRow{ "unsignedWord",     "when DM1 > 32767 then count DM0",      "WR DM1 32767",   "WR DM1 32768",   "RD DM0",   "00001" },
    ReactRow{ "signedDouble",     "when DM1.L = -2 then count DM0",       "ER",             "WR DM1.L -2",    "RD DM0",   "00001" },
    ReactRow{ "unsignedDouble",   "when Z1.D >= 4294967295 then count DM0", "ER",           "WR Z1.D 4294967295", "RD DM0", "00001" },
    ReactRow{ "hexadecimal",      "when DM1.H = 0AB then count DM0",      "ER",             "WR DM1 171",     "RD DM0",   "00001" },
    ReactRow{ "otherPlace",       "when DM1 = DM2 then count DM0",        "WR DM1 1",       "WR DM2 1",       "RD DM0",   "00001" },
    ReactRow{ "currentValue",     "when T0 > 9 then count DM0",           "WR T0.D 9",      "WR T0.D 10",     "RD DM0",   "00001" },
    ReactRow{ "andBoth",          "when R0 on and R1 on then count DM0",  "ST R0",          "ST R1",          "RD DM0",   "00001" },
    ReactRow{ "andEdgeMissed",    "when R0 rises and R1 on then count DM0", "ER",           "ST R0",          "RD DM0",   "00000" },
    ReactRow{ "set",              "when R0 on then set R1",               "ER",             "ST R0",          "RD R1",    "1" },
    ReactRow{ "reset",            "when R0 on then reset R1",             "ST R1",          "ST R0",          "RD R1",    "0" },
    ReactRow{ "toggleTwice",      "when always then toggle R1",           "ER",             "ER",             "RD R1",    "0" },
    ReactRow{ "setTimerContact",  "when R0 on then set T1",               "ER",             "ST R0",          "RD T1",    "1,0000000000,0000000000" },
    ReactRow{ "countWraps",       "when R0 on then count DM0",            "WR DM0 65535",   "ST R0",          "RD DM0",   "00000" },
    ReactRow{ "countD",           "when R0 on then count DM0.D",          "WR DM0 65535",   "ST R0",          "RD DM0.D", "0000065536" },
    ReactRow{ "copyNumber",       "when R0 on then copy 300 DM0",         "ER",             "ST R0",          "RD DM0",   "00300" },
    ReactRow{ "copySigned",       "when R0 on then copy -3 DM0.S",        "ER",             "ST R0",          "RD DM0.S", "-00003" },
    ReactRow{ "copyChannel",      "when R0 on then copy R0.U DM0",        "ST R3",          "ST R0",          "RD DM0",   "00009" },
    ReactRow{ "copyToWide",       "when R0 on then copy DM5.S DM0.D",     "WR DM5 65535",   "ST R0",          "RD DM0.D", "4294967295" },
    ReactRow{ "add",              "when R0 on then add 7 DM0",            "WR DM0 3",       "ST R0",          "RD DM0",   "00010" },
    ReactRow{ "addDown",          "when R0 on then add -7 DM0",           "WR DM0 10",      "ST R0",          "RD DM0",   "00003" },
    ReactRow{ "addBelowZero",     "when R0 on then add -7 DM0",           "WR DM0 3",       "ST R0",          "RD DM0",   "65532" },
    ReactRow{ "addPlace",         "when R0 on then add DM1 DM0.D",        "WR DM1 7",       "ST R0",          "RD DM0.D", "0000458759" },
    ReactRow{ "severalActions",   "when R0 on then reset R0, count DM0, copy DM0 DM1", "ER", "ST R0",         "RDS DM0 2", "00001 00001" },
    ReactRow{ "at",               "when R0 on then copy 3000000000 AT0",  "ER",             "ST R0",          "RD AT0",   "3000000000" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

// -------------------------------------------------------------------------------------------------
// Texts
// -------------------------------------------------------------------------------------------------

TEST_F(Program, ignoresRemarksEmptyLinesSpacesAndLineEnds)
{
    load("\xEF\xBB\xBF# a remark\r\n\r\n\t when  R0 on\tthen set R1 ,reset R0 # another\r\n");
    ask("ST R0");
    scan();
    EXPECT_EQ(ask("RDS R0 2"), "0 1");
}

struct WrongRow {
    const char *name;
    const char *text;
    const char *problem;
};

class WrongProgram : public testing::TestWithParam<WrongRow>
{
};

TEST_P(WrongProgram, isRefusedWithItsLine)
{
    std::string problem;
    EXPECT_FALSE(kvsim::programFromText(GetParam().text, {}, problem).has_value());
    EXPECT_EQ(problem, GetParam().problem);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, WrongProgram, testing::Values(
    WrongRow{ "empty",          "",                                          "there is no row in it (when CONDITION then ACTION)" },
    WrongRow{ "onlyRemarks",    "# nothing\n\n",                             "there is no row in it (when CONDITION then ACTION)" },
    WrongRow{ "noWhen",         "\nif R0 on then set R1",                    "line 2: expected 'when', not 'if'" },
    WrongRow{ "noCondition",    "when",                                      "line 1: expected a condition at the end" },
    WrongRow{ "noLevel",        "when R0 then set R1",                       "line 1: expected on, off, rises, falls, changes, =, !=, <, <=, > or >=, not 'then'" },
    WrongRow{ "noDevice",       "when QQ0 on then set R1",                   "line 1: 'QQ0' is not a device of this model (expected something like DM100, R1015, W1A.S, T5)" },
    WrongRow{ "pastTheEnd",     "when DM65535 = 1 then set R1",              "line 1: 1 value(s) from 'DM65535' on do not lie within the device's range" },
    WrongRow{ "wordIsOn",       "when DM0 on then set R1",                   "line 1: 'DM0' is not a contact: only relays, T, C and CTC are on or off" },
    WrongRow{ "channelRises",   "when R0.U rises then set R1",               "line 1: 'R0.U' is not a contact: only relays, T, C and CTC are on or off" },
    WrongRow{ "noValue",        "when DM0 = then set R1",                    "line 1: 'then' is not a device of this model (expected something like DM100, R1015, W1A.S, T5)" },
    WrongRow{ "valueTooLarge",  "when DM0 = 65536 then set R1",              "line 1: '65536' is not a value for it" },
    WrongRow{ "noThen",         "when R0 on set R1",                         "line 1: expected 'and' or 'then', not 'set'" },
    WrongRow{ "noThenAtEnd",    "when R0 on",                                "line 1: expected 'and' or 'then' at the end" },
    WrongRow{ "noAction",       "when R0 on then",                           "line 1: expected set, reset, toggle, count, copy or add at the end" },
    WrongRow{ "unknownAction",  "when R0 on then jump R1",                   "line 1: expected set, reset, toggle, count, copy or add, not 'jump'" },
    WrongRow{ "setAWord",       "when R0 on then set DM0",                   "line 1: 'DM0' is not a contact: only relays, T, C and CTC are on or off" },
    WrongRow{ "countABit",      "when R0 on then count R1",                  "line 1: 'R1' is a single bit; count needs a number, like R0.U" },
    WrongRow{ "copyTooLarge",   "when R0 on then copy 65536 DM0",            "line 1: '65536' is not a value for it" },
    WrongRow{ "copyNegative",   "when R0 on then copy -1 DM0",               "line 1: '-1' is not a value for it" },
    WrongRow{ "noComma",        "when R0 on then set R1 set R2",             "line 1: expected ',', 'after' or the end of the row, not 'set'" },
    WrongRow{ "commaAtEnd",     "when R0 on then set R1,",                   "line 1: expected set, reset, toggle, count, copy or add at the end" },
    WrongRow{ "delayZero",      "when R0 on then set R1 after 0 scans",      "line 1: '0' is not a number of scans (1 to 1000000)" },
    WrongRow{ "delayTooLong",   "when R0 on then set R1 after 1000001 scans","line 1: '1000001' is not a number of scans (1 to 1000000)" },
    WrongRow{ "delayUnit",      "when R0 on then set R1 after 5 ms",         "line 1: expected 'scans', not 'ms'" },
    WrongRow{ "afterInBetween", "when R0 on then set R1 after 5 scans, set R2", "line 1: expected the end of the row, not ','" },
    WrongRow{ "secondRow",      "when R0 on then set R1\nwhen R0",           "line 2: expected on, off, rises, falls, changes, =, !=, <, <=, > or >= at the end" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(ProgramText, takesTheLargestDelayAnd10000Rows)
{
    std::string problem;
    EXPECT_TRUE(kvsim::programFromText("when R0 on then set R1 after 1000000 scans", {}, problem));
    std::string text;
    for (int i = 0; i < 10000; ++i)
        text += "when R0 on then set R1\n";
    EXPECT_TRUE(kvsim::programFromText(text, {}, problem)) << problem;
    EXPECT_FALSE(kvsim::programFromText(text + "when R0 on then set R1\n", {}, problem));
    EXPECT_EQ(problem, "line 10001: there are more than 10000 rows");
}

} // namespace
