// SPDX-License-Identifier: MIT
// From host units to store units: which device, which word, how many words or double words.
#include "driver_test.h"

#include <limits>

namespace
{
constexpr int highest = std::numeric_limits<int>::max();

class UnitConversion : public DriverTest
{
protected:
    // Converts one variable; everything but area, address and count must stay as it is.
    void expectUnits(int area, int address, int count, int key, int unit, int units)
    {
        SCOPED_TRACE("area " + std::to_string(area) + ", address " + std::to_string(address) + ", count " +
                     std::to_string(count));
        RW_VAR var = variable(area, address, count, 3);
        var.accessMode = 1;
        var.field3 = 11;
        var.linkId = 12;
        var.result = 13;
        var.extraText = "extra";
        var.addressText = "typed";
        var.preReadMark = -1;
        var.field13 = 14;
        var.data = bytes("01 02");

        EXPECT_EQ(updateRwVar(&var), 0);

        EXPECT_EQ(var.area, key);
        EXPECT_EQ(var.address, unit);
        EXPECT_EQ(var.count, units);
        EXPECT_EQ(var.ownerType, 5);
        EXPECT_EQ(var.ownerId, 50);
        EXPECT_EQ(var.accessMode, 1);
        EXPECT_EQ(var.field3, 11);
        EXPECT_EQ(var.linkId, 12);
        EXPECT_EQ(var.result, 13);
        EXPECT_EQ(var.extraText, "extra");
        EXPECT_EQ(var.addressText, "typed");
        EXPECT_EQ(var.station, 3);
        EXPECT_EQ(var.preReadMark, -1);
        EXPECT_EQ(var.field13, 14);
        EXPECT_EQ(var.data, bytes("01 02"));
    }
};

// --- each of the 40 areas: address 175, count 3 ---

struct AreaRow {
    const char *name;
    int area;
    int key, unit, units;
};

class UnitsOfArea : public UnitConversion, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(UnitsOfArea, areThoseOfItsDevice)
{
    expectUnits(GetParam().area, 175, 3, GetParam().key, GetParam().unit, GetParam().units);
}

// Bits 175..177 are bit 15 of word 10 and bits 0 and 1 of word 11; 3 registers take 2 double words.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, UnitsOfArea, testing::Values(
    AreaRow{"R",          0,  0,  10, 2},
    AreaRow{"B",          1,  1,  10, 2},
    AreaRow{"MR",         2,  2,  10, 2},
    AreaRow{"LR",         3,  3,  10, 2},
    AreaRow{"CR",         4,  4,  10, 2},
    AreaRow{"VB",         5,  5,  10, 2},
    AreaRow{"T",          6,  6, 175, 2},
    AreaRow{"C",          7,  7, 175, 2},
    AreaRow{"CTH",        8, 21, 175, 2},
    AreaRow{"CTC",        9, 22, 175, 2},
    AreaRow{"DM",        10, 10, 175, 3},
    AreaRow{"EM",        11, 11, 175, 3},
    AreaRow{"FM",        12, 12, 175, 3},
    AreaRow{"ZF",        13, 13, 175, 3},
    AreaRow{"W",         14, 14, 175, 3},
    AreaRow{"TM",        15, 15, 175, 3},
    AreaRow{"Z",         16, 16, 175, 2},
    AreaRow{"T_dword",   17,  6, 175, 2},
    AreaRow{"TS",        18,  6, 175, 2},
    AreaRow{"C_dword",   19,  7, 175, 2},
    AreaRow{"CS",        20,  7, 175, 2},
    AreaRow{"CTH_dword", 21, 21, 175, 2},
    AreaRow{"CTC_dword", 22, 22, 175, 2},
    AreaRow{"AT",        23, 23, 175, 2},
    AreaRow{"CM",        24, 24, 175, 3},
    AreaRow{"VM",        25, 25, 175, 3},
    AreaRow{"R_word",    26,  0, 175, 3},
    AreaRow{"B_word",    27,  1, 175, 3},
    AreaRow{"MR_word",   28,  2, 175, 3},
    AreaRow{"LR_word",   29,  3, 175, 3},
    AreaRow{"CR_word",   30,  4, 175, 3},
    AreaRow{"VB_word",   31,  5, 175, 3},
    AreaRow{"DM_bit",    32, 10,  10, 2},
    AreaRow{"EM_bit",    33, 11,  10, 2},
    AreaRow{"FM_bit",    34, 12,  10, 2},
    AreaRow{"ZF_bit",    35, 13,  10, 2},
    AreaRow{"W_bit",     36, 14,  10, 2},
    AreaRow{"TM_bit",    37, 15,  10, 2},
    AreaRow{"CM_bit",    38, 24,  10, 2},
    AreaRow{"VM_bit",    39, 25,  10, 2}),
    [](const auto &row) { return std::string(row.param.name); });

// --- addresses and counts ---

struct CountRow {
    const char *name;
    int address, count;
    int unit, units;
};

class UnitCounts : public UnitConversion, public testing::WithParamInterface<CountRow>
{
protected:
    struct Device {
        int area, key;
    };

    void expectFor(std::initializer_list<Device> devices)
    {
        const CountRow &row = GetParam();
        for (const Device &device : devices)
            expectUnits(device.area, row.address, row.count, device.key, row.unit, row.units);
    }
};

constexpr auto countName = [](const auto &row) { return std::string(row.param.name); };

class BitCounts : public UnitCounts
{
};

TEST_P(BitCounts, becomeTheWordsThatTheBitsSpan)
{
    expectFor({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5},
               {32, 10}, {33, 11}, {34, 12}, {35, 13}, {36, 14}, {37, 15}, {38, 24}, {39, 25}});
}

INSTANTIATE_TEST_SUITE_P(Bits, BitCounts, testing::Values(
    CountRow{"firstBit",                    0,   1,  0,  1},
    CountRow{"lastBitOfAWord",             15,   1,  0,  1},
    CountRow{"lastBitAndTheNext",          15,   2,  0,  2},
    CountRow{"wholeWord",                   0,  16,  0,  1},
    CountRow{"wholeWordAndABit",            0,  17,  0,  2},
    CountRow{"wordSizedButShifted",         1,  16,  0,  2},
    CountRow{"bit15OfWord10",             175,   1, 10,  1},
    CountRow{"bit15OfWord10AndTheNext",   175,   2, 10,  2},
    CountRow{"bit15OfWord10And16More",    175,  17, 10,  2},
    CountRow{"bit15OfWord10And17More",    175,  18, 10,  3},
    CountRow{"twoWordsAndABit",           160,  33, 10,  3},
    CountRow{"none",                      160,   0, 10,  0},
    CountRow{"noneInsideAWord",           161,   0, 10,  1},
    CountRow{"noneAtTheLastBit",          175,   0, 10,  1},
    CountRow{"minus1AtBit0",              160,  -1, 10,  0},
    CountRow{"minus1AtBit1",              161,  -1, 10,  0},
    CountRow{"minus1AtBit2",              162,  -1, 10,  1},
    CountRow{"minus16",                   160, -16, 10,  0},
    CountRow{"minus31",                   160, -31, 10, -1},
    CountRow{"highestAddress",        highest,   1, 134217727, 1},
    CountRow{"highestCount",                0, highest, 0, 134217728}, // (2147483647 + 15) / 16
    CountRow{"highestCountAtTheLastBit",   15, highest, 0, 134217729}), countName);

class RegisterCounts : public UnitCounts
{
};

TEST_P(RegisterCounts, becomeDoubleWords)
{
    expectFor({{6, 6}, {7, 7}, {8, 21}, {9, 22},
               {16, 16}, {17, 6}, {18, 6}, {19, 7}, {20, 7}, {21, 21}, {22, 22}, {23, 23}});
}

INSTANTIATE_TEST_SUITE_P(DoubleWords, RegisterCounts, testing::Values(
    CountRow{"one",             0,   1,   0,  1},
    CountRow{"two",             0,   2,   0,  1},
    CountRow{"three",         175,   3, 175,  2},
    CountRow{"four",          175,   4, 175,  2},
    CountRow{"odd",             7, 255,   7, 128},
    CountRow{"none",            7,   0,   7,  0},
    CountRow{"minus1",          7,  -1,   7,  0},
    CountRow{"minus2",          7,  -2,   7,  0},
    CountRow{"minus3",          7,  -3,   7, -1},
    CountRow{"highestAddress", highest, 1, highest, 1},
    CountRow{"highestCount",    0, highest, 0, 1073741824}), countName);

class WordCounts : public UnitCounts
{
};

TEST_P(WordCounts, stayAsTheyAre)
{
    expectFor({{10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {24, 24}, {25, 25},
               {26, 0}, {27, 1}, {28, 2}, {29, 3}, {30, 4}, {31, 5}});
}

INSTANTIATE_TEST_SUITE_P(Words, WordCounts, testing::Values(
    CountRow{"one",         0,   1,   0,   1},
    CountRow{"three",     175,   3, 175,   3},
    CountRow{"sixteen",    16,  16,  16,  16},
    CountRow{"none",        7,   0,   7,   0},
    CountRow{"minus3",      7,  -3,   7,  -3},
    CountRow{"highest", highest, highest, highest, highest}), countName);
// clang-format on

// --- codes that are no areas ---

struct UnknownRow {
    const char *name;
    int area, address, count;
    const char *line;
};

class UnitsOfNoArea : public UnitConversion, public testing::WithParamInterface<UnknownRow>
{
};

TEST_P(UnitsOfNoArea, areLeftAloneAndLogged)
{
    const UnknownRow &row = GetParam();
    expectUnits(row.area, row.address, row.count, row.area, row.address, row.count);
    EXPECT_EQ(takeLines(), Lines{row.line});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Codes, UnitsOfNoArea, testing::Values(
    UnknownRow{"first",   40, 175,  2, "updateRwVar default 40 175 2"},
    UnknownRow{"byte",   255,   0,  0, "updateRwVar default 255 0 0"},
    UnknownRow{"minus1",  -1,  17, -3, "updateRwVar default -1 17 -3"},
    UnknownRow{"highest", highest, -5, 1, "updateRwVar default 2147483647 -5 1"}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST_F(UnitConversion, doesNothingWithoutAVariable)
{
    EXPECT_EQ(updateRwVar(nullptr), 0);
}

TEST_F(UnitConversion, needsNoSettings)
{
    PLC_driver.comInfo = nullptr;
    expectUnits(AREA_R, 175, 2, 0, 10, 2);
}
} // namespace
