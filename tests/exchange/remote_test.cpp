// SPDX-License-Identifier: MIT
// Remote areas: binary requests, answered in the PLC's text forms. No link is opened first, and
// answers are accepted without being decoded (result 100).
#include "exchange_fixture.h"
#include "rows.h"

namespace
{
constexpr int farAway = 9; // a linkId that is not the local one

class Remote : public ExchangeTest
{
protected:
    void beginRemote(const QStringList &switches = {})
    {
        begin(Wire::Remote, switches);
        settings.remoteMode = 1;
    }

    static void remoteRead(int area, int address, int count)
    {
        RW_VAR var = variable(area, address, count, 2);
        var.linkId = farAway;
        AddListReadVar(&var);
    }

    static void remoteWrite(int area, int address, int count, const char *data, int station = 2)
    {
        RW_VAR var = write(area, address, count, data, station);
        var.linkId = farAway;
        AddListWriteVar(&var, 1);
    }

    // A turn without its frame: "OK = 100".
    std::string answered(int timeoutMs = patienceMs)
    {
        const std::string turn = exchange(timeoutMs);
        const std::size_t at = turn.find(" -> ");
        return at == std::string::npos ? turn : turn.substr(at + 4);
    }
};

// --- reads --------------------------------------------------------------------------------------

struct RemoteReadRow {
    const char *name;
    int area;
    int address;
    int count;
    const char *memory;
    const char *turn; // after the frame
};

// clang-format off
const std::vector<RemoteReadRow> readRows{
    { "R",         AREA_R,         10,     2, "R1000.U=33825,1", "33825 00001 = 100" },
    { "B",         AREA_B,         0x1A,   1, "B1A0.U=16386",    "16386 = 100" },
    { "MR",        AREA_MR,        100,    1, "MR10000.U=8196",  "08196 = 100" },
    { "LR",        AREA_LR,        999,    1, "LR99900.U=4104",  "04104 = 100" },
    { "CR",        AREA_CR,        0,      1, "CR000.U=2064",    "02064 = 100" },
    { "VB",        AREA_VB,        0xF9F,  1, "VBF9F0.U=1056",   "01056 = 100" },
    { "T",         AREA_T,         5,      2, "T5=1234,5678",    "0,0000001234,0000000000 0,0000005678,0000000000 = 100" },
    { "C",         AREA_C,         7,      1, "CS7=10",          "0,0000000000,0000000010 = 100" },
    { "DM",        AREA_DM,        100,    3, "DM100=1,2,65535", "00001 00002 65535 = 100" },
    { "EM",        AREA_EM,        65534,  1, "EM65534=4660",    "04660 = 100" },
    { "FM",        AREA_FM,        32767,  1, "FM32767=22136",   "22136 = 100" },
    { "ZF",        AREA_ZF,        524287, 1, "ZF524287=39612",  "39612 = 100" },
    { "W",         AREA_W,         0x1A,   1, "W1A=57072",       "57072 = 100" },
    { "TM",        AREA_TM,        511,    1, "TM511=258",       "00258 = 100" },
    { "Z",         AREA_Z,         11,     2, "Z11.D=3000000000,7", "3000000000 0000000007 = 100" },
    { "CTH",       AREA_CTH_DWORD, 1,      1, "CTH1=70000",      "0,0000070000,0000000000 = 100" },
    { "CTC",       AREA_CTC_DWORD, 3,      1, "CTC3=111",        "0,0000000111,0000000000 = 100" },
    { "AT",        AREA_AT,        6,      2, "AT6=1,4294967295", "0000000001 4294967295 = 100" },
    { "CM",        AREA_CM,        7599,   1, "CM7599=773",      "00773 = 100" },
    { "VM",        AREA_VM,        589823, 1, "VM589823=1029",   "01029 = 100" },
    { "RChannel",  AREA_R_WORD,    10,     2, "R1000.U=33825,1", "33825 00001 = 100" },
    { "BWord",     AREA_B_WORD,    0x1A,   1, "B1A0.U=16386",    "16386 = 100" },
    { "MRChannel", AREA_MR_WORD,   100,    1, "MR10000.U=8196",  "08196 = 100" },
    { "LRChannel", AREA_LR_WORD,   999,    1, "LR99900.U=4104",  "04104 = 100" },
    { "CRChannel", AREA_CR_WORD,   0,      1, "CR000.U=2064",    "02064 = 100" },
    { "VBWord",    AREA_VB_WORD,   0xF9F,  1, "VBF9F0.U=1056",   "01056 = 100" },
};
// clang-format on

class RemoteReadArea : public Remote, public testing::WithParamInterface<RemoteReadRow>
{
};

TEST_P(RemoteReadArea, isAcceptedWithoutDecoding)
{
    beginRemote();
    plcSet(GetParam().memory);
    remoteRead(GetParam().area, GetParam().address, GetParam().count);
    EXPECT_EQ(answered(), GetParam().turn);
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_EQ(answered(), GetParam().turn) << "it is read cyclically";
}

INSTANTIATE_TEST_SUITE_P(Exchange, RemoteReadArea, testing::ValuesIn(readRows), nameOfRow<RemoteReadRow>);

// --- writes -------------------------------------------------------------------------------------

struct RemoteWriteRow {
    const char *name;
    int area;
    int address;
    int count;
    const char *data; // and what the screen then reads
    const char *addressText;
    const char *memory;
    const char *watched;
    const char *after;
};

// clang-format off
const std::vector<RemoteWriteRow> writeRows{
    { "R",         AREA_R,         175, 3, "01 00 01",    "1015",  "R900.U=5,1,65535,6", "R900.U 4",  "00005 32769 65534 00006" },
    { "B",         AREA_B,         0x1AF, 1, "01",        "1AF",   "B190.U=5,0,6",    "B190.U 3",     "00005 32768 00006" },
    { "MR",        AREA_MR,        1600, 1, "00",         "10000", "MR9900.U=5,65535,6", "MR9900.U 3", "00005 65534 00006" },
    { "LR",        AREA_LR,        15998, 1, "01",        "99914", "LR99800.U=7,1",   "LR99800.U 2",  "00007 16385" },
    { "CR",        AREA_CR,        3,   1, "01",          "3",     "CR000.U=0,9",     "CR000.U 2",    "00008 00009" },
    { "VB",        AREA_VB,        0xF9F0, 2, "01 01",    "F9F0",  "VBF9E0.U=3,4",    "VBF9E0.U 2",   "00003 00007" },
    { "TContact",  AREA_T,         5,   1, "01",          "5",     "T4=1,2,3",        "T4 3",
      "0,0000000001,0000000000 1,0000000002,0000000000 0,0000000003,0000000000" },
    { "CContact",  AREA_C,         7,   1, "01",          "7",     "C7=4",            "C7 2", "1,0000000004,0000000000 0,0000000000,0000000000" },
    { "DM",        AREA_DM,        100, 2, "07 00 08 00", "100",   "DM99=1,2,3,4",    "DM99 4",       "00001 00007 00008 00004" },
    { "EM",        AREA_EM,        65534, 1, "FF FF",     "65534", "EM65533=5,0",     "EM65533 2",    "00005 65535" },
    { "FM",        AREA_FM,        0,   1, "00 80",       "0",     "FM0=1,2",         "FM0 2",        "32768 00002" },
    { "ZF",        AREA_ZF,        524286, 1, "34 12",    "524286", "ZF524285=1,2,3", "ZF524285 3",   "00001 04660 00003" },
    { "W",         AREA_W,         255, 1, "0A 00",       "FF",    "WFE=1,2,3",       "WFE 3",        "00001 00010 00003" },
    { "TM",        AREA_TM,        511, 1, "4D 00",       "511",   "TM510=1,2",       "TM510 2",      "00001 00077" },
    { "Z",         AREA_Z,         11,  2, "78 56 34 12 FF FF FF 7F", "11", "Z10.D=5,6,7", "Z10.D 3", "0000000005 0305419896 2147483647" },
    { "TCurrent",  AREA_T_DWORD,   5,   1, "D2 04 00 00", "5",     "TS5=20",          "T5 1",         "0,0000001234,0000000020" },
    { "TSet",      AREA_TS,        5,   1, "D2 04 00 00", "5",     "T5=20",           "T5 1",         "0,0000000020,0000001234" },
    { "CCurrent",  AREA_C_DWORD,   5,   1, "D2 04 00 00", "5",     "CS5=20",          "C5 1",         "0,0000001234,0000000020" },
    { "CSet",      AREA_CS,        5,   1, "D2 04 00 00", "5",     "C5=20",           "C5 1",         "0,0000000020,0000001234" },
    { "CTH",       AREA_CTH_DWORD, 1,   1, "70 11 01 00", "1",     "CTH0=1,2",        "CTH0 2",       "0,0000000001,0000000000 0,0000070000,0000000000" },
    { "CTC",       AREA_CTC_DWORD, 2,   1, "70 11 01 00", "2",     "CTC2=1,2",        "CTC2 2",       "0,0000070000,0000000000 0,0000000002,0000000000" },
    { "CM",        AREA_CM,        7598, 1, "01 02",      "7598",  "CM7597=1,2,3",    "CM7597 3",     "00001 00513 00003" },
    { "VM",        AREA_VM,        589823, 1, "03 02",    "589823", "VM589822=1,2",   "VM589822 2",   "00001 00515" },
    { "RChannel",  AREA_R_WORD,    10,  2, "21 84 01 00", "1000",  "R900.U=1,2,3,4",  "R900.U 4",     "00001 33825 00001 00004" },
    { "BWord",     AREA_B_WORD,    0x1A, 1, "02 40",      "1A0",   "B190.U=1,2,3",    "B190.U 3",     "00001 16386 00003" },
    { "MRChannel", AREA_MR_WORD,   100, 1, "04 20",       "10000", "MR9900.U=1,2,3",  "MR9900.U 3",   "00001 08196 00003" },
    { "LRChannel", AREA_LR_WORD,   999, 1, "08 10",       "99900", "LR99800.U=1,2",   "LR99800.U 2",  "00001 04104" },
    { "CRChannel", AREA_CR_WORD,   1,   1, "10 08",       "100",   "CR000.U=1,2,3",   "CR000.U 3",    "00001 02064 00003" },
    { "VBWord",    AREA_VB_WORD,   0xF9E, 1, "20 04",     "F9E0",  "VBF9D0.U=1,2,3",  "VBF9D0.U 3",   "00001 01056 00003" },
    { "DMBits",    AREA_DM_BIT,    1615, 2, "01 00",      "100.15", "DM99=1,5,7,3",   "DM99 4",       "00001 32773 00006 00003" },
    { "EMBit",     AREA_EM_BIT,    3200, 1, "00",         "200.0", "EM199=1,65535,3", "EM199 3",      "00001 65534 00003" },
    { "FMBit",     AREA_FM_BIT,    127, 1, "01",          "7.15",  "FM6=1,32767,3",   "FM6 3",        "00001 65535 00003" },
    { "ZFBit",     AREA_ZF_BIT,    8388600, 1, "01",      "524287.8", "ZF524286=9,0", "ZF524286 2",   "00009 00256" },
    { "WBit",      AREA_W_BIT,     430, 1, "01",          "1A.14", "W19=1,1,3",       "W19 3",        "00001 16385 00003" },
    { "TMBit",     AREA_TM_BIT,    1,   1, "00",          "0.1",   "TM0=3,4",         "TM0 2",        "00001 00004" },
    { "CMBit",     AREA_CM_BIT,    121588, 1, "01",       "7599.4", "CM7598=2,32768", "CM7598 2",     "00002 32784" },
    { "VMBit",     AREA_VM_BIT,    9437175, 1, "00",      "589823.7", "VM589822=1,255", "VM589822 2", "00001 00127" },
};
// clang-format on

class RemoteWriteArea : public Remote, public testing::WithParamInterface<RemoteWriteRow>
{
};

TEST_P(RemoteWriteArea, landsInThePlcAndIsMirrored)
{
    beginRemote();
    const RemoteWriteRow &row = GetParam();
    plcSet(row.memory);
    remoteWrite(row.area, row.address, row.count, row.data);
    EXPECT_EQ(answered(), "OK = 100");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(plcGet(row.watched), row.after);
    EXPECT_EQ(get(row.area, row.addressText, row.count, 2), row.data);
    EXPECT_EQ(exchange(), "idle");
}

INSTANTIATE_TEST_SUITE_P(Exchange, RemoteWriteArea, testing::ValuesIn(writeRows), nameOfRow<RemoteWriteRow>);

// --- frames byte by byte ------------------------------------------------------------------------

TEST_F(Remote, framesAreTakenByThePlc)
{
    beginRemote();
    plcSet("DM300=7,8");
    plcSet("AT0=5,6");
    remoteRead(AREA_DM, 300, 2);
    remoteRead(AREA_AT, 0, 2);
    remoteWrite(AREA_DM, 300, 1, "34 12");
    // 24 bytes; 18 + 5 + 1 + 9 + 2 + A + 1 + 2C + 1 + 34 + 12 = A7
    EXPECT_EQ(exchange(),
              "18 05 01 09 02 00 0A 00 00 01 2C 00 01 00 00 00 00 00 00 00 00 34 12 A7 -> OK = 100");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    // 5 + 9 + 2 + A + 1 + 2C + 2 = 49, 5 + 9 + 2 + 17 + 2 = 29
    expectExchanges({"00 05 00 09 02 00 0A 00 00 01 2C 00 02 00 00 00 00 00 00 00 00 49 -> 04660 00008 = 100",
                     "00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> "
                     "0000000005 0000000006 = 100"});
}

// The length byte wraps: 22 + 2 * 117 is 256, 22 + 2 * 128 is 278.
TEST_F(Remote, longWritesAreTakenWhole)
{
    beginRemote();
    for (const int count : {116, 117, 118, 128}) {
        EXPECT_EQ(plcAsk("reset memory"), "ok");
        std::string data, text;
        for (int i = 0; i < count; ++i) {
            data += "05 01 ";
            text += "00261 ";
        }
        remoteWrite(AREA_DM, 100, count, data.c_str());
        EXPECT_EQ(answered(), "OK = 100") << count;
        EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
        EXPECT_EQ(plcGet("DM99 " + std::to_string(count + 2)), "00000 " + text + "00000");
    }
}

// --- answers ------------------------------------------------------------------------------------

// The next read on the same line shows that the write was carried out.
TEST_F(Remote, aWriteToStation0IsCarriedOutAndNotWaitedFor)
{
    beginRemote();
    remoteRead(AREA_DM, 100, 2);
    remoteWrite(AREA_DM, 100, 1, "34 12", 0);
    EXPECT_EQ(
        exchange(),
        "18 05 01 09 00 00 0A 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 DC -> (not waited for) = 100");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(get(AREA_DM, "100", 1, 0), "34 12");
    EXPECT_EQ(answered(), "04660 00000 = 100");
    EXPECT_EQ(plcGet("DM100"), "04660");
}

TEST_F(Remote, aWrongCheckSumIsRefusedAndChangesNothing)
{
    beginRemote();
    settings.maxRetries = 1;
    plcSet("DM100=9");
    remoteWrite(AREA_DM, 100, 1, "34 12");
    line->damageNext();
    EXPECT_EQ(answered(), "E1 = 0");
    EXPECT_EQ(plcGet("DM100"), "00009");
    EXPECT_EQ(takeCallbacks(), Lines());
    EXPECT_EQ(answered(), "OK = 100") << "the frame itself was not at fault";
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(plcGet("DM100"), "04660");
}

TEST_F(Remote, aWriteThatStaysRefusedIsGivenUp)
{
    beginRemote();
    settings.maxRetries = 1;
    plcSet("DM100=9");
    remoteWrite(AREA_DM, 100, 1, "34 12");
    line->damageNext();
    EXPECT_EQ(answered(), "E1 = 0");
    line->damageNext();
    EXPECT_EQ(answered(), "E1 = 116");
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("DM100"), "00009");
    EXPECT_EQ(get(AREA_DM, "100", 1, 2), "34 12") << "mirrored before it was refused";
    EXPECT_EQ(exchange(), "idle");
}

TEST_F(Remote, anErrorAnswerToAReadIsOneOfTheWrongLength)
{
    beginRemote();
    settings.maxRetries = 0;
    remoteRead(AREA_DM, 65535, 1);
    remoteRead(AREA_DM, 0, 1);
    EXPECT_EQ(answered(), "E0 = 176");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_EQ(answered(), "00000 = 100") << "no opening comes in between";
}

TEST_F(Remote, aMissingAnswerIsWaitedForAgain)
{
    beginRemote();
    settings.maxRetries = 1;
    plcSet("DM0=3");
    remoteRead(AREA_DM, 0, 1);
    plcFault("silent cmd remote-read next 3");
    EXPECT_EQ(answered(briefMs), "(nothing) = 0");
    EXPECT_EQ(answered(briefMs), "(nothing) = 146");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_EQ(answered(briefMs), "(nothing) = 0");
    EXPECT_EQ(answered(), "00003 = 100");
}

// On purpose: unlike that of a local variable.
TEST_F(Remote, aOneShotReadNotifiesNobody)
{
    beginRemote();
    settings.maxRetries = 0;
    RW_VAR var = variable(AREA_DM, 100, 2, 2);
    var.linkId = farAway;
    AddListOnceReadVar(&var, 1);
    AddListOnceReadVar(&var, 1);
    plcSet("DM100=1,2");
    EXPECT_EQ(answered(), "00001 00002 = 100");
    EXPECT_EQ(takeCallbacks(), Lines());
    plcFault("short next 1");
    EXPECT_EQ(answered(), "00001 0000 = 176");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_EQ(exchange(), "idle");
}

TEST_F(Remote, atIsRefused)
{
    beginRemote();
    settings.maxRetries = 0;
    remoteWrite(AREA_AT, 1, 1, "05 00 00 00");
    EXPECT_EQ(answered(), "E1 = 116");
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("AT0 3"), "0000000000 0000000000 0000000000");
}

TEST_F(Remote, atIsWrittenWhereAccepted)
{
    beginRemote({"--at-write", "ok"});
    remoteWrite(AREA_AT, 1, 1, "FF FF FF FF");
    EXPECT_EQ(answered(), "OK = 100");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(plcGet("AT0 3"), "0000000000 4294967295 0000000000");
}

// The driver's store cannot hold written contacts of CTH and CTC; the request goes out anyway.
TEST_F(Remote, contactsOfHighSpeedCountersAreSentButNotMirrored)
{
    beginRemote();
    settings.maxRetries = 0;
    remoteWrite(AREA_CTC, 3, 1, "01");
    EXPECT_EQ(answered(), "OK = 100");
    EXPECT_EQ(takeOtherLines(), Lines{"WriteDataToLocal default 2 9 3"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(plcGet("CTC3"), "1,0000000000,0000000000");
    remoteWrite(AREA_CTH, 1, 1, "01");
    EXPECT_EQ(answered(), "E1 = 116");
    EXPECT_EQ(takeOtherLines(), Lines{"WriteDataToLocal default 2 8 1"});
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("CTH1"), "0,0000000000,0000000000");
    EXPECT_TRUE(DataStorage.isEmpty());
}

// --- variables of the local link in remote mode -------------------------------------------------

// On purpose: a screen's variables carry the local link. While the station is not linked,
// whatever answers them is taken for the answer to a handshake. The PLC has carried out the write
// all the same.
TEST_F(Remote, aLocalVariableOfAnUnlinkedStationMeetsTheOpening)
{
    beginRemote();
    writeValue(AREA_DM, "100", "34 12", 1);
    EXPECT_EQ(answered(), "OK = 201");
    EXPECT_EQ(plcGet("DM100"), "04660");
    EXPECT_EQ(answered(), "OK = 201") << "it stays in its list";
}

TEST_F(Remote, aLocalVariableOfALinkedStationIsDecoded)
{
    beginRemote();
    link(1);
    plcSet("DM100=1,2");
    showScreen({shown(AREA_DM, "100", 2)});
    EXPECT_EQ(answered(), "00001 00002 = 1");
    EXPECT_EQ(get(AREA_DM, "100", 2), "01 00 02 00");
}
} // namespace
