// SPDX-License-Identifier: MIT
// Writes from a screen: cut into requests for the PLC, or put straight into the store.
#include "list_test.h"

#include <limits>

namespace
{
constexpr auto rowName = [](const auto &row) { return std::string(row.param.name); };

class HostWrite : public ListTest
{
protected:
    // A write of screen 3 / 7; the result of the call.
    static int set(int area, const char *text, int count, const QByteArray &data, int station = 1)
    {
        return SetRegisterData("extra", area, text, station, data, count, 3, 7);
    }

    static int set(int area, const char *text, int count, const char *dataHex, int station = 1)
    {
        return set(area, text, count, bytes(dataHex), station);
    }

    static std::string pending() { return entriesWithData(PLC_driver.writeList); }

    // Bytes that repeat only after 251, so that a piece cut at the wrong place shows.
    static QByteArray pattern(int length)
    {
        QByteArray data;
        for (int i = 0; i < length; ++i)
            data.append(char(i % 251));
        return data;
    }

    static void fillWriteList(int entries)
    {
        for (int i = 0; i < entries; ++i)
            PLC_driver.writeList.append(write(AREA_CM, i, 1, "00 00"));
    }
};

// --- each of the 40 areas, sent to the PLC ---

struct AreaRow {
    const char *name;
    int area;
    const char *text;
    int count;
    const char *pending; // of the data 11 22 33 44 55 66 77 88
    int result;
};

class WriteOfArea : public HostWrite, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(WriteOfArea, isQueuedUnderItsOwnCode)
{
    const AreaRow &row = GetParam();
    EXPECT_EQ(set(row.area, row.text, row.count, "11 22 33 44 55 66 77 88"), row.result);
    EXPECT_EQ(pending(), row.pending);
    EXPECT_TRUE(DataStorage.isEmpty()) << "the store follows when the PLC is asked";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, WriteOfArea, testing::Values(
    AreaRow{"R",          0, "1015",  2, "0 175 +1 [11], 0 176 +1 [22]", 2},
    AreaRow{"B",          1, "1F3",   2, "1 499 +1 [11], 1 500 +1 [22]", 2},
    AreaRow{"MR",         2, "105",   2, "2 21 +1 [11], 2 22 +1 [22]", 2},
    AreaRow{"LR",         3, "5",     2, "3 5 +1 [11], 3 6 +1 [22]", 2},
    AreaRow{"CR",         4, "7915",  2, "4 1279 +1 [11], 4 1280 +1 [22]", 2},
    AreaRow{"VB",         5, "F",     2, "5 15 +1 [11], 5 16 +1 [22]", 2},
    AreaRow{"T",          6, "3",     2, "", 0},
    AreaRow{"C",          7, "3",     2, "", 0},
    AreaRow{"CTH",        8, "1",     2, "", 0},
    AreaRow{"CTC",        9, "1",     2, "", 0},
    AreaRow{"DM",        10, "100",   2, "10 100 +2 [11 22 33 44]", 1},
    AreaRow{"EM",        11, "100",   2, "11 100 +2 [11 22 33 44]", 1},
    AreaRow{"FM",        12, "100",   2, "12 100 +2 [11 22 33 44]", 1},
    AreaRow{"ZF",        13, "100",   2, "13 100 +2 [11 22 33 44]", 1},
    AreaRow{"W",         14, "100",   2, "14 256 +2 [11 22 33 44]", 1},
    AreaRow{"TM",        15, "100",   2, "15 100 +2 [11 22 33 44]", 1},
    AreaRow{"Z",         16, "3",     3, "16 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"T_dword",   17, "3",     3, "17 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"TS",        18, "3",     3, "18 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"C_dword",   19, "3",     3, "19 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"CS",        20, "3",     3, "20 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"CTH_dword", 21, "0",     3, "21 0 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"CTC_dword", 22, "0",     3, "22 0 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"AT",        23, "3",     3, "23 3 +2 [11 22 33 44 55 66 77 88]", 1},
    AreaRow{"CM",        24, "100",   2, "24 100 +2 [11 22 33 44]", 1},
    AreaRow{"VM",        25, "100",   2, "25 100 +2 [11 22 33 44]", 1},
    AreaRow{"R_word",    26, "1015",  2, "26 10 +2 [11 22 33 44]", 1},
    AreaRow{"B_word",    27, "1F3",   2, "27 31 +2 [11 22 33 44]", 1},
    AreaRow{"MR_word",   28, "1000",  2, "28 10 +2 [11 22 33 44]", 1},
    AreaRow{"LR_word",   29, "1000",  2, "29 10 +2 [11 22 33 44]", 1},
    AreaRow{"CR_word",   30, "1000",  2, "30 10 +2 [11 22 33 44]", 1},
    AreaRow{"VB_word",   31, "A0",    2, "31 10 +2 [11 22 33 44]", 1},
    AreaRow{"DM_bit",    32, "10.15", 2, "32 175 +1 [11], 32 176 +1 [22]", 2},
    AreaRow{"EM_bit",    33, "10.0",  2, "33 160 +1 [11], 33 161 +1 [22]", 2},
    AreaRow{"FM_bit",    34, "10.0",  2, "34 160 +1 [11], 34 161 +1 [22]", 2},
    AreaRow{"ZF_bit",    35, "10.0",  2, "35 160 +1 [11], 35 161 +1 [22]", 2},
    AreaRow{"W_bit",     36, "10.0",  2, "36 256 +1 [11], 36 257 +1 [22]", 2},
    AreaRow{"TM_bit",    37, "10.0",  2, "37 160 +1 [11], 37 161 +1 [22]", 2},
    AreaRow{"CM_bit",    38, "10.0",  2, "38 160 +1 [11], 38 161 +1 [22]", 2},
    AreaRow{"VM_bit",    39, "10.0",  2, "39 160 +1 [11], 39 161 +1 [22]", 2}), rowName);

// --- addresses that nothing can be done with ---

struct UnusableRow {
    const char *name;
    int area;
    const char *text;
    Lines lines;
};

class UnusableWrite : public HostWrite, public testing::WithParamInterface<UnusableRow>
{
};

TEST_P(UnusableWrite, doesNothingAndGives0)
{
    settings.maxBlockLength = 200;
    PLC_driver.lastFailed = 1;
    for (const int mode : {2, 1}) {
        settings.commMode = mode;
        EXPECT_EQ(set(GetParam().area, GetParam().text, 1, "01 00 00 00"), 0);
        EXPECT_EQ(takeLines(), GetParam().lines);
    }
    EXPECT_EQ(pending(), "");
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_EQ(settings.maxBlockLength, 200);
}

INSTANTIATE_TEST_SUITE_P(Address, UnusableWrite, testing::Values(
    UnusableRow{"letters",     AREA_DM,     "x",   {"StringAddressToInt 10 \"x\" "}},
    UnusableRow{"empty",       AREA_Z,      "",    {"StringAddressToInt 16 \"\" "}},
    UnusableRow{"relay",       AREA_R,      "1x",  {"StringAddressToInt 0 \"001x\" "}},
    UnusableRow{"bit",         AREA_DM_BIT, "100", {"StringAddressToInt 32 \"100\" "}},
    UnusableRow{"minus1",      AREA_DM,     "-1",  {"StringAddressToInt 10 \"-1\" "}},
    UnusableRow{"minus5",      AREA_DM,     "-5",  {}},
    UnusableRow{"area40",      40,          "1",   {"StringAddressToInt 40 \"1\" "}},
    UnusableRow{"area255",     255,         "1",   {"StringAddressToInt 255 \"1\" "}},
    UnusableRow{"areaMinus1",  -1,          "1",   {"StringAddressToInt -1 \"1\" "}}), rowName);

// --- pieces ---

struct PieceRow {
    const char *name;
    int maxBlockLength, area;
    const char *text;
    int count;
    const char *pending;
    int result;
    int maxBlockLengthAfter;
};

class WritePieces : public HostWrite, public testing::WithParamInterface<PieceRow>
{
};

TEST_P(WritePieces, holdAtMostABlock)
{
    const PieceRow &row = GetParam();
    settings.maxBlockLength = row.maxBlockLength;
    EXPECT_EQ(set(row.area, row.text, row.count, pattern(1200)), row.result);
    EXPECT_EQ(pending(), row.pending);
    EXPECT_EQ(settings.maxBlockLength, row.maxBlockLengthAfter);
}

// The pattern counts up from 00.
INSTANTIATE_TEST_SUITE_P(Of, WritePieces, testing::Values(
    PieceRow{"oneWord",            64, AREA_DM, "100", 1, "10 100 +1 [00 01]", 1, 64},
    PieceRow{"aWholeBlock",         2, AREA_DM, "100", 2, "10 100 +2 [00 01 02 03]", 1, 2},
    PieceRow{"aBlockAndOne",        2, AREA_DM, "100", 3, "10 100 +2 [00 01 02 03], 10 102 +1 [04 05]", 2, 2},
    PieceRow{"twoWholeBlocks",      2, AREA_EM, "100", 4, "11 100 +2 [00 01 02 03], 11 102 +2 [04 05 06 07]", 2, 2},
    PieceRow{"blocksOf1",           1, AREA_DM, "100", 2, "10 100 +1 [00 01], 10 101 +1 [02 03]", 2, 1},
    PieceRow{"length0Is1",          0, AREA_DM, "100", 2, "10 100 +1 [00 01], 10 101 +1 [02 03]", 2, 0},
    PieceRow{"lengthMinus5Is1",    -5, AREA_DM, "100", 2, "10 100 +1 [00 01], 10 101 +1 [02 03]", 2, -5},
    PieceRow{"length127",         127, AREA_DM, "0", 128, "10 0 +127 [254 bytes], 10 127 +1 [03 04]", 2, 127},
    PieceRow{"length128",         128, AREA_DM, "0", 129, "10 0 +128 [256 bytes], 10 128 +1 [05 06]", 2, 128},
    PieceRow{"length129Is128",    129, AREA_DM, "0", 129, "10 0 +128 [256 bytes], 10 128 +1 [05 06]", 2, 128},
    PieceRow{"length200Is128",    200, AREA_DM, "100", 300,
             "10 100 +128 [256 bytes], 10 228 +128 [256 bytes], 10 356 +44 [88 bytes]", 3, 128},
    PieceRow{"relayChannels",       2, AREA_R_WORD, "1000", 3, "26 10 +2 [00 01 02 03], 26 12 +1 [04 05]", 2, 2},
    PieceRow{"oneRegister",        64, AREA_Z, "0", 1, "16 0 +1 [00 01 02 03]", 1, 64},
    PieceRow{"twoRegisters",       64, AREA_Z, "0", 2, "16 0 +1 [00 01 02 03]", 1, 64},
    PieceRow{"threeRegisters",     64, AREA_Z, "0", 3, "16 0 +2 [00 01 02 03 04 05 06 07]", 1, 64},
    PieceRow{"doubleWordsOf1",      1, AREA_TS, "7", 4, "18 7 +1 [00 01 02 03], 18 8 +1 [04 05 06 07]", 2, 1},
    PieceRow{"doubleWordsLength0",  0, AREA_TS, "7", 4, "18 7 +1 [00 01 02 03], 18 8 +1 [04 05 06 07]", 2, 0},
    PieceRow{"doubleWordsOf2",      2, AREA_AT, "0", 5, "23 0 +2 [00 01 02 03 04 05 06 07], 23 2 +1 [08 09 0A 0B]", 2, 2},
    PieceRow{"wholeBlockOfDoubles", 2, AREA_AT, "0", 4, "23 0 +2 [00 01 02 03 04 05 06 07]", 1, 2},
    PieceRow{"doubleWordsCapped", 200, AREA_Z, "0", 300, "16 0 +128 [512 bytes], 16 128 +22 [88 bytes]", 2, 128},
    PieceRow{"bitsHaveNoBlocks",   64, AREA_R, "1014", 3, "0 174 +1 [00], 0 175 +1 [01], 0 176 +1 [02]", 3, 64},
    PieceRow{"bitsCapTheLength",  200, AREA_R, "5", 1, "0 5 +1 [00]", 1, 128},
    PieceRow{"bitsLength0",         0, AREA_R, "5", 1, "0 5 +1 [00]", 1, 0},
    PieceRow{"noWords",            64, AREA_DM, "100", 0, "", 0, 64},
    PieceRow{"noWordsCapped",     200, AREA_DM, "100", 0, "", 0, 128},
    PieceRow{"minusOneWord",       64, AREA_DM, "100", -1, "", 0, 64},
    PieceRow{"minusABlock",        64, AREA_DM, "100", -64, "", 0, 64},
    PieceRow{"farBelowZero",       64, AREA_DM, "100", -65, "", 0, 64},
    PieceRow{"minusCapped",       129, AREA_DM, "100", -1, "", 0, 128},
    PieceRow{"noRegisters",        64, AREA_Z, "0", 0, "", 0, 64},
    PieceRow{"minus1Register",     64, AREA_Z, "0", -1, "", 0, 64},
    PieceRow{"minus3Registers",    64, AREA_Z, "0", -3, "", 0, 64},
    PieceRow{"minus300Registers",  64, AREA_Z, "0", -300, "", 0, 64},
    PieceRow{"noBits",             64, AREA_R, "5", 0, "", 0, 64},
    PieceRow{"noBitsCapped",      200, AREA_R, "5", 0, "", 0, 128},
    PieceRow{"minusOneBit",        64, AREA_DM_BIT, "1.5", -1, "", 0, 64},
    PieceRow{"contactsCapped",    200, AREA_T, "5", 1, "", 0, 128}), rowName);

// --- data that does not fit the count ---

struct DataRow {
    const char *name;
    int area;
    const char *text;
    int count;
    const char *data;
    const char *pending; // pieces of 2
};

class WriteData : public HostWrite, public testing::WithParamInterface<DataRow>
{
};

TEST_P(WriteData, isPaddedWithZerosOrCutToTheCount)
{
    const DataRow &row = GetParam();
    settings.maxBlockLength = 2;
    set(row.area, row.text, row.count, row.data);
    EXPECT_EQ(pending(), row.pending);
}

INSTANTIATE_TEST_SUITE_P(Given, WriteData, testing::Values(
    DataRow{"wordsFit",          AREA_DM, "0", 2, "11 22 33 44", "10 0 +2 [11 22 33 44]"},
    DataRow{"wordsTooLong",      AREA_DM, "0", 1, "11 22 33 44", "10 0 +1 [11 22]"},
    DataRow{"wordsTooShort",     AREA_DM, "0", 2, "11 22", "10 0 +2 [11 22 00 00]"},
    DataRow{"halfAWord",         AREA_DM, "0", 2, "11 22 33", "10 0 +2 [11 22 33 00]"},
    DataRow{"noWords",           AREA_DM, "0", 2, "", "10 0 +2 [00 00 00 00]"},
    DataRow{"endsBeforeAPiece",  AREA_DM, "0", 3, "11 22", "10 0 +2 [11 22 00 00], 10 2 +1 [00 00]"},
    DataRow{"endsInsideAPiece",  AREA_DM, "0", 4, "11 22 33 44 55", "10 0 +2 [11 22 33 44], 10 2 +2 [55 00 00 00]"},
    DataRow{"doublesTooShort",   AREA_Z, "0", 3, "11 22 33 44", "16 0 +2 [11 22 33 44 00 00 00 00]"},
    DataRow{"halfADouble",       AREA_Z, "0", 1, "11 22", "16 0 +1 [11 22 00 00]"},
    DataRow{"oddRegisters",      AREA_Z, "0", 3, "11 22 33 44 55 66", "16 0 +2 [11 22 33 44 55 66 00 00]"},
    DataRow{"doublesTooLong",    AREA_Z, "0", 2, "11 22 33 44 55 66 77 88", "16 0 +1 [11 22 33 44]"},
    DataRow{"noDoubles",         AREA_TS, "0", 5, "", "18 0 +2 [00 00 00 00 00 00 00 00], 18 2 +1 [00 00 00 00]"},
    DataRow{"bitsTooShort",      AREA_R, "0", 3, "01 01", "0 0 +1 [01], 0 1 +1 [01], 0 2 +1 [00]"},
    DataRow{"bitsTooLong",       AREA_R, "0", 1, "01 01", "0 0 +1 [01]"},
    DataRow{"noBits",            AREA_DM_BIT, "0.0", 2, "", "32 0 +1 [00], 32 1 +1 [00]"},
    DataRow{"bitsAreKeptAsTheyAre", AREA_R, "0", 2, "FF 80", "0 0 +1 [FF], 0 1 +1 [80]"}), rowName);
// clang-format on

// No device reaches as far as int does: what would lie behind it is dropped, never wrapped to
// a negative address.
TEST_F(HostWrite, aWriteEndsWithTheHighestAddress)
{
    settings.maxBlockLength = 2;
    EXPECT_EQ(set(AREA_R, "13421772715", 3, "01 02 03"), 1);
    EXPECT_EQ(set(AREA_DM, "2147483646", 4, "11 22 33 44 55 66 77 88"), 2);
    EXPECT_EQ(pending(), "0 2147483647 +1 [01], 10 2147483646 +2 [11 22 33 44]");
}

TEST_F(HostWrite, everyPieceHasItsOwnPartOfTheData)
{
    settings.maxBlockLength = 200;
    const QByteArray data = pattern(600);
    EXPECT_EQ(set(AREA_DM, "100", 300, data), 3);
    ASSERT_EQ(PLC_driver.writeList.size(), 3);
    EXPECT_EQ(PLC_driver.writeList.at(0).data, data.mid(0, 256));
    EXPECT_EQ(PLC_driver.writeList.at(1).data, data.mid(256, 256));
    EXPECT_EQ(PLC_driver.writeList.at(2).data, data.mid(512, 88));
    EXPECT_EQ(data, pattern(600));
}

TEST_F(HostWrite, everyPieceOfDoubleWordsHasItsOwnPartOfTheData)
{
    settings.maxBlockLength = 128;
    const QByteArray data = pattern(600);
    EXPECT_EQ(set(AREA_Z, "0", 300, data), 2);
    ASSERT_EQ(PLC_driver.writeList.size(), 2);
    EXPECT_EQ(PLC_driver.writeList.at(0).data, data.mid(0, 512));
    EXPECT_EQ(PLC_driver.writeList.at(1).data, data.mid(512, 88));
}

// --- the record of a piece ---

class WriteRecord : public HostWrite, public testing::WithParamInterface<std::pair<int, const char *>>
{
};

TEST_P(WriteRecord, namesTheRequesterTheLinkAndTheStation)
{
    settings.maxBlockLength = 2;
    settings.remoteMode = 31;
    settings.localLinkId = 32;
    const int result =
        SetRegisterData("extra", GetParam().first, GetParam().second, 33, pattern(12), 6, 34, 35);
    EXPECT_EQ(result, PLC_driver.writeList.size());
    ASSERT_GE(PLC_driver.writeList.size(), 2);
    for (int i = 0; i < PLC_driver.writeList.size(); ++i) {
        const RW_VAR &var = PLC_driver.writeList.at(i);
        EXPECT_EQ(var.ownerType, 34);
        EXPECT_EQ(var.ownerId, 35);
        EXPECT_EQ(var.accessMode, 1);
        EXPECT_EQ(var.field3, 31);
        EXPECT_EQ(var.linkId, 32);
        EXPECT_EQ(var.result, 0);
        EXPECT_EQ(var.extraText, "extra");
        EXPECT_EQ(var.addressText, GetParam().second);
        EXPECT_EQ(var.area, GetParam().first);
        EXPECT_EQ(var.station, 33);
        EXPECT_EQ(var.preReadMark, 0);
        EXPECT_EQ(var.field13, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, WriteRecord,
                         testing::Values(std::make_pair(AREA_R, "1015"), std::make_pair(AREA_DM, "100"),
                                         std::make_pair(AREA_TS, "7"), std::make_pair(AREA_R_WORD, "1000"),
                                         std::make_pair(AREA_W_BIT, "1A.3")),
                         [](const auto &row) { return "area" + std::to_string(row.param.first); });

TEST_F(HostWrite, withoutMultiStationTheDefaultStationIsUsed)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    PLC_driver.lastFailed = 1;
    set(AREA_DM, "100", 1, "11 22", 9);
    EXPECT_EQ(PLC_driver.writeList.at(0).station, 4);
    EXPECT_EQ(image(4, 10, 200, 2), "11 22");
    EXPECT_EQ(image(9, 10), "absent");
}

TEST_F(HostWrite, anyMultiStationButZeroKeepsTheStation)
{
    settings.defaultStation = 4;
    settings.multiStation = -1;
    set(AREA_DM, "100", 1, "11 22", 9);
    settings.multiStation = 2;
    set(AREA_DM, "100", 1, "11 22", 8);
    EXPECT_EQ(PLC_driver.writeList.at(0).station, 9);
    EXPECT_EQ(PLC_driver.writeList.at(1).station, 8);
}

// --- what is pending already ---

TEST_F(HostWrite, resultIsTheLengthOfTheWriteList)
{
    fillWriteList(5);
    EXPECT_EQ(set(AREA_DM, "100", 1, "11 22"), 6);
    EXPECT_EQ(set(AREA_R, "0", 3, "01 01 01"), 9);
    EXPECT_EQ(set(AREA_DM, "100", 0, ""), 0);
}

TEST_F(HostWrite, newerValuesReplacePendingOnesButNeverTheHead)
{
    EXPECT_EQ(set(AREA_R, "0", 2, "01 01"), 2);
    EXPECT_EQ(set(AREA_R, "0", 2, "00 00"), 3);
    EXPECT_EQ(pending(), "0 0 +1 [01], 0 1 +1 [00], 0 0 +1 [00]");
    EXPECT_EQ(set(AREA_R, "0", 2, "05 06"), 3);
    EXPECT_EQ(pending(), "0 0 +1 [01], 0 1 +1 [06], 0 0 +1 [05]");
}

TEST_F(HostWrite, aFullListDropsTheRest)
{
    fillWriteList(1023);
    EXPECT_EQ(set(AREA_R, "1015", 3, "01 01 01"), 1024);
    EXPECT_EQ(PLC_driver.writeList.size(), 1024);
    EXPECT_EQ(PLC_driver.writeList.last().address, 175);
}

TEST_F(HostWrite, aFullListDoesNotKeepValuesOutOfTheStore)
{
    PLC_driver.lastFailed = 1;
    fillWriteList(1024);
    EXPECT_EQ(set(AREA_DM, "5", 1, "11 22"), 1024);
    EXPECT_EQ(PLC_driver.writeList.last().area, AREA_CM);
    EXPECT_EQ(image(1, 10, 10, 2), "11 22");
}

TEST_F(HostWrite, textsAndDataOfTheCallerStayAsTheyAre)
{
    const QString extra = "extra";
    const QString address = "1x";
    const QByteArray data = bytes("11 22");
    SetRegisterData(extra, AREA_R, address, 1, data, 3, 3, 7);
    takeLines();
    SetRegisterData(extra, AREA_DM_BIT, "1.5", 1, data, 3, 3, 7);
    EXPECT_EQ(extra, "extra");
    EXPECT_EQ(address, "1x");
    EXPECT_EQ(data, bytes("11 22"));
}

// --- write-through while the last request has failed ---

struct StoreRow {
    const char *name;
    int area;
    const char *text;
    int count;
    int key, first, length;
    const char *stored; // of the data 01 00 01 FE 05 06 07 08
};

class WriteThroughAfterFailure : public HostWrite, public testing::WithParamInterface<StoreRow>
{
};

TEST_P(WriteThroughAfterFailure, reachesTheStoreWhileTheLastRequestHasFailed)
{
    const StoreRow &row = GetParam();
    settings.maxBlockLength = 1;
    PLC_driver.lastFailed = 1;
    EXPECT_GT(set(row.area, row.text, row.count, "01 00 01 FE 05 06 07 08", 6), 0);
    EXPECT_EQ(image(6, row.key, row.first, row.length), row.stored);
    EXPECT_EQ(DataStorage.keys(), QList<int>{6});
    EXPECT_EQ(DataStorage.value(6).keys(), QList<int>{row.key});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Of, WriteThroughAfterFailure, testing::Values(
    StoreRow{"R",         AREA_R,         "1012",  3,  0, 21, 1, "50"}, // bits 172 and 174
    StoreRow{"VB",        AREA_VB,        "AE",    3,  5, 21, 2, "40 01"}, // bits 174 and 176
    StoreRow{"DM",        AREA_DM,        "5",     2, 10, 10, 4, "01 00 01 FE"},
    StoreRow{"VM",        AREA_VM,        "0",     4, 25,  0, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"R_word",    AREA_R_WORD,    "500",   2,  0, 10, 4, "01 00 01 FE"},
    StoreRow{"Z",         AREA_Z,         "2",     3, 16,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"T_dword",   AREA_T_DWORD,   "2",     4, 17,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"TS",        AREA_TS,        "2",     2, 18,  8, 4, "01 00 01 FE"},
    StoreRow{"C_dword",   AREA_C_DWORD,   "2",     2, 19,  8, 4, "01 00 01 FE"},
    StoreRow{"CS",        AREA_CS,        "2",     2, 20,  8, 4, "01 00 01 FE"},
    StoreRow{"CTH_dword", AREA_CTH_DWORD, "1",     2, 21,  4, 4, "01 00 01 FE"},
    StoreRow{"CTC_dword", AREA_CTC_DWORD, "1",     2, 22,  4, 4, "01 00 01 FE"},
    StoreRow{"DM_bit",    AREA_DM_BIT,    "10.15", 3, 10, 21, 2, "80 02"}, // bits 175 and 177
    StoreRow{"W_bit",     AREA_W_BIT,     "A.15",  1, 14, 21, 1, "80"}), rowName);
// clang-format on

TEST_F(HostWrite, writeThroughPadsShortDataWithZeros)
{
    PLC_driver.lastFailed = 1;
    DataStorage[1][10] = bytes("FF FF FF FF FF FF FF FF");
    DataStorage[1][0] = bytes("FF FF");
    set(AREA_DM, "0", 3, "11 22 33");
    EXPECT_EQ(image(1, 10), "11 22 33 00 00 00 FF FF");
    set(AREA_R, "0", 4, "01");
    EXPECT_EQ(image(1, 0), "F1 FF");
}

TEST_F(HostWrite, refusedWritesAreNotWrittenThrough)
{
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(set(AREA_DM, "0", 0, "11 22"), 0);
    EXPECT_EQ(set(AREA_T, "0", 1, "01"), 0);
    EXPECT_EQ(set(AREA_CTH, "0", 1, "01"), 0);
    EXPECT_TRUE(DataStorage.isEmpty());
}

// --- writes that stay in the store ---

class LocalWrite : public HostWrite, public testing::WithParamInterface<StoreRow>
{
};

TEST_P(LocalWrite, changesTheStoreAndQueuesNothing)
{
    const StoreRow &row = GetParam();
    settings.commMode = 1;
    settings.maxBlockLength = 200;
    EXPECT_EQ(set(row.area, row.text, row.count, "01 00 01 FE 05 06 07 08", 6), 1);
    EXPECT_EQ(image(6, row.key, row.first, row.length), row.stored);
    EXPECT_EQ(DataStorage.keys(), QList<int>{6});
    EXPECT_EQ(DataStorage.value(6).keys(), QList<int>{row.key});
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(settings.maxBlockLength, 200);
}

// Bits 172 and 174 set, 173 clear; words from 5 on; double words from 2 on, as many as
// the count says.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, LocalWrite, testing::Values(
    StoreRow{"R",          0, "1012",  3,  0, 21, 1, "50"},
    StoreRow{"B",          1, "AC",    3,  1, 21, 1, "50"},
    StoreRow{"MR",         2, "1012",  3,  2, 21, 1, "50"},
    StoreRow{"LR",         3, "1012",  3,  3, 21, 1, "50"},
    StoreRow{"CR",         4, "1012",  3,  4, 21, 1, "50"},
    StoreRow{"VB",         5, "AC",    3,  5, 21, 1, "50"},
    StoreRow{"T",          6, "3",     4,  6,  3, 4, "01 00 01 00"},
    StoreRow{"C",          7, "3",     4,  7,  3, 4, "01 00 01 00"},
    StoreRow{"DM",        10, "5",     2, 10, 10, 4, "01 00 01 FE"},
    StoreRow{"EM",        11, "5",     2, 11, 10, 4, "01 00 01 FE"},
    StoreRow{"FM",        12, "5",     2, 12, 10, 4, "01 00 01 FE"},
    StoreRow{"ZF",        13, "5",     2, 13, 10, 4, "01 00 01 FE"},
    StoreRow{"W",         14, "5",     2, 14, 10, 4, "01 00 01 FE"},
    StoreRow{"TM",        15, "5",     2, 15, 10, 4, "01 00 01 FE"},
    StoreRow{"Z",         16, "2",     2, 16,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"T_dword",   17, "2",     2, 17,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"TS",        18, "2",     2, 18,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"C_dword",   19, "2",     2, 19,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"CS",        20, "2",     2, 20,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"CTH_dword", 21, "2",     2, 21,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"CTC_dword", 22, "2",     2, 22,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"AT",        23, "2",     2, 23,  8, 8, "01 00 01 FE 05 06 07 08"},
    StoreRow{"CM",        24, "5",     2, 24, 10, 4, "01 00 01 FE"},
    StoreRow{"VM",        25, "5",     2, 25, 10, 4, "01 00 01 FE"},
    StoreRow{"R_word",    26, "500",   2,  0, 10, 4, "01 00 01 FE"},
    StoreRow{"B_word",    27, "50",    2,  1, 10, 4, "01 00 01 FE"},
    StoreRow{"MR_word",   28, "500",   2,  2, 10, 4, "01 00 01 FE"},
    StoreRow{"LR_word",   29, "500",   2,  3, 10, 4, "01 00 01 FE"},
    StoreRow{"CR_word",   30, "500",   2,  4, 10, 4, "01 00 01 FE"},
    StoreRow{"VB_word",   31, "50",    2,  5, 10, 4, "01 00 01 FE"},
    StoreRow{"DM_bit",    32, "10.12", 3, 10, 21, 1, "50"},
    StoreRow{"EM_bit",    33, "10.12", 3, 11, 21, 1, "50"},
    StoreRow{"FM_bit",    34, "10.12", 3, 12, 21, 1, "50"},
    StoreRow{"ZF_bit",    35, "10.12", 3, 13, 21, 1, "50"},
    StoreRow{"W_bit",     36, "A.12",  3, 14, 21, 1, "50"},
    StoreRow{"TM_bit",    37, "10.12", 3, 15, 21, 1, "50"},
    StoreRow{"CM_bit",    38, "10.12", 3, 24, 21, 1, "50"},
    StoreRow{"VM_bit",    39, "10.12", 3, 25, 21, 1, "50"}), rowName);
// clang-format on

TEST_F(HostWrite, contactsOfHighSpeedCountersCannotEvenBeWrittenLocally)
{
    settings.commMode = 1;
    EXPECT_EQ(set(AREA_CTH, "3", 1, "01", 6), 1);
    EXPECT_EQ(takeLines(), Lines{"WriteDataToLocal default 6 8 3"});
    EXPECT_EQ(set(AREA_CTC, "4", 1, "01", 6), 1);
    EXPECT_EQ(takeLines(), Lines{"WriteDataToLocal default 6 9 4"});
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_F(HostWrite, onlyCommunicationMode2SendsToThePlc)
{
    for (const int mode : {0, 1, 3, -2, std::numeric_limits<int>::max()}) {
        settings.commMode = mode;
        EXPECT_EQ(set(AREA_DM, "0", 1, "11 22"), 1) << mode;
    }
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(image(1, 10), "11 22");
}

TEST_F(HostWrite, aLocalWriteLongerThanABlockIsWrittenWhole)
{
    settings.commMode = 1;
    settings.maxBlockLength = 2;
    EXPECT_EQ(set(AREA_DM, "0", 5, pattern(10)), 1);
    EXPECT_EQ(image(1, 10), "00 01 02 03 04 05 06 07 08 09");
}

TEST_F(HostWrite, aLocalWriteTakesNoMoreThanItsCount)
{
    settings.commMode = 1;
    EXPECT_EQ(set(AREA_DM, "0", 1, "11 22 33 44"), 1);
    EXPECT_EQ(image(1, 10), "11 22");
}

// Screens count double words in registers; a write that stays local takes the count as elements
// all the same.
TEST_F(HostWrite, aLocalWriteOfDoubleWordsLeavesElementsThatWereNotGiven)
{
    settings.commMode = 1;
    DataStorage[1][16] = QByteArray(16, char(0xFF));
    EXPECT_EQ(set(AREA_Z, "0", 3, "11 22 33 44 55 66"), 1);
    EXPECT_EQ(image(1, 16), "11 22 33 44 55 66 00 00 FF FF FF FF FF FF FF FF");
}

TEST_F(HostWrite, aLocalWriteLeavesWordsThatWereNotGiven)
{
    settings.commMode = 1;
    DataStorage[1][10] = QByteArray(8, char(0xFF));
    EXPECT_EQ(set(AREA_DM, "0", 4, "11 22 33"), 1);
    EXPECT_EQ(image(1, 10), "11 22 33 00 FF FF FF FF");
}

TEST_F(HostWrite, aLocalWriteLeavesBitsAndContactsThatWereNotGiven)
{
    settings.commMode = 1;
    DataStorage[1][0] = QByteArray(2, char(0xFF));
    DataStorage[1][6] = QByteArray(3, char(0x01));
    EXPECT_EQ(set(AREA_R, "0", 4, "00"), 1);
    EXPECT_EQ(image(1, 0), "FE FF");
    EXPECT_EQ(set(AREA_T, "0", 3, "00"), 1);
    EXPECT_EQ(image(1, 6), "00 01 01");
}

TEST_F(HostWrite, aLocalWriteOfNothingChangesNothing)
{
    settings.commMode = 1;
    DataStorage[1][10] = QByteArray(4, char(0xFF));
    set(AREA_DM, "0", 0, "11 22");
    set(AREA_DM, "0", -1, "11 22");
    EXPECT_EQ(image(1, 10), "FF FF FF FF");
    EXPECT_EQ(pending(), "");
}

TEST_F(HostWrite, aLocalWriteFarPastEveryDeviceIsDropped)
{
    settings.commMode = 1;
    EXPECT_EQ(set(AREA_DM, "2147483647", 1, "11 22"), 1);
    EXPECT_EQ(DataStorage.value(1).value(10).size(), 0);
}

TEST_F(HostWrite, aLocalWriteIgnoresTheFailureFlagAndUsesTheDefaultStation)
{
    settings.commMode = 1;
    settings.multiStation = 0;
    settings.defaultStation = 4;
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(set(AREA_DM, "0", 1, "11 22", 9), 1);
    EXPECT_EQ(image(4, 10), "11 22");
    EXPECT_EQ(image(9, 10), "absent");
    EXPECT_EQ(PLC_driver.lastFailed, 1);
}

// --- settings and locks ---

TEST_F(HostWrite, doesNothingWithoutSettings)
{
    PLC_driver.comInfo = nullptr;
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(set(AREA_DM, "0", 1, "11 22"), 0);
    EXPECT_EQ(pending(), "");
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_F(HostWrite, waitsForTheListsWhenItQueues)
{
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { set(AREA_DM, "0", 1, "11 22"); }));
    EXPECT_EQ(pending(), "10 0 +1 [11 22]");
}

TEST_F(HostWrite, waitsForTheStoreWhenItWritesThere)
{
    PLC_driver.lastFailed = 1;
    EXPECT_TRUE(waitsFor(PLC_driver.storeMutex, [] { set(AREA_DM, "0", 1, "11 22"); }));
    settings.commMode = 1;
    EXPECT_TRUE(waitsFor(PLC_driver.storeMutex, [] { set(AREA_DM, "1", 1, "33 44"); }));
    EXPECT_EQ(image(1, 10), "11 22 33 44");
}

TEST_F(HostWrite, doesWithoutTheLocksItDoesNotNeed)
{
    EXPECT_TRUE(doesWithout(PLC_driver.storeMutex, [] { set(AREA_DM, "0", 1, "11 22"); }));
    settings.commMode = 1;
    EXPECT_TRUE(doesWithout(PLC_driver.listMutex, [] { set(AREA_DM, "0", 1, "33 44"); }));
}

// A count gone astray would otherwise be tried piece by piece, against a full list, for hours.
TEST_F(HostWrite, aCountGoneAstrayFillsTheListAndEnds)
{
    EXPECT_EQ(set(AREA_R, "0", 2147483647, "01"), 1024);
    EXPECT_EQ(PLC_driver.writeList.at(0).address, 0);
    EXPECT_EQ(PLC_driver.writeList.at(1023).address, 1023);
    EXPECT_EQ(set(AREA_Z, "0", 2147483647, "01"), 1024);
    EXPECT_EQ(PLC_driver.writeList.at(1023).area, AREA_R);
}

// 1022 other bits, and R 2000 behind the head: of R 0 to 2999 one more finds room, and R
// 2000 is overwritten.
TEST_F(HostWrite, piecesBehindTheFullListStillReplacePendingOnes)
{
    set(AREA_B, "0", 1022, "");
    set(AREA_R, "12500", 1, "01"); // channel 125, bit 0: bit 2000
    EXPECT_EQ(set(AREA_R, "0", 3000, ""), 1024);
    EXPECT_EQ(PLC_driver.writeList.at(1022).address, 2000);
    EXPECT_EQ(hex(PLC_driver.writeList.at(1022).data), "00");
    EXPECT_EQ(PLC_driver.writeList.at(1023).area, AREA_R);
    EXPECT_EQ(PLC_driver.writeList.at(1023).address, 0);
}

TEST_F(HostWrite, theEntryNextToTheHeadOfTheFullListIsReplacedToo)
{
    fillWriteList(1);
    set(AREA_R, "12500", 1, "01"); // channel 125, bit 0: bit 2000
    fillWriteList(1022);
    EXPECT_EQ(set(AREA_R, "0", 3000, ""), 1024);
    EXPECT_EQ(PLC_driver.writeList.at(1).address, 2000);
    EXPECT_EQ(hex(PLC_driver.writeList.at(1).data), "00");
}

// 3000 bits set, 1024 of them queued: after a failed request screens see all of them (375
// bytes of FF).
TEST_F(HostWrite, whatFindsTheListFullIsShownAfterAFailure)
{
    PLC_driver.lastFailed = 1;
    const QByteArray ones(3000, '\1');
    EXPECT_EQ(SetRegisterData(QString(), AREA_R, "0", 1, ones, 3000, 5, 50), 1024);
    EXPECT_EQ(DataStorage[1][AREA_R], QByteArray(375, '\xFF'));
}

TEST_F(HostWrite, aSingleElementBehindTheFullListIsShownAfterAFailureToo)
{
    PLC_driver.lastFailed = 1;
    fillWriteList(1024);
    EXPECT_EQ(set(AREA_R, "0", 2, "01 01"), 1024);
    EXPECT_EQ(image(1, AREA_R), "03"); // the piece that was dropped, and the one bit behind it
}

// Six words and three double words, of which the list has taken nothing: each stands where
// its address says.
TEST_F(HostWrite, wordsBehindTheFullListAreShownAtTheirAddressesAfterAFailure)
{
    PLC_driver.lastFailed = 1;
    fillWriteList(1024);
    settings.maxBlockLength = 2;
    EXPECT_EQ(set(AREA_DM, "10", 6, "01 02 03 04 05 06 07 08 09 0A 0B 0C"), 1024);
    EXPECT_EQ(image(1, AREA_DM, 16, 16), "00 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C");
    settings.maxBlockLength = 1;
    EXPECT_EQ(set(AREA_Z, "3", 6, "11 12 13 14 15 16 17 18 19 1A 1B 1C"), 1024);
    EXPECT_EQ(image(1, AREA_Z, 8, 16), "00 00 00 00 11 12 13 14 15 16 17 18 19 1A 1B 1C");
}

TEST_F(HostWrite, aCountGoneAstrayAfterAFailureZeroesWhatIsThere)
{
    PLC_driver.lastFailed = 1;
    fillWriteList(1024);
    DataStorage[1][AREA_DM] = QByteArray(12, char(0xFF));
    settings.maxBlockLength = 2;
    EXPECT_EQ(set(AREA_DM, "0", 2147483647, "34 12"), 1024);
    EXPECT_EQ(image(1, AREA_DM), "34 12 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(HostWrite, aCountGoneAstrayAfterAFailureStopsAtTheCeiling)
{
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(set(AREA_DM, "0", 2147483647, "34 12"), 1024);
    EXPECT_EQ(image(1, AREA_DM, 0, 4), "34 12 00 00");
    EXPECT_LE(DataStorage[1][AREA_DM].size(), 64 * 1024 * 1024);
}
} // namespace
