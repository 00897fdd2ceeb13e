// SPDX-License-Identifier: MIT
#include "bench.h"

#include <gtest/gtest.h>

namespace
{

struct MoveRow {
    const char *name;
    int scans;
    const char *read;
    const char *received;
};

class Moves : public testing::TestWithParam<MoveRow>
{
};

TEST_P(Moves, exactly)
{
    Bench bench;
    for (int i = 0; i < GetParam().scans; ++i)
        bench.simulator.plc().scan();
    EXPECT_EQ(bench.opened().send(std::string(GetParam().read) + "\r"),
              std::string(GetParam().received) + "\r\n");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Moves, testing::Values(
    MoveRow{ "counter1",       1,     "RD DM0",       "00001" },
    MoveRow{ "counter1000",    1000,  "RD DM0",       "01000" },
    MoveRow{ "counterWraps",   65536, "RD DM0",       "00000" },
    MoveRow{ "sineStart",      1,     "RDS DM10 3",   "00500 01000 00000" },
    MoveRow{ "sineQuarter",    26,    "RDS DM10 3",   "01000 00500 01000" },
    MoveRow{ "sineHalf",       51,    "RDS DM10 3",   "00500 00000 00000" },
    MoveRow{ "sineLow",        76,    "RDS DM10 2",   "00000 00500" },
    MoveRow{ "sineLowSigned",  76,    "RD DM12.S",    "-01000" },
    MoveRow{ "over31bits",     1,     "RD DM20.D",    "3000000000" },
    MoveRow{ "over31bits2",    2,     "RD DM20.D",    "3000001000" },
    MoveRow{ "down",           2,     "RD EM0",       "65534" },
    MoveRow{ "W10",            256,   "RD W10",       "00255" },
    MoveRow{ "W10wraps",       257,   "RD W10",       "00000" },
    MoveRow{ "TM0",            61,    "RD TM0",       "00000" },
    MoveRow{ "Z",              11,    "RDS Z1.D 2",   "0000000030 3000000010" },
    MoveRow{ "AT",             8,     "RDS AT0.D 2",  "0000000007 3000000007" },
    MoveRow{ "blinkOn",        5,     "RDS R500 2",   "1 0" },
    MoveRow{ "blinkOff",       6,     "RDS R500 2",   "0 1" },
    MoveRow{ "blinkOnAgain",   11,    "RDS R500 2",   "1 0" },
    MoveRow{ "running1",       1,     "RD R600.U",    "00001" },
    MoveRow{ "running16",      16,    "RD R600.U",    "32768" },
    MoveRow{ "running17",      17,    "RD R600.U",    "00001" },
    MoveRow{ "MR100off",       1,     "RD MR100",     "0" },
    MoveRow{ "MR100on",        2,     "RD MR100",     "1" },
    MoveRow{ "B10",            1,     "RD B10",       "1" },
    MoveRow{ "T0running",      99,    "RD T0.D",      "0,0000000099,0000000100" },
    MoveRow{ "T0done",         100,   "RD T0.D",      "1,0000000100,0000000100" },
    MoveRow{ "T0held",         109,   "RD T0.D",      "1,0000000100,0000000100" },
    MoveRow{ "T0again",        110,   "RD T0.D",      "0,0000000000,0000000100" },
    MoveRow{ "T1done",         50,    "RD T1.D",      "1,0000000050,0000000050" },
    MoveRow{ "T1again",        51,    "RD T1.D",      "0,0000000000,0000000050" },
    MoveRow{ "C0first",        1,     "RD C0.D",      "0,0000000001,0000000010" },
    MoveRow{ "C0full",         91,    "RD C0.D",      "1,0000000010,0000000010" },
    MoveRow{ "C0again",        101,   "RD C0.D",      "0,0000000000,0000000010" },
    MoveRow{ "CTH0",           2,     "RD CTH0.D",    "0,0000000074,0000000000" },
    MoveRow{ "CTC0below",      27,    "RD CTC0.D",    "0,0000000999,0000001000" },
    MoveRow{ "CTC0reached",    28,    "RD CTC0.D",    "1,0000001036,0000001000" },
    MoveRow{ "CTH0cleared",    28,    "RD CTH0.D",    "0,0000000000,0000000000" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(FixedProgram, stopsInProgramModeAndGoesOnInRun)
{
    Bench bench;
    bench.opened().send("M0\r");
    bench.simulator.plc().scan();
    EXPECT_EQ(bench.send("RD DM0\rM1\r"), "00000\r\nOK\r\n");
    bench.simulator.plc().scan();
    EXPECT_EQ(bench.send("RD DM0\r"), "00001\r\n");
}

TEST(FixedProgram, countsOnFromWhatAHostWrote)
{
    Bench bench;
    bench.opened().send("WR DM0 41\r");
    bench.simulator.plc().scan();
    EXPECT_EQ(bench.send("RD DM0\r"), "00042\r\n");
}

TEST(FixedProgram, runsOnModelsThatLackDevices)
{
    for (const kvsim::Model &model : kvsim::models()) {
        kvsim::Rules rules;
        rules.family = model.family;
        Bench bench(rules);
        bench.simulator.plc().scan();
        EXPECT_EQ(bench.opened().send("RD DM0\r"), "00001\r\n") << model.name;
    }
}

TEST(FixedProgram, movesNothingElse)
{
    Bench bench;
    bench.simulator.plc().scan();
    EXPECT_EQ(bench.opened().send("RDS DM100 4\rRDS R1000 16\rRDS MR0.U 2\r"),
              "00000 00000 00000 00000\r\n0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\r\n00000 00000\r\n");
}

} // namespace
