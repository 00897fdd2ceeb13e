// SPDX-License-Identifier: MIT
// Writes that show in the store at once: WriteDataToLocal.
#include "driver_test.h"

#include <limits>
#include <ostream>

namespace
{
class WriteThrough : public DriverTest
{
protected:
    static void put(int area, int address, int count, const char *dataHex, int station = 1)
    {
        RW_VAR var = write(area, address, count, dataHex, station);
        WriteDataToLocal(&var);
        EXPECT_EQ(var.data, bytes(dataHex));
    }

    // The images that hold bytes: "station/key: bytes", in the order of station and key.
    static Lines store()
    {
        Lines images;
        for (const int station : DataStorage.keys())
            for (const int key : DataStorage.value(station).keys())
                if (imageSize(station, key) > 0)
                    images.push_back(std::to_string(station) + "/" + std::to_string(key) + ": " +
                                     image(station, key));
        return images;
    }

    static qint64 imageSize(int station, int key) { return DataStorage.value(station).value(key).size(); }
};

struct WriteRow {
    const char *name;
    int area, address, count;
    const char *dataHex;
    Lines store;
    Lines lines;
};

void PrintTo(const WriteRow &row, std::ostream *out)
{
    *out << row.name;
}

std::string rowName(const testing::TestParamInfo<WriteRow> &row)
{
    return row.param.name;
}

class Written : public WriteThrough, public testing::WithParamInterface<WriteRow>
{
};

// Into an empty store.
TEST_P(Written, showsInTheStore)
{
    const WriteRow &row = GetParam();
    put(row.area, row.address, row.count, row.dataHex);
    EXPECT_EQ(store(), row.store);
    EXPECT_EQ(takeLines(), row.lines);
}

// ------------------------------------------------------------------------------------------------
// Every area: into which image, and how long it is afterwards
// -------------------------------------------------------------------------------------------------

// Two words from number 1 on.
WriteRow words(const char *name, int area, const char *stored)
{
    return WriteRow{name, area, 1, 2, "01 02 03 04", {stored}, {}};
}

// One double word, number 1.
WriteRow doubleWord(const char *name, int area, const char *stored)
{
    return WriteRow{name, area, 1, 1, "01 02 03 04", {stored}, {}};
}

// Bits 11 and 12 set: the image ends with the byte that holds them.
WriteRow bits(const char *name, int area, const char *stored)
{
    return WriteRow{name, area, 11, 2, "01 01", {stored}, {}};
}

INSTANTIATE_TEST_SUITE_P(
    Words, Written,
    testing::Values(
        words("DM", 10, "1/10: 00 00 01 02 03 04"), words("EM", 11, "1/11: 00 00 01 02 03 04"),
        words("FM", 12, "1/12: 00 00 01 02 03 04"), words("ZF", 13, "1/13: 00 00 01 02 03 04"),
        words("W", 14, "1/14: 00 00 01 02 03 04"), words("TM", 15, "1/15: 00 00 01 02 03 04"),
        words("CM", 24, "1/24: 00 00 01 02 03 04"), words("VM", 25, "1/25: 00 00 01 02 03 04"),
        words("R_word", 26, "1/0: 00 00 01 02 03 04"), words("B_word", 27, "1/1: 00 00 01 02 03 04"),
        words("MR_word", 28, "1/2: 00 00 01 02 03 04"), words("LR_word", 29, "1/3: 00 00 01 02 03 04"),
        words("CR_word", 30, "1/4: 00 00 01 02 03 04"), words("VB_word", 31, "1/5: 00 00 01 02 03 04")),
    rowName);

INSTANTIATE_TEST_SUITE_P(DoubleWords, Written,
                         testing::Values(doubleWord("Z", 16, "1/16: 00 00 00 00 01 02 03 04"),
                                         doubleWord("T_dword", 17, "1/17: 00 00 00 00 01 02 03 04"),
                                         doubleWord("TS", 18, "1/18: 00 00 00 00 01 02 03 04"),
                                         doubleWord("C_dword", 19, "1/19: 00 00 00 00 01 02 03 04"),
                                         doubleWord("CS", 20, "1/20: 00 00 00 00 01 02 03 04"),
                                         doubleWord("CTH_dword", 21, "1/21: 00 00 00 00 01 02 03 04"),
                                         doubleWord("CTC_dword", 22, "1/22: 00 00 00 00 01 02 03 04"),
                                         doubleWord("AT", 23, "1/23: 00 00 00 00 01 02 03 04")),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Bits, Written,
                         testing::Values(bits("R", 0, "1/0: 00 18"), bits("B", 1, "1/1: 00 18"),
                                         bits("MR", 2, "1/2: 00 18"), bits("LR", 3, "1/3: 00 18"),
                                         bits("CR", 4, "1/4: 00 18"), bits("VB", 5, "1/5: 00 18"),
                                         bits("DM_bit", 32, "1/10: 00 18"), bits("EM_bit", 33, "1/11: 00 18"),
                                         bits("FM_bit", 34, "1/12: 00 18"), bits("ZF_bit", 35, "1/13: 00 18"),
                                         bits("W_bit", 36, "1/14: 00 18"), bits("TM_bit", 37, "1/15: 00 18"),
                                         bits("CM_bit", 38, "1/24: 00 18"),
                                         bits("VM_bit", 39, "1/25: 00 18")),
                         rowName);

// Only the lowest bit of the byte given counts.
INSTANTIATE_TEST_SUITE_P(Contacts, Written,
                         testing::Values(WriteRow{"T", 6, 1, 4, "01 02 03 00", {"1/6: 00 01 00 01 00"}, {}},
                                         WriteRow{"C", 7, 1, 4, "FF FE 00 01", {"1/7: 00 01 00 00 01"}, {}}),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    Refused, Written,
    testing::Values(WriteRow{"CTH_contact", 8, 3, 1, "01", {}, {"WriteDataToLocal default 1 8 3"}},
                    WriteRow{"CTC_contact", 9, 3, 1, "01", {}, {"WriteDataToLocal default 1 9 3"}},
                    WriteRow{"firstAfterTheLast", 40, 3, 1, "01", {}, {"WriteDataToLocal default 1 40 3"}},
                    WriteRow{"large", 5000, 3, 1, "01", {}, {"WriteDataToLocal default 1 5000 3"}},
                    WriteRow{"minusOne", -1, -2, 1, "01", {}, {"WriteDataToLocal default 1 -1 -2"}}),
    rowName);

TEST_F(WriteThrough, aRefusedWriteLeavesTheStoreAsItIs)
{
    DataStorage[1][8] = bytes("AA");
    DataStorage[1][21] = bytes("BB");
    DataStorage[1][40] = bytes("CC");
    put(AREA_CTH, 0, 1, "01", 1);
    put(40, 0, 1, "01", 1);
    EXPECT_EQ(store(), (Lines{"1/8: AA", "1/21: BB", "1/40: CC"}));
    EXPECT_EQ(takeLines(), (Lines{"WriteDataToLocal default 1 8 0", "WriteDataToLocal default 1 40 0"}));
}

TEST_F(WriteThrough, theLineNamesTheStationOfTheVariable)
{
    put(AREA_CTC, 12, 1, "01", 31);
    EXPECT_EQ(takeLines(), Lines{"WriteDataToLocal default 31 9 12"});
}

// ------------------------------------------------------------------------------------------------
// Growth: exactly to the last byte written
// -------------------------------------------------------------------------------------------------

INSTANTIATE_TEST_SUITE_P(
    Growth, Written,
    testing::Values(
        WriteRow{"wordZero", 10, 0, 1, "01 02", {"1/10: 01 02"}, {}},
        WriteRow{"twoWordsFromFive",
                 10,
                 5,
                 2,
                 "01 00 02 00",
                 {"1/10: 00 00 00 00 00 00 00 00 00 00 01 00 02 00"},
                 {}},
        WriteRow{"bitZero", 0, 0, 1, "01", {"1/0: 01"}, {}},
        WriteRow{"bitSeven", 0, 7, 1, "01", {"1/0: 80"}, {}},
        WriteRow{"bitEight", 0, 8, 1, "01", {"1/0: 00 01"}, {}},
        WriteRow{"bitFifteen", 0, 15, 1, "01", {"1/0: 00 80"}, {}},
        WriteRow{"bitSixteen", 0, 16, 1, "01", {"1/0: 00 00 01"}, {}},
        WriteRow{"aClearedBitGrowsToo", 0, 20, 1, "00", {"1/0: 00 00 00"}, {}},
        WriteRow{"bitsAcrossBytes", 0, 6, 4, "01 00 01 01", {"1/0: 40 03"}, {}},
        WriteRow{"anyByteButZeroSets", 32, 0, 3, "02 80 FF", {"1/10: 07"}, {}},
        WriteRow{
            "twoDoubleWords", 16, 0, 2, "01 02 03 04 05 06 07 08", {"1/16: 01 02 03 04 05 06 07 08"}, {}},
        WriteRow{"moreDataThanCount", 10, 0, 1, "01 02 03 04", {"1/10: 01 02"}, {}},
        WriteRow{"countZero", 10, 3, 0, "01 02", {}, {}},
        WriteRow{"countMinusOne", 10, 3, -1, "01 02", {}, {}},
        WriteRow{"bitsCountZero", 0, 3, 0, "01", {}, {}},
        WriteRow{"contactsCountZero", 6, 3, 0, "01", {}, {}},
        WriteRow{"doubleWordsCountMinusOne", 16, 3, -1, "01 02 03 04", {}, {}}),
    rowName);

// ------------------------------------------------------------------------------------------------
// Into an image that is there already
// -------------------------------------------------------------------------------------------------

TEST_F(WriteThrough, wordsReplaceOnlyThemselves)
{
    DataStorage[1][10] = bytes("A0 A1 A2 A3 A4 A5 A6 A7");
    DataStorage[1][11] = bytes("B0 B1");
    DataStorage[2][10] = bytes("C0 C1");
    put(AREA_DM, 1, 2, "01 02 03 04");
    EXPECT_EQ(store(), (Lines{"1/10: A0 A1 01 02 03 04 A6 A7", "1/11: B0 B1", "2/10: C0 C1"}));
}

TEST_F(WriteThrough, aWordThatReachesPastTheEndGrowsTheImage)
{
    DataStorage[1][10] = bytes("A0 A1 A2");
    put(AREA_DM, 1, 2, "01 02 03 04");
    EXPECT_EQ(store(), Lines{"1/10: A0 A1 01 02 03 04"});
}

TEST_F(WriteThrough, aBitIsSetAndClearedAmongOthers)
{
    DataStorage[1][10] = QByteArray(22, '\0');
    put(AREA_DM_BIT, 175, 1, "01");
    EXPECT_EQ(image(1, 10, 20, 2), "00 80");
    put(AREA_DM_BIT, 168, 1, "01");
    EXPECT_EQ(image(1, 10, 20, 2), "00 81");
    put(AREA_DM_BIT, 175, 1, "00");
    EXPECT_EQ(image(1, 10, 20, 2), "00 01");
    put(AREA_DM_BIT, 168, 1, "00");
    EXPECT_EQ(image(1, 10, 20, 2), "00 00");
}

TEST_F(WriteThrough, clearedBitsKeepTheirNeighbours)
{
    DataStorage[1][0] = bytes("FF FF FF");
    put(AREA_R, 7, 2, "00 00");
    EXPECT_EQ(store(), Lines{"1/0: 7F FE FF"});
}

TEST_F(WriteThrough, channelsAndBitsOfARelayAreTheSameBytes)
{
    put(AREA_R_WORD, 1, 1, "0F F0");
    put(AREA_R, 16, 1, "00");
    put(AREA_R, 24, 1, "01");
    EXPECT_EQ(store(), Lines{"1/0: 00 00 0E F1"});
}

TEST_F(WriteThrough, currentAndSetValueOfATimerLieApart)
{
    put(AREA_T_DWORD, 0, 1, "01 00 00 00");
    put(AREA_TS, 0, 1, "02 00 00 00");
    put(AREA_T, 0, 1, "01");
    EXPECT_EQ(store(), (Lines{"1/6: 01", "1/17: 01 00 00 00", "1/18: 02 00 00 00"}));
}

TEST_F(WriteThrough, theStationOfTheVariableCounts)
{
    settings.multiStation = 0;
    put(AREA_DM, 0, 1, "01 02", -4);
    EXPECT_EQ(store(), Lines{"-4/10: 01 02"});
}

TEST_F(WriteThrough, itNeedsNoSettingsBlock)
{
    PLC_driver.comInfo = nullptr;
    put(AREA_DM, 0, 1, "01 02");
    EXPECT_EQ(store(), Lines{"1/10: 01 02"});
}

TEST_F(WriteThrough, withoutAVariableNothingIsDone)
{
    WriteDataToLocal(nullptr);
    EXPECT_TRUE(DataStorage.isEmpty());
}

// ------------------------------------------------------------------------------------------------
// Less data than elements
// -------------------------------------------------------------------------------------------------

INSTANTIATE_TEST_SUITE_P(
    ShortData, Written,
    testing::Values(WriteRow{"noneForWords", 10, 1, 1, "", {}, {}},
                    WriteRow{"noneForBits", 0, 1, 1, "", {}, {}},
                    WriteRow{"noneForContacts", 6, 1, 1, "", {}, {}},
                    WriteRow{"noneForDoubleWords", 16, 1, 1, "", {}, {}},
                    WriteRow{"oneOfThreeBits", 0, 0, 3, "01", {"1/0: 01"}, {}},
                    WriteRow{"oneOfThreeContacts", 6, 0, 3, "01", {"1/6: 01"}, {}},
                    WriteRow{"oneOfThreeWords", 10, 0, 3, "01 02", {"1/10: 01 02"}, {}},
                    WriteRow{"halfAWord", 10, 0, 3, "01 02 03", {"1/10: 01 02 03 00"}, {}},
                    WriteRow{"oneOfTwoDoubleWords", 16, 0, 2, "01 02 03 04", {"1/16: 01 02 03 04"}, {}},
                    WriteRow{"aByteOfADoubleWord", 16, 0, 1, "01", {"1/16: 01 00 00 00"}, {}},
                    WriteRow{"threeBytesOfTheSecondDoubleWord",
                             16,
                             0,
                             3,
                             "01 02 03 04 05 06 07",
                             {"1/16: 01 02 03 04 05 06 07 00"},
                             {}},
                    WriteRow{"highestCount", 10, 0, 2147483647, "01 02", {"1/10: 01 02"}, {}},
                    WriteRow{"highestCountOfBits", 0, 0, 2147483647, "01", {"1/0: 01"}, {}}),
    rowName);

TEST_F(WriteThrough, elementsPastTheDataKeepTheirValues)
{
    DataStorage[1][10] = bytes("A0 A1 A2 A3 A4 A5");
    DataStorage[1][16] = bytes("B0 B1 B2 B3 B4 B5 B6 B7");
    DataStorage[1][0] = bytes("FF");
    DataStorage[1][6] = bytes("01 01");
    put(AREA_DM, 0, 3, "01 02 03");
    put(AREA_Z, 0, 2, "01 02");
    put(AREA_R, 0, 3, "00");
    put(AREA_T, 0, 2, "00");
    EXPECT_EQ(store(),
              (Lines{"1/0: FE", "1/6: 00 01", "1/10: 01 02 03 00 A4 A5", "1/16: 01 02 00 00 B4 B5 B6 B7"}));
}

// ------------------------------------------------------------------------------------------------
// Elements before 0 are skipped
// -------------------------------------------------------------------------------------------------

INSTANTIATE_TEST_SUITE_P(
    BeforeZero, Written,
    testing::Values(WriteRow{"words", 10, -1, 2, "01 02 03 04", {"1/10: 03 04"}, {}},
                    WriteRow{"wordsAll", 10, -2, 2, "01 02 03 04", {}, {}},
                    WriteRow{"channels", 26, -1, 2, "01 02 03 04", {"1/0: 03 04"}, {}},
                    WriteRow{"doubleWords", 16, -1, 2, "01 02 03 04 05 06 07 08", {"1/16: 05 06 07 08"}, {}},
                    WriteRow{"contacts", 6, -2, 3, "01 01 01", {"1/6: 01"}, {}},
                    WriteRow{"bits", 0, -2, 3, "01 01 01", {"1/0: 01"}, {}},
                    // The byte of bit -1, rounded toward zero, would be byte 0.
                    WriteRow{"bitsAll", 32, -7, 7, "01 01 01 01 01 01 01", {}, {}},
                    WriteRow{"lowestWord", 10, -2147483647 - 1, 1, "01 02", {}, {}},
                    WriteRow{"lowestDoubleWord", 16, -2147483647 - 1, 1, "01 02 03 04", {}, {}},
                    WriteRow{"lowestBit", 0, -2147483647 - 1, 1, "01", {}, {}}),
    rowName);

TEST_F(WriteThrough, bitsBeforeZeroLeaveTheFirstByteAsItIs)
{
    DataStorage[1][10] = bytes("FF FF");
    put(AREA_DM_BIT, -8, 8, "00 00 00 00 00 00 00 00");
    EXPECT_EQ(store(), Lines{"1/10: FF FF"});
}

// ------------------------------------------------------------------------------------------------
// The ceiling: an image never passes 64 MiB, 67108864 bytes
// -------------------------------------------------------------------------------------------------

struct LastRow {
    const char *name;
    int area;
    int last; // the last element that fits
    const char *dataHex;
    int key;
    const char *lastFourBytes;
};

void PrintTo(const LastRow &row, std::ostream *out)
{
    *out << row.name;
}

class LastElement : public WriteThrough, public testing::WithParamInterface<LastRow>
{
};

TEST_P(LastElement, fitsAndTheNextIsDropped)
{
    const LastRow &row = GetParam();
    DataStorage[1][row.key] = bytes("AA");
    put(row.area, row.last + 1, 1, row.dataHex);
    EXPECT_EQ(store(), Lines{"1/" + std::to_string(row.key) + ": AA"});
    put(row.area, row.last, 1, row.dataHex);
    EXPECT_EQ(imageSize(1, row.key), 67108864);
    EXPECT_EQ(image(1, row.key, 0, 2), "AA 00");
    EXPECT_EQ(image(1, row.key, 67108860, 4), row.lastFourBytes);
    put(row.area, row.last + 1, 1, row.dataHex);
    EXPECT_EQ(imageSize(1, row.key), 67108864);
}

INSTANTIATE_TEST_SUITE_P(
    BelowTheCeiling, LastElement,
    testing::Values(LastRow{"word", 10, 33554431, "01 02", 10, "00 00 01 02"},
                    LastRow{"channel", 26, 33554431, "01 02", 0, "00 00 01 02"},
                    LastRow{"doubleWord", 16, 16777215, "01 02 03 04", 16, "01 02 03 04"},
                    LastRow{"contact", 6, 67108863, "01", 6, "00 00 00 01"},
                    LastRow{"bit", 0, 536870911, "01", 0, "00 00 00 80"},
                    LastRow{"bitOfWord", 32, 536870911, "01", 10, "00 00 00 80"}),
    [](const testing::TestParamInfo<LastRow> &row) { return std::string(row.param.name); });

// A write that only ends past the ceiling does not grow the image either; what the image
// holds is written.
TEST_F(WriteThrough, aWriteAcrossTheCeilingDoesNotGrowTheImage)
{
    DataStorage[1][10] = bytes("AA");
    put(AREA_DM, 33554431, 2, "01 02 03 04");
    EXPECT_EQ(store(), Lines{"1/10: AA"});

    put(AREA_DM, 33554431, 1, "00 00");
    put(AREA_DM, 33554431, 2, "01 02 03 04");
    EXPECT_EQ(imageSize(1, 10), 67108864);
    EXPECT_EQ(image(1, 10, 67108860, 4), "00 00 01 02");
}

// One byte short of the ceiling: bit 536870911 lies just behind the image, the next one
// past the ceiling.
TEST_F(WriteThrough, bitsAcrossTheCeilingAreDroppedWhereTheImageEnds)
{
    DataStorage[1][0] = QByteArray(67108863, '\0');
    put(AREA_R, 536870911, 2, "01 01");
    EXPECT_EQ(imageSize(1, 0), 67108863);
    EXPECT_EQ(image(1, 0, 67108859, 4), "00 00 00 00");
    EXPECT_EQ(std::as_const(DataStorage[1][0]).constData()[67108863], '\0')
        << "the byte that ends every byte array";
}

// Positions that would wrap around in 32 bits.
INSTANTIATE_TEST_SUITE_P(
    PastTheCeiling, Written,
    testing::Values(WriteRow{"wordThatWrapsToZero", 10, -2147483647 - 1, 1, "01 02", {}, {}},
                    WriteRow{"highestWord", 10, 2147483647, 2, "01 02 03 04", {}, {}},
                    WriteRow{"doubleWordThatWrapsToZero", 16, 1073741824, 1, "01 02 03 04", {}, {}},
                    WriteRow{"highestDoubleWord", 16, 2147483647, 2, "01 02 03 04 05 06 07 08", {}, {}},
                    WriteRow{"highestContact", 6, 2147483647, 2, "01 01", {}, {}},
                    WriteRow{"highestBit", 0, 2147483647, 2, "01 01", {}, {}}),
    rowName);
} // namespace
