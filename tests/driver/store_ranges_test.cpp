// SPDX-License-Identifier: MIT
// Keys of the store and the sizing of its images: getPlcReg, checkTheStorage.
#include "driver_test.h"

#include <limits>
#include <ostream>

namespace
{
constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

struct KeyRow {
    const char *name;
    int area;
    int key;
};

struct RangeRow {
    const char *name;
    int area, address, count;
    int key;
    int bytes;
};

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row> &row)
{
    return row.param.name;
}

void PrintTo(const KeyRow &row, std::ostream *out)
{
    *out << row.name;
}

void PrintTo(const RangeRow &row, std::ostream *out)
{
    *out << row.name;
}

class StoreRanges : public DriverTest
{
protected:
    // checkTheStorage of this range; the record must come back as it went in.
    static void need(int station, int area, int address, int count)
    {
        ControlInformationM range;
        range.station = station;
        range.area = area;
        range.address = address;
        range.count = count;
        checkTheStorage(range);
        EXPECT_EQ(range.station, station);
        EXPECT_EQ(range.area, area);
        EXPECT_EQ(range.address, address);
        EXPECT_EQ(range.count, count);
    }

    // Bytes of an image; a missing one has none. Creates nothing.
    static qint64 imageSize(int station, int key) { return DataStorage.value(station).value(key).size(); }

    // All bytes of an image are zero.
    static bool isBlank(int station, int key)
    {
        const QByteArray held = DataStorage.value(station).value(key);
        return held == QByteArray(held.size(), '\0');
    }
};

// ------------------------------------------------------------------------------------------------
// Keys
// -------------------------------------------------------------------------------------------------

class ReadKey : public StoreRanges, public testing::WithParamInterface<KeyRow>
{
};

TEST_P(ReadKey, isTheDeviceThatHoldsTheArea)
{
    EXPECT_EQ(getPlcReg(GetParam().area), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(
    Areas, ReadKey,
    testing::Values(KeyRow{"R", 0, 0}, KeyRow{"B", 1, 1}, KeyRow{"MR", 2, 2}, KeyRow{"LR", 3, 3},
                    KeyRow{"CR", 4, 4}, KeyRow{"VB", 5, 5}, KeyRow{"T", 6, 6}, KeyRow{"C", 7, 7},
                    KeyRow{"CTH", 8, 21}, KeyRow{"CTC", 9, 22}, KeyRow{"DM", 10, 10}, KeyRow{"EM", 11, 11},
                    KeyRow{"FM", 12, 12}, KeyRow{"ZF", 13, 13}, KeyRow{"W", 14, 14}, KeyRow{"TM", 15, 15},
                    KeyRow{"Z", 16, 16}, KeyRow{"T_dword", 17, 6}, KeyRow{"TS", 18, 6},
                    KeyRow{"C_dword", 19, 7}, KeyRow{"CS", 20, 7}, KeyRow{"CTH_dword", 21, 21},
                    KeyRow{"CTC_dword", 22, 22}, KeyRow{"AT", 23, 23}, KeyRow{"CM", 24, 24},
                    KeyRow{"VM", 25, 25}, KeyRow{"R_word", 26, 0}, KeyRow{"B_word", 27, 1},
                    KeyRow{"MR_word", 28, 2}, KeyRow{"LR_word", 29, 3}, KeyRow{"CR_word", 30, 4},
                    KeyRow{"VB_word", 31, 5}, KeyRow{"DM_bit", 32, 10}, KeyRow{"EM_bit", 33, 11},
                    KeyRow{"FM_bit", 34, 12}, KeyRow{"ZF_bit", 35, 13}, KeyRow{"W_bit", 36, 14},
                    KeyRow{"TM_bit", 37, 15}, KeyRow{"CM_bit", 38, 24}, KeyRow{"VM_bit", 39, 25}),
    rowName<KeyRow>);

TEST_F(StoreRanges, aCodeThatIsNoAreaIsLoggedAndIsItsOwnKey)
{
    EXPECT_EQ(getPlcReg(40), 40);
    EXPECT_EQ(getPlcReg(-1), -1);
    EXPECT_EQ(getPlcReg(highest), highest);
    EXPECT_EQ(getPlcReg(lowest), lowest);
    EXPECT_EQ(takeLines(), (Lines{"getPlcReg default 40", "getPlcReg default -1",
                                  "getPlcReg default 2147483647", "getPlcReg default -2147483648"}));
}

// ------------------------------------------------------------------------------------------------
// Sizes
// -------------------------------------------------------------------------------------------------

class RangeSize : public StoreRanges, public testing::WithParamInterface<RangeRow>
{
};

TEST_P(RangeSize, isCreatedAllZeroAndNothingElseIs)
{
    const RangeRow &row = GetParam();
    need(2, row.area, row.address, row.count);
    EXPECT_EQ(DataStorage.keys(), QList<int>{2});
    EXPECT_EQ(DataStorage.value(2).keys(), QList<int>{row.key});
    EXPECT_EQ(imageSize(2, row.key), row.bytes);
    EXPECT_TRUE(isBlank(2, row.key));
}

// Words and what is sized like them: (100 + 5) * 2. Double words: (100 + 5) * 4.
// Bits of words: 5 / 16 + 1 + 100 / 16 = 7 words.
INSTANTIATE_TEST_SUITE_P(
    Areas, RangeSize,
    testing::Values(RangeRow{"R", 0, 100, 5, 0, 210}, RangeRow{"B", 1, 100, 5, 1, 210},
                    RangeRow{"MR", 2, 100, 5, 2, 210}, RangeRow{"LR", 3, 100, 5, 3, 210},
                    RangeRow{"CR", 4, 100, 5, 4, 210}, RangeRow{"VB", 5, 100, 5, 5, 210},
                    RangeRow{"T", 6, 100, 5, 6, 210}, RangeRow{"C", 7, 100, 5, 7, 210},
                    RangeRow{"CTH", 8, 100, 5, 8, 210}, RangeRow{"CTC", 9, 100, 5, 9, 210},
                    RangeRow{"DM", 10, 100, 5, 10, 210}, RangeRow{"EM", 11, 100, 5, 11, 210},
                    RangeRow{"FM", 12, 100, 5, 12, 210}, RangeRow{"ZF", 13, 100, 5, 13, 210},
                    RangeRow{"W", 14, 100, 5, 14, 210}, RangeRow{"TM", 15, 100, 5, 15, 210},
                    RangeRow{"Z", 16, 100, 5, 16, 420}, RangeRow{"T_dword", 17, 100, 5, 17, 420},
                    RangeRow{"TS", 18, 100, 5, 18, 420}, RangeRow{"C_dword", 19, 100, 5, 19, 420},
                    RangeRow{"CS", 20, 100, 5, 20, 420}, RangeRow{"CTH_dword", 21, 100, 5, 21, 420},
                    RangeRow{"CTC_dword", 22, 100, 5, 22, 420}, RangeRow{"AT", 23, 100, 5, 23, 420},
                    RangeRow{"CM", 24, 100, 5, 24, 210}, RangeRow{"VM", 25, 100, 5, 25, 210},
                    RangeRow{"R_word", 26, 100, 5, 0, 210}, RangeRow{"B_word", 27, 100, 5, 1, 210},
                    RangeRow{"MR_word", 28, 100, 5, 2, 210}, RangeRow{"LR_word", 29, 100, 5, 3, 210},
                    RangeRow{"CR_word", 30, 100, 5, 4, 210}, RangeRow{"VB_word", 31, 100, 5, 5, 210},
                    RangeRow{"DM_bit", 32, 100, 5, 10, 14}, RangeRow{"EM_bit", 33, 100, 5, 11, 14},
                    RangeRow{"FM_bit", 34, 100, 5, 12, 14}, RangeRow{"ZF_bit", 35, 100, 5, 13, 14},
                    RangeRow{"W_bit", 36, 100, 5, 14, 14}, RangeRow{"TM_bit", 37, 100, 5, 15, 14},
                    RangeRow{"CM_bit", 38, 100, 5, 24, 14}, RangeRow{"VM_bit", 39, 100, 5, 25, 14}),
    rowName<RangeRow>);

// Bits of words count the words of the address and of the count apart, each rounded toward zero,
// and one more: a range that starts late in a word may come out one word short.
INSTANTIATE_TEST_SUITE_P(BitsOfWords, RangeSize,
                         testing::Values(RangeRow{"lastBitOfWordAndOneMore", 32, 15, 2, 10, 2},
                                         RangeRow{"firstBitOfNextWord", 32, 16, 1, 10, 4},
                                         RangeRow{"wholeWord", 32, 0, 16, 10, 4},
                                         RangeRow{"almostWholeWord", 32, 0, 15, 10, 2},
                                         RangeRow{"noBits", 32, 0, 0, 10, 2},
                                         RangeRow{"sixteenFromTheLastBit", 32, 15, 16, 10, 4},
                                         RangeRow{"countAndAddressBothCut", 32, 31, 47, 10, 8},
                                         RangeRow{"negativeAddressRoundsTowardZero", 32, -15, 1, 10, 2},
                                         RangeRow{"negativeCountRoundsTowardZero", 32, 64, -15, 10, 10}),
                         rowName<RangeRow>);

INSTANTIATE_TEST_SUITE_P(Edges, RangeSize,
                         testing::Values(RangeRow{"noWords", 10, 100, 0, 10, 200},
                                         RangeRow{"negativeCount", 10, 100, -1, 10, 198},
                                         RangeRow{"fromBeforeZero", 10, -2, 5, 10, 6},
                                         RangeRow{"doubleWordsFromBeforeZero", 16, -2, 5, 16, 12},
                                         RangeRow{"nothingAtZero", 10, 0, 0, 10, 0}),
                         rowName<RangeRow>);

class UnknownRange : public StoreRanges, public testing::WithParamInterface<KeyRow>
{
};

TEST_P(UnknownRange, isLoggedAndSizedInWordsUnderItsOwnCode)
{
    need(2, GetParam().area, 100, 5);
    EXPECT_EQ(takeLines(), Lines{"**** ERROR checkTheStorage default"});
    EXPECT_EQ(DataStorage.value(2).keys(), QList<int>{GetParam().key});
    EXPECT_EQ(imageSize(2, GetParam().key), 210);
}

INSTANTIATE_TEST_SUITE_P(Codes, UnknownRange,
                         testing::Values(KeyRow{"firstAfterTheLast", 40, 40}, KeyRow{"minusOne", -1, -1},
                                         KeyRow{"large", 100000, 100000}, KeyRow{"highest", highest, highest},
                                         KeyRow{"lowest", lowest, lowest}),
                         rowName<KeyRow>);

TEST_F(StoreRanges, aRangeThatEndsBeforeZeroHasNoBytes)
{
    need(2, AREA_DM, -5, 3);
    need(2, AREA_Z, -5, 3);
    need(2, AREA_EM_BIT, -100, 3);
    need(2, AREA_FM, lowest, -1);
    EXPECT_EQ(imageSize(2, 10), 0);
    EXPECT_EQ(imageSize(2, 16), 0);
    EXPECT_EQ(imageSize(2, 11), 0);
    EXPECT_EQ(imageSize(2, 12), 0);
}

TEST_F(StoreRanges, aRangeThatEndsBeforeZeroLeavesAnImageAsItIs)
{
    DataStorage[2][10] = bytes("AA BB");
    need(2, AREA_DM, -5, 3);
    EXPECT_EQ(image(2, 10), "AA BB");
}

// ------------------------------------------------------------------------------------------------
// Growing
// -------------------------------------------------------------------------------------------------

TEST_F(StoreRanges, anImageOnlyGrows)
{
    need(2, AREA_DM, 100, 5);
    EXPECT_EQ(imageSize(2, 10), 210);
    need(2, AREA_DM, 0, 10);
    EXPECT_EQ(imageSize(2, 10), 210);
    need(2, AREA_DM, 200, 1);
    EXPECT_EQ(imageSize(2, 10), 402);
}

TEST_F(StoreRanges, growingAppendsZerosAndKeepsWhatWasThere)
{
    DataStorage[2][10] = bytes("01 02 03");
    need(2, AREA_DM, 0, 4);
    EXPECT_EQ(image(2, 10), "01 02 03 00 00 00 00 00");
}

TEST_F(StoreRanges, aRangeThatIsThereAlreadyIsLeftAsItIs)
{
    DataStorage[2][10] = bytes("01 02 03 04");
    need(2, AREA_DM, 0, 2);
    need(2, AREA_DM, 1, 1);
    need(2, AREA_DM_BIT, 0, 1);
    EXPECT_EQ(image(2, 10), "01 02 03 04");
}

TEST_F(StoreRanges, wordViewsAndBitViewsShareTheImageOfTheirDevice)
{
    DataStorage[2][0] = bytes("01 02");
    DataStorage[2][10] = bytes("03 04");
    need(2, AREA_R_WORD, 1, 1);
    need(2, AREA_DM_BIT, 16, 1);
    EXPECT_EQ(image(2, 0), "01 02 00 00");
    EXPECT_EQ(image(2, 10), "03 04 00 00");
    EXPECT_EQ(DataStorage.value(2).size(), 2);
}

TEST_F(StoreRanges, contactsAndValuesOfATimerHaveImagesOfTheirOwn)
{
    need(2, AREA_T, 1, 1);
    need(2, AREA_T_DWORD, 1, 1);
    need(2, AREA_TS, 1, 2);
    EXPECT_EQ(image(2, 6), "00 00 00 00");
    EXPECT_EQ(image(2, 17), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(image(2, 18), "00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(StoreRanges, stationsAndDevicesDoNotTouchEachOther)
{
    DataStorage[1][10] = bytes("AA");
    DataStorage[2][11] = bytes("BB");
    need(2, AREA_DM, 0, 1);
    EXPECT_EQ(image(1, 10), "AA");
    EXPECT_EQ(image(2, 11), "BB");
    EXPECT_EQ(image(2, 10), "00 00");
}

TEST_F(StoreRanges, anyNumberIsAStation)
{
    need(-7, AREA_DM, 0, 1);
    need(highest, AREA_DM, 0, 2);
    EXPECT_EQ(image(-7, 10), "00 00");
    EXPECT_EQ(image(highest, 10), "00 00 00 00");
}

// ------------------------------------------------------------------------------------------------
// Ceiling: an image never passes 64 MiB, 67108864 bytes
// -------------------------------------------------------------------------------------------------

class Ceiling : public StoreRanges, public testing::WithParamInterface<RangeRow>
{
};

TEST_P(Ceiling, holds)
{
    const RangeRow &row = GetParam();
    need(2, row.area, row.address, row.count);
    EXPECT_EQ(imageSize(2, row.key), row.bytes);
}

INSTANTIATE_TEST_SUITE_P(OneBelowAtAndOnePast, Ceiling,
                         testing::Values(RangeRow{"words_oneBelow", 10, 33554430, 1, 10, 67108862},
                                         RangeRow{"words_at", 10, 33554431, 1, 10, 67108864},
                                         RangeRow{"words_onePast", 10, 33554431, 2, 10, 0},
                                         RangeRow{"channels_at", 26, 33554430, 2, 0, 67108864},
                                         RangeRow{"channels_onePast", 26, 33554432, 1, 0, 0},
                                         RangeRow{"contacts_at", 6, 33554431, 1, 6, 67108864},
                                         RangeRow{"contacts_onePast", 6, 33554432, 1, 6, 0},
                                         RangeRow{"doubleWords_oneBelow", 16, 16777214, 1, 16, 67108860},
                                         RangeRow{"doubleWords_at", 16, 16777215, 1, 16, 67108864},
                                         RangeRow{"doubleWords_onePast", 16, 16777216, 1, 16, 0},
                                         RangeRow{"bits_at", 32, 536870911, 1, 10, 67108864},
                                         RangeRow{"bits_onePast", 32, 536870912, 1, 10, 0}),
                         rowName<RangeRow>);

// Sizes that would wrap around in 32 bits.
INSTANTIATE_TEST_SUITE_P(Overflow, Ceiling,
                         testing::Values(RangeRow{"wordsWrapToZero", 10, 2147483647, 1, 10, 0},
                                         RangeRow{"wordsWrapToTwo", 10, 2147483646, 3, 10, 0},
                                         RangeRow{"wordsBothHighest", 10, 2147483647, 2147483647, 10, 0},
                                         RangeRow{"doubleWordsWrapToFour", 16, 1073741824, 1, 16, 0},
                                         RangeRow{"doubleWordsHighest", 16, 2147483647, 2147483647, 16, 0},
                                         RangeRow{"bitsHighest", 32, 2147483647, 2147483647, 10, 0}),
                         rowName<RangeRow>);

TEST_F(StoreRanges, aRangePastTheCeilingLeavesAnImageAsItIs)
{
    DataStorage[2][10] = bytes("01 02");
    DataStorage[2][16] = bytes("03 04");
    need(2, AREA_DM, 33554432, 1);
    need(2, AREA_DM, highest, highest);
    need(2, AREA_DM_BIT, 536870912, 1);
    need(2, AREA_Z, 16777216, 1);
    EXPECT_EQ(image(2, 10), "01 02");
    EXPECT_EQ(image(2, 16), "03 04");
}

TEST_F(StoreRanges, anImageGrowsUpToTheCeilingAndNoFurther)
{
    DataStorage[2][10] = bytes("01 02");
    need(2, AREA_DM, 33554431, 1);
    EXPECT_EQ(imageSize(2, 10), 67108864);
    EXPECT_EQ(image(2, 10, 0, 4), "01 02 00 00");
    need(2, AREA_DM, 33554432, 1);
    EXPECT_EQ(imageSize(2, 10), 67108864);
}

TEST_F(StoreRanges, theCeilingHoldsForCodesThatAreNoAreas)
{
    need(2, 40, 33554432, 1);
    EXPECT_EQ(imageSize(2, 40), 0);
    EXPECT_EQ(takeLines(), Lines{"**** ERROR checkTheStorage default"});
}
} // namespace
