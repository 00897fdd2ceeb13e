// SPDX-License-Identifier: MIT
// Every area as a screen writes it: the PLC's memory, read over the control connection,
// holds the value, and its neighbours have not changed.
#include "exchange_fixture.h"

namespace
{
struct WriteRow {
    const char *name;
    int area;
    const char *address;
    const char *data;
    int count; // as screens count
    std::vector<const char *> before;
    std::vector<std::string> turns; // after the link is open
    const char *watched;
    const char *after;
    const char *stored; // what the screen reads back: as many elements as were written
};

// A timer's set values and those of its neighbours; the contacts stay off.
const std::vector<const char *> timers{"T4=1,2,3", "TS4=10,20,30"};
const std::vector<const char *> counters{"C4=1,2,3", "CS4=10,20,30"};

// clang-format off
const std::vector<WriteRow> rows{
    // relays, one command each; bit 15 is followed by bit 0 of the next channel
    { "R", AREA_R, "1015", "01 00 01", 3, {"R900.U=43690,1,65535,21845"},
      {"ST R1015 -> OK = 1", "RS R1100 -> OK = 1", "ST R1101 -> OK = 1"}, "R900.U 4", "43690 32769 65534 21845", "01 00 01" },
    { "B", AREA_B, "1AF", "01", 1, {"B190.U=21845,0,43690"}, {"ST B1af -> OK = 1"}, "B190.U 3", "21845 32768 43690", "01" },
    { "MR", AREA_MR, "10000", "00", 1, {"MR9900.U=5,65535,6"}, {"RS MR10000 -> OK = 1"}, "MR9900.U 3", "00005 65534 00006", "00" },
    { "LR", AREA_LR, "99914", "01", 1, {"LR99800.U=7,1"}, {"ST LR99914 -> OK = 1"}, "LR99800.U 2", "00007 16385", "01" },
    { "CR", AREA_CR, "3", "01", 1, {"CR000.U=0,9"}, {"ST CR003 -> OK = 1"}, "CR000.U 2", "00008 00009", "01" },
    { "VB", AREA_VB, "F9F0", "FF", 1, {"VBF9E0.U=3,2"}, {"ST VBf9f0 -> OK = 1"}, "VBF9E0.U 2", "00003 00003", "01" },
    // words
    { "DM", AREA_DM, "100", "07 00 08 00", 2, {"DM99=1,2,3,4"},
      {"WRS DM100.U 2 00007 00008 -> OK = 1"}, "DM99 4", "00001 00007 00008 00004", "07 00 08 00" },
    { "EM", AREA_EM, "65534", "FF FF", 1, {"EM65533=5,0"}, {"WRS EM65534.U 1 65535 -> OK = 1"}, "EM65533 2", "00005 65535", "FF FF" },
    { "FM", AREA_FM, "0", "00 80", 1, {"FM0=1,2"}, {"WRS FM0.U 1 32768 -> OK = 1"}, "FM0 2", "32768 00002", "00 80" },
    { "ZF", AREA_ZF, "524286", "34 12", 1, {"ZF524285=1,2,3"},
      {"WRS ZF524286.U 1 04660 -> OK = 1"}, "ZF524285 3", "00001 04660 00003", "34 12" },
    { "W", AREA_W, "FF", "0A 00 0B 00", 2, {"WFE=1,2,3,4"},
      {"WRS WFF.U 2 00010 00011 -> OK = 1"}, "WFE 4", "00001 00010 00011 00004", "0A 00 0B 00" },
    { "TM", AREA_TM, "511", "4D 00", 1, {"TM510=1,2"}, {"WRS TM511.U 1 00077 -> OK = 1"}, "TM510 2", "00001 00077", "4D 00" },
    { "CM", AREA_CM, "7598", "01 02", 1, {"CM7597=1,2,3"}, {"WRS CM7598.U 1 00513 -> OK = 1"}, "CM7597 3", "00001 00513 00003", "01 02" },
    { "VM", AREA_VM, "589823", "03 02", 1, {"VM589822=1,2"}, {"WRS VM589823.U 1 00515 -> OK = 1"}, "VM589822 2", "00001 00515", "03 02" },
    // double words, counted in 16-bit registers
    { "Z", AREA_Z, "11", "78 56 34 12 FF FF FF 7F", 4, {"Z10.D=5,6,7"},
      {"WRS Z11.D 2 0305419896 2147483647 -> OK = 1"}, "Z10.D 3", "0000000005 0305419896 2147483647", "78 56 34 12 FF FF FF 7F" },
    { "TCurrent", AREA_T_DWORD, "5", "D2 04 00 00", 2, timers, {"WRS T5.D 1 0000001234 -> OK = 1"}, "T4 3",
      "0,0000000001,0000000010 0,0000001234,0000000020 0,0000000003,0000000030", "D2 04 00 00" },
    { "TSet", AREA_TS, "5", "D2 04 00 00", 2, timers, {"WRS TS5.D 1 0000001234 -> OK = 1"}, "T4 3",
      "0,0000000001,0000000010 0,0000000002,0000001234 0,0000000003,0000000030", "D2 04 00 00" },
    { "CCurrent", AREA_C_DWORD, "5", "70 11 01 00", 2, counters, {"WRS C5.D 1 0000070000 -> OK = 1"}, "C4 3",
      "0,0000000001,0000000010 0,0000070000,0000000020 0,0000000003,0000000030", "70 11 01 00" },
    { "CSet", AREA_CS, "5", "70 11 01 00", 1, counters, {"WRS CS5.D 1 0000070000 -> OK = 1"}, "C4 3",
      "0,0000000001,0000000010 0,0000000002,0000070000 0,0000000003,0000000030", "70 11 01 00" },
    { "CTH", AREA_CTH_DWORD, "1", "70 11 01 00", 2, {"CTH0=1,2"}, {"WRS CTH1.D 1 0000070000 -> OK = 1"}, "CTH0 2",
      "0,0000000001,0000000000 0,0000070000,0000000000", "70 11 01 00" },
    { "CTC", AREA_CTC_DWORD, "2", "70 11 01 00", 2, {"CTC1=1,2,3"}, {"WRS CTC2.D 1 0000070000 -> OK = 1"}, "CTC1 3",
      "0,0000000001,0000000000 0,0000070000,0000000000 0,0000000003,0000000000", "70 11 01 00" },
    // whole channels
    { "RChannel", AREA_R_WORD, "1000", "21 84 01 00", 2, {"R900.U=1,2,3,4"},
      {"WRS R1000.U 2 33825 00001 -> OK = 1"}, "R900.U 4", "00001 33825 00001 00004", "21 84 01 00" },
    { "BWord", AREA_B_WORD, "1A0", "02 40", 1, {"B190.U=1,2,3"}, {"WRS B1A0.U 1 16386 -> OK = 1"}, "B190.U 3", "00001 16386 00003", "02 40" },
    { "MRChannel", AREA_MR_WORD, "10015", "04 20", 1, {"MR9900.U=1,2,3"},
      {"WRS MR10000.U 1 08196 -> OK = 1"}, "MR9900.U 3", "00001 08196 00003", "04 20" },
    { "LRChannel", AREA_LR_WORD, "99900", "08 10", 1, {"LR99800.U=1,2"},
      {"WRS LR99900.U 1 04104 -> OK = 1"}, "LR99800.U 2", "00001 04104", "08 10" },
    { "CRChannel", AREA_CR_WORD, "100", "10 08", 1, {"CR000.U=1,2,3"}, {"WRS CR100.U 1 02064 -> OK = 1"}, "CR000.U 3", "00001 02064 00003", "10 08" },
    { "VBWord", AREA_VB_WORD, "F9E0", "20 04", 1, {"VBF9D0.U=1,2,3"},
      {"WRS VBF9E0.U 1 01056 -> OK = 1"}, "VBF9D0.U 3", "00001 01056 00003", "20 04" },
    // bits of words: the word is read, the bit changed, the word written
    { "DMBits", AREA_DM_BIT, "100.15", "01 00", 2, {"DM99=1,5,7,3"},
      {"RDS DM100.U 1 -> 00005 = 1", "WRS DM100.U 1 32773 -> OK = 1", "RDS DM101.U 1 -> 00007 = 1", "WRS DM101.U 1 00006 -> OK = 1"},
      "DM99 4", "00001 32773 00006 00003", "01 00" },
    { "EMBit", AREA_EM_BIT, "200.0", "00", 1, {"EM199=1,65535,3"},
      {"RDS EM200.U 1 -> 65535 = 1", "WRS EM200.U 1 65534 -> OK = 1"}, "EM199 3", "00001 65534 00003", "00" },
    { "FMBit", AREA_FM_BIT, "7.15", "01", 1, {"FM6=1,32767,3"},
      {"RDS FM7.U 1 -> 32767 = 1", "WRS FM7.U 1 65535 -> OK = 1"}, "FM6 3", "00001 65535 00003", "01" },
    { "ZFBit", AREA_ZF_BIT, "524287.8", "01", 1, {"ZF524286=9,0"},
      {"RDS ZF524287.U 1 -> 00000 = 1", "WRS ZF524287.U 1 00256 -> OK = 1"}, "ZF524286 2", "00009 00256", "01" },
    { "WBit", AREA_W_BIT, "1A.14", "01", 1, {"W19=1,1,3"},
      {"RDS W1A.U 1 -> 00001 = 1", "WRS W1A.U 1 16385 -> OK = 1"}, "W19 3", "00001 16385 00003", "01" },
    { "TMBit", AREA_TM_BIT, "0.1", "00", 1, {"TM0=3,4"},
      {"RDS TM0.U 1 -> 00003 = 1", "WRS TM0.U 1 00001 -> OK = 1"}, "TM0 2", "00001 00004", "00" },
    { "CMBit", AREA_CM_BIT, "7599.4", "01", 1, {"CM7598=2,32768"},
      {"RDS CM7599.U 1 -> 32768 = 1", "WRS CM7599.U 1 32784 -> OK = 1"}, "CM7598 2", "00002 32784", "01" },
    { "VMBit", AREA_VM_BIT, "589823.7", "00", 1, {"VM589822=1,255"},
      {"RDS VM589823.U 1 -> 00255 = 1", "WRS VM589823.U 1 00127 -> OK = 1"}, "VM589822 2", "00001 00127", "00" },
};
// clang-format on

class WriteArea : public RowsOverBothLines<WriteRow>
{
protected:
    static int elements(const WriteRow &row)
    {
        return row.area >= AREA_Z && row.area <= AREA_AT ? (row.count + 1) / 2 : row.count;
    }
};

TEST_P(WriteArea, reachesThePlc)
{
    begin(wire());
    for (const char *assignment : row().before)
        plcSet(assignment);
    EXPECT_GT(writeValue(row().area, row().address, row().data, row().count), 0);
    expectOpening();
    for (const std::string &turn : row().turns) {
        EXPECT_EQ(takeCallbacks(), Lines()) << "before the last frame";
        EXPECT_EQ(exchange(), turn);
    }
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet(row().watched), row().after);
    EXPECT_EQ(get(row().area, row().address, elements(row())), row().stored);
    EXPECT_EQ(exchange(), "idle");
}

INSTANTIATE_TEST_SUITE_P(Writes, WriteArea, testing::Combine(testing::ValuesIn(rows), bothLines),
                         nameOfRowAndWire<WriteRow>);

// The contacts cannot be written; AT has tests of its own among what a PLC may refuse.
TEST(WriteRows, areAllAreasThatCanBeWritten)
{
    std::vector<int> seen(40);
    for (const WriteRow &row : rows)
        ++seen[std::size_t(row.area)];
    for (int area = 0; area < 40; ++area) {
        const bool contact = area >= AREA_T && area <= AREA_CTC;
        EXPECT_EQ(seen[std::size_t(area)], contact || area == AREA_AT ? 0 : 1) << area;
    }
}

class Writes : public OverBothLines
{
};

TEST_P(Writes, ofContactsAreNotTaken)
{
    begin(GetParam());
    for (const int area : {AREA_T, AREA_C, AREA_CTH, AREA_CTC})
        EXPECT_EQ(writeValue(area, "0", "01", 1), 0) << area;
    EXPECT_EQ(exchange(), "idle");
}

// A contact that a host queues directly has no command: nothing goes out, so nothing comes back.
TEST_P(Writes, ofAContactQueuedByHandAreGivenUp)
{
    begin(GetParam());
    settings.maxRetries = 0;
    RW_VAR contact = write(AREA_T, 3, 1, "01");
    AddListWriteVar(&contact, 1);
    expectOpening();
    EXPECT_EQ(exchange(briefMs), "(empty) -> (nothing) = 46");
    EXPECT_EQ(takeOtherLines(), Lines{"write default"});
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("T3"), "0,0000000000,0000000000");
    EXPECT_EQ(exchange(), "idle");
}

TEST_P(Writes, whichStayInTheStoreDoNotReachThePlc)
{
    begin(GetParam());
    settings.commMode = 1;
    EXPECT_EQ(writeValue(AREA_DM, "100", "07 00", 1), 1);
    EXPECT_EQ(exchange(), "idle");
    EXPECT_EQ(get(AREA_DM, "100", 1), "07 00");
    EXPECT_EQ(plcGet("DM100"), "00000");
}

TEST_P(Writes, goBeforeReadsAndAreReadBack)
{
    begin(GetParam());
    plcSet("DM100=1,2");
    showScreen({shown(AREA_DM, "100", 2)});
    expectOpening();
    writeValue(AREA_DM, "101", "09 00", 1);
    EXPECT_EQ(exchange(), "WRS DM101.U 1 00009 -> OK = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(exchange(), "RDS DM100.U 2 -> 00001 00009 = 1");
    EXPECT_EQ(get(AREA_DM, "100", 2), "01 00 09 00");
}

// On purpose: the other bits of the word are those of the read before. What the PLC's program
// changes in between is lost, as with every host that has no command for a single bit of a word.
TEST_P(Writes, ofABitTakeTheOtherBitsFromTheReadBefore)
{
    begin(GetParam());
    plcSet("DM100=5");
    writeValue(AREA_DM_BIT, "100.1", "01", 1);
    expectOpening();
    EXPECT_EQ(exchange(), "RDS DM100.U 1 -> 00005 = 1");
    plcSet("DM100=256");
    EXPECT_EQ(exchange(), "WRS DM100.U 1 00007 -> OK = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM100"), "00007");
}

// On purpose: CTC is written as its current value and read as its set value.
TEST_P(Writes, ofCtcAreReadBackAsTheSetValue)
{
    begin(GetParam());
    writeValue(AREA_CTC_DWORD, "2", "70 11 01 00", 2);
    showScreen({shown(AREA_CTC_DWORD, "2", 2)});
    expectExchanges({"CR -> CC = 1", "WRS CTC2.D 1 0000070000 -> OK = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(get(AREA_CTC_DWORD, "2", 1), "70 11 01 00");
    EXPECT_EQ(exchange(), "RDS CTC2.D 1 -> 0,0000070000,0000000000 = 1");
    EXPECT_EQ(get(AREA_CTC_DWORD, "2", 1), "00 00 00 00");
}

INSTANTIATE_TEST_SUITE_P(Exchange, Writes, bothLines, nameOfWire);

// --- what a PLC may refuse ----------------------------------------------------------------------

struct DisputedRow {
    const char *name;
    QStringList refusing;
    QStringList accepting;
    int area;
    const char *address;
    const char *data;
    int count;
    const char *frame;
    const char *watched;
    const char *untouched; // and before
    const char *written;
};

// clang-format off
const std::vector<DisputedRow> disputed{
    { "At", {}, {"--at-write", "ok"}, AREA_AT, "1", "05 00 00 00", 2,
      "WRS AT1.D 1 0000000005", "AT0 3", "0000000000 0000000000 0000000000", "0000000000 0000000005 0000000000" },
    { "MinusSign", {}, {"--negative", "wrap"}, AREA_Z, "2", "FF FF FF FF", 2,
      "WRS Z2.D 1 -000000001", "Z1.D 3", "0000000000 0000000000 0000000000", "0000000000 4294967295 0000000000" },
    { "LowerCaseHex", {"--upper-only"}, {}, AREA_B, "1AF", "01", 1,
      "ST B1af", "B1A0.U 2", "00000 00000", "32768 00000" },
};
// clang-format on

class Disputed : public RowsOverBothLines<DisputedRow>
{
};

TEST_P(Disputed, isGivenUpWhereRefused)
{
    begin(wire(), row().refusing);
    const std::string frame = row().frame;
    writeValue(row().area, row().address, row().data, row().count);
    writeValue(AREA_DM, "1", "01 00", 1);
    writeValue(AREA_DM, "2", "02 00", 1, 61);
    expectOpening();
    EXPECT_EQ(exchange(), frame + " -> E1 = 0");
    EXPECT_EQ(exchange(), frame + " -> E1 = 0");
    EXPECT_EQ(takeCallbacks(), Lines()) << "it is being tried again";
    EXPECT_EQ(exchange(), frame + " -> E1 = 16");
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet(row().watched), row().untouched);
    // The owner's other write is dropped with it; that of another owner is not. The link
    // is opened again.
    expectExchanges({"CR -> CC = 1", "WRS DM2.U 1 00002 -> OK = 1", "idle"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 61 1"});
    EXPECT_EQ(plcGet("DM1 2"), "00000 00002");
}

TEST_P(Disputed, isWrittenWhereAccepted)
{
    begin(wire(), row().accepting);
    writeValue(row().area, row().address, row().data, row().count);
    expectExchanges({"CR -> CC = 1", std::string(row().frame) + " -> OK = 1", "idle"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet(row().watched), row().written);
}

INSTANTIATE_TEST_SUITE_P(Exchange, Disputed, testing::Combine(testing::ValuesIn(disputed), bothLines),
                         nameOfRowAndWire<DisputedRow>);

// On purpose: a set top bit goes out as a minus sign, and what comes back above 2147483647
// counts as 0.
TEST_P(Writes, ofASetTopBitAreReadBackAsZero)
{
    begin(GetParam(), {"--negative", "wrap"});
    writeValue(AREA_Z, "2", "FF FF FF FF", 2);
    showScreen({shown(AREA_Z, "2", 2)});
    expectExchanges({"CR -> CC = 1", "WRS Z2.D 1 -000000001 -> OK = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(get(AREA_Z, "2", 1), "FF FF FF FF");
    EXPECT_EQ(exchange(), "RDS Z2.D 1 -> 4294967295 = 1");
    EXPECT_EQ(get(AREA_Z, "2", 1), "00 00 00 00");
}
} // namespace
