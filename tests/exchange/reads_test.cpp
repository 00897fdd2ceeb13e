// SPDX-License-Identifier: MIT
// Every area as a screen reads it: the PLC holds the value, the driver asks for it, the
// screen gets it.
#include "exchange_fixture.h"

#include <QFile>

namespace
{
struct ReadRow {
    const char *name;
    int area;
    const char *address;
    int count;                      // of the variable, as screens count
    std::vector<std::string> turns; // after the link is open
    int values;                     // asked for by GetRegisterData
    const char *stored;
};

// One memory for all rows, in which no two values agree: an area mistaken for another is found out.
constexpr const char *timers = R"({ "model": "KV-8000", "devices": {
    "T":   { "5": { "contact": 1, "current": 1234, "set": 5000 },
             "6": { "contact": 0, "current": 5678, "set": 305419896 } },
    "C":   { "7": { "contact": 1, "current": 3, "set": 10 } },
    "CTH": { "1": { "contact": 1, "current": 70000, "set": 80000 } },
    "CTC": { "3": { "contact": 1, "current": 111, "set": 222 } } } })";

constexpr const char *memory[]{"R1000.U=33825,1",
                               "B1A0.U=16386,2",
                               "MR10000.U=8196",
                               "LR99900.U=4104",
                               "CR000.U=2064",
                               "VBF9F0.U=1056",
                               "DM100=3,2,65535",
                               "EM200=4660",
                               "FM32767=22136",
                               "ZF524287=39612",
                               "W1A=57072",
                               "TM511=258",
                               "CM7599=773",
                               "VM589823=1029",
                               "Z11.D=305419897,2147483647",
                               "AT6=1000000,3000000000"};

const std::string timer5 = "RDS T5.D 1 -> 1,0000001234,0000005000 = 1";
const std::string timer6 = "RDS T6.D 1 -> 0,0000005678,0305419896 = 1";
const std::string counter7 = "RDS C7.D 1 -> 1,0000000003,0000000010 = 1";
const std::string highSpeed1 = "RDS CTH1.D 1 -> 1,0000070000,0000080000 = 1";
const std::string comparator3 = "RDS CTC3.D 1 -> 1,0000000111,0000000222 = 1";

// clang-format off
const std::vector<ReadRow> rows{
    // bits, in hexadecimal:
    // 33825 = 8421, 16386 = 4002, 8196 = 2004, 4104 = 1008, 2064 = 0810, 1056 = 0420
    { "R",       AREA_R,       "1015",      3, { "RDS R1000.U 2 -> 33825 00001 = 1" },   3, "01 01 00" },
    { "B",       AREA_B,       "1AE",       2, { "RDS B1A0.U 1 -> 16386 = 1" },          2, "01 00" },
    { "MR",      AREA_MR,      "10002",     1, { "RDS MR10000.U 1 -> 08196 = 1" },       1, "01" },
    { "LR",      AREA_LR,      "99912",     4, { "RDS LR99900.U 1 -> 04104 = 1" },       4, "01 00 00 00" },
    { "CR",      AREA_CR,      "4",         1, { "RDS CR000.U 1 -> 02064 = 1" },         1, "01" },
    { "VB",      AREA_VB,      "F9F5",      1, { "RDS VBF9F0.U 1 -> 01056 = 1" },        1, "01" },
    // contacts, two 16-bit registers to a timer
    { "T",       AREA_T,       "5",         4, { timer5, timer6 },                       2, "01 00" },
    { "C",       AREA_C,       "7",         2, { counter7 },                             1, "01" },
    { "CTH",     AREA_CTH,     "1",         2, { highSpeed1 },                           1, "01" },
    { "CTC",     AREA_CTC,     "3",         2, { comparator3 },                          1, "01" },
    // words: 4660 = 1234, 22136 = 5678, 39612 = 9ABC, 57072 = DEF0, 258 = 0102
    { "DM",      AREA_DM,      "100",       3, { "RDS DM100.U 3 -> 00003 00002 65535 = 1" }, 3, "03 00 02 00 FF FF" },
    { "EM",      AREA_EM,      "200",       1, { "RDS EM200.U 1 -> 04660 = 1" },         1, "34 12" },
    { "FM",      AREA_FM,      "32767",     1, { "RDS FM32767.U 1 -> 22136 = 1" },       1, "78 56" },
    { "ZF",      AREA_ZF,      "524287",    1, { "RDS ZF524287.U 1 -> 39612 = 1" },      1, "BC 9A" },
    { "W",       AREA_W,       "1A",        1, { "RDS W1A.U 1 -> 57072 = 1" },           1, "F0 DE" },
    { "TM",      AREA_TM,      "511",       1, { "RDS TM511.U 1 -> 00258 = 1" },         1, "02 01" },
    { "Z",       AREA_Z,       "11",        4, { "RDS Z11.D 2 -> 0305419897 2147483647 = 1" }, 2, "79 56 34 12 FF FF FF 7F" },
    // current and set values; of CTH the first value of the three, of CTC the second
    { "TCurrent", AREA_T_DWORD,   "5",      4, { timer5, timer6 },                       2, "D2 04 00 00 2E 16 00 00" },
    { "TSet",     AREA_TS,        "5",      4, { timer5, timer6 },                       2, "88 13 00 00 78 56 34 12" },
    { "CCurrent", AREA_C_DWORD,   "7",      2, { counter7 },                             1, "03 00 00 00" },
    { "CSet",     AREA_CS,        "7",      1, { counter7 },                             1, "0A 00 00 00" },
    { "CTHCurrent", AREA_CTH_DWORD, "1",    2, { highSpeed1 },                           1, "70 11 01 00" },
    { "CTCSet",   AREA_CTC_DWORD, "3",      2, { comparator3 },                          1, "DE 00 00 00" },
    // On purpose: ten digits above 2147483647 are stored as 0.
    { "AT",      AREA_AT,      "6",         4, { "RDS AT6.D 2 -> 0001000000 3000000000 = 1" }, 2, "40 42 0F 00 00 00 00 00" },
    // words: 773 = 0305, 1029 = 0405
    { "CM",      AREA_CM,      "7599",      1, { "RDS CM7599.U 1 -> 00773 = 1" },        1, "05 03" },
    { "VM",      AREA_VM,      "589823",    1, { "RDS VM589823.U 1 -> 01029 = 1" },      1, "05 04" },
    // channels; what the bit digits say does not matter
    { "RChannel",  AREA_R_WORD,  "1000",    2, { "RDS R1000.U 2 -> 33825 00001 = 1" },   2, "21 84 01 00" },
    { "BWord",     AREA_B_WORD,  "1A0",     2, { "RDS B1A0.U 2 -> 16386 00002 = 1" },    2, "02 40 02 00" },
    { "MRChannel", AREA_MR_WORD, "10000",   1, { "RDS MR10000.U 1 -> 08196 = 1" },       1, "04 20" },
    { "LRChannel", AREA_LR_WORD, "99915",   1, { "RDS LR99900.U 1 -> 04104 = 1" },       1, "08 10" },
    { "CRChannel", AREA_CR_WORD, "0",       1, { "RDS CR000.U 1 -> 02064 = 1" },         1, "10 08" },
    { "VBWord",    AREA_VB_WORD, "F9F0",    1, { "RDS VBF9F0.U 1 -> 01056 = 1" },        1, "20 04" },
    // bits of words
    { "DMBit",   AREA_DM_BIT,  "101.0",     3, { "RDS DM101.U 1 -> 00002 = 1" },         3, "00 01 00" },
    { "EMBit",   AREA_EM_BIT,  "200.12",    2, { "RDS EM200.U 1 -> 04660 = 1" },         2, "01 00" },
    { "FMBit",   AREA_FM_BIT,  "32767.2",   2, { "RDS FM32767.U 1 -> 22136 = 1" },       2, "00 01" },
    { "ZFBit",   AREA_ZF_BIT,  "524287.15", 1, { "RDS ZF524287.U 1 -> 39612 = 1" },      1, "01" },
    { "WBit",    AREA_W_BIT,   "1A.3",      5, { "RDS W1A.U 1 -> 57072 = 1" },           5, "00 01 01 01 01" },
    { "TMBit",   AREA_TM_BIT,  "511.8",     2, { "RDS TM511.U 1 -> 00258 = 1" },         2, "01 00" },
    { "CMBit",   AREA_CM_BIT,  "7599.0",    3, { "RDS CM7599.U 1 -> 00773 = 1" },        3, "01 00 01" },
    { "VMBit",   AREA_VM_BIT,  "589823.10", 1, { "RDS VM589823.U 1 -> 01029 = 1" },      1, "01" },
};
// clang-format on

class FilledPlc : public ExchangeTest
{
protected:
    void beginWithMemory(Wire wire)
    {
        QFile file(folder.filePath("timers.json"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(timers);
        file.close();
        begin(wire, {"--load", file.fileName()});
        for (const char *assignment : memory)
            plcSet(assignment);
    }
};

class ReadArea : public RowsOverBothLines<ReadRow, FilledPlc>
{
};

TEST_P(ReadArea, reachesTheScreen)
{
    beginWithMemory(wire());
    EXPECT_EQ(showScreen({shown(row().area, row().address, row().count)}), int(row().turns.size()));
    expectOpening();
    expectExchanges(row().turns);
    EXPECT_EQ(get(row().area, row().address, row().values), row().stored);
}

INSTANTIATE_TEST_SUITE_P(Reads, ReadArea, testing::Combine(testing::ValuesIn(rows), bothLines),
                         nameOfRowAndWire<ReadRow>);

TEST(ReadRows, areAllAreas)
{
    std::vector<int> areas;
    for (const ReadRow &row : rows)
        areas.push_back(row.area);
    ASSERT_EQ(areas.size(), 40U);
    for (int area = 0; area < 40; ++area)
        EXPECT_EQ(areas[std::size_t(area)], area);
}

class Screen : public FilledPlc, public testing::WithParamInterface<Wire>
{
};

// 6 relay areas, T5 and T6, C, CTH and CTC, 6 word areas, Z, AT, CM, VM: one block each.
TEST_P(Screen, showsAllAreasAtOnce)
{
    beginWithMemory(GetParam());
    QList<HOSTVAR> variables;
    for (const ReadRow &each : rows)
        variables.append(shown(each.area, each.address, each.count));
    ASSERT_EQ(showScreen(variables), 21);
    expectOpening();
    for (int block = 0; block < 21; ++block) {
        const std::string turn = exchange();
        EXPECT_EQ(turn.substr(turn.rfind(" = ")), " = 1") << turn;
    }
    for (const ReadRow &each : rows)
        EXPECT_EQ(get(each.area, each.address, each.values), each.stored) << each.name;
}

INSTANTIATE_TEST_SUITE_P(Reads, Screen, bothLines, nameOfWire);

class Reads : public OverBothLines
{
};

TEST_P(Reads, followThePlc)
{
    begin(GetParam());
    plcSet("DM10=7");
    showScreen({shown(AREA_DM, "10", 1)});
    expectOpening();
    EXPECT_EQ(exchange(), "RDS DM10.U 1 -> 00007 = 1");
    EXPECT_EQ(get(AREA_DM, "10", 1), "07 00");
    plcSet("DM10=8");
    EXPECT_EQ(get(AREA_DM, "10", 1), "07 00") << "nothing has been read since";
    EXPECT_EQ(exchange(), "RDS DM10.U 1 -> 00008 = 1");
    EXPECT_EQ(get(AREA_DM, "10", 1), "08 00");
}

TEST_P(Reads, ofOnceAreMadeOnceAndReported)
{
    begin(GetParam());
    plcSet("EM20=32768,1");
    EXPECT_EQ(readOnce(AREA_EM_BIT, "20.15", 2, 61), 1);
    expectOpening();
    EXPECT_EQ(exchange(), "RDS EM20.U 2 -> 32768 00001 = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 61 1"});
    EXPECT_EQ(exchange(), "idle");
    EXPECT_EQ(get(AREA_EM_BIT, "20.15", 2), "01 01");
}

// The PLC may separate a timer's three values by spaces: the driver looks at columns only.
TEST_P(Reads, ofTimersTakeBlanksForCommas)
{
    begin(GetParam(), {"--triple", "blank"});
    plcSet("T5=1234");
    plcSet("TS5=5000");
    showScreen({shown(AREA_T_DWORD, "5", 2)});
    expectOpening();
    EXPECT_EQ(exchange(), "RDS T5.D 1 -> 0 0000001234 0000005000 = 1");
    EXPECT_EQ(get(AREA_T_DWORD, "5", 1), "D2 04 00 00");
    EXPECT_EQ(get(AREA_TS, "5", 1), "88 13 00 00");
}

INSTANTIATE_TEST_SUITE_P(Exchange, Reads, bothLines, nameOfWire);
} // namespace
