// Addresses as engineers write them, and the places they are to the driver.
#include "address.h"

#include <gtest/gtest.h>

#include <set>

namespace kvhost
{
namespace
{

// What an address is to the driver: area code, text, count in its units; and the read units it lies in.
struct GoodRow {
    const char *row;
    const char *typed;
    int area;
    const char *text;
    int hostCount;
    int key, firstUnit, units;
    int values;
    const char *name;
};

class GoodAddress : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodAddress, isThatPlace)
{
    const GoodRow &row = GetParam();
    QString problem;
    const auto address = parseAddress(row.typed, &problem);
    ASSERT_TRUE(address) << problem.toStdString();
    EXPECT_EQ(address->area, row.area);
    EXPECT_EQ(address->addressText.toStdString(), row.text);
    EXPECT_EQ(address->hostCount(), row.hostCount);
    EXPECT_EQ(address->device->readKey, row.key);
    EXPECT_EQ(address->firstUnit(), row.firstUnit);
    EXPECT_EQ(address->unitCount(), row.units);
    EXPECT_EQ(address->values, row.values);
    EXPECT_EQ(address->name().toStdString(), row.name);
}

// clang-format off
const GoodRow goodRows[] = {
    // row             typed          area text    host  key first units values name
    {"word",           "DM100",        10, "100",    1,  10, 100,  1,  1, "DM100"},
    {"lowerCase",      "dm100",        10, "100",    1,  10, 100,  1,  1, "DM100"},
    {"blanksAround",   " DM100 ",      10, "100",    1,  10, 100,  1,  1, "DM100"},
    {"leadingZeros",   "DM0100",       10, "100",    1,  10, 100,  1,  1, "DM100"},
    {"words",          "DM100:10",     10, "100",   10,  10, 100, 10, 10, "DM100:10"},
    {"range",          "DM100-DM109",  10, "100",   10,  10, 100, 10, 10, "DM100:10"},
    {"shortRange",     "DM100-109",    10, "100",   10,  10, 100, 10, 10, "DM100:10"},
    {"signedRange",    "DM100-DM109.S",10, "100",   10,  10, 100, 10, 10, "DM100.S:10"},
    {"em",             "EM7",          11, "7",      1,  11,   7,  1,  1, "EM7"},
    {"fm",             "FM7",          12, "7",      1,  12,   7,  1,  1, "FM7"},
    {"zf",             "ZF524287",     13, "524287", 1,  13, 524287, 1, 1, "ZF524287"},
    {"wHex",           "W1A",          14, "1A",     1,  14,  26,  1,  1, "W1A"},
    {"wHexRange",      "W8-WB",        14, "8",      4,  14,   8,  4,  4, "W8:4"},
    {"tm",             "TM3",          15, "3",      1,  15,   3,  1,  1, "TM3"},
    {"cm",             "CM10",         24, "10",     1,  24,  10,  1,  1, "CM10"},
    {"vm",             "VM10",         25, "10",     1,  25,  10,  1,  1, "VM10"},
    {"relay",          "R1015",         0, "1015",   1,   0,  10,  1,  1, "R1015"},
    {"relayShort",     "R5",            0, "5",      1,   0,   0,  1,  1, "R5"},
    {"relaysAcross",   "R1015:2",       0, "1015",   2,   0,  10,  2,  2, "R1015:2"},
    {"relayRange",     "R1000-R1115",   0, "1000",  32,   0,  10,  2, 32, "R1000:32"},
    {"mr",             "MR105",         2, "105",    1,   2,   1,  1,  1, "MR105"},
    {"lr",             "LR105",         3, "105",    1,   3,   1,  1,  1, "LR105"},
    {"cr",             "CR2002",        4, "2002",   1,   4,  20,  1,  1, "CR2002"},
    {"bHex",           "B1F3",          1, "1F3",    1,   1,  31,  1,  1, "B1F3"},
    {"bHexLetter",     "BE0",           1, "E0",     1,   1,  14,  1,  1, "BE0"},
    {"vbHex",          "VBA",           5, "A",      1,   5,   0,  1,  1, "VBA"},
    {"channel",        "R1000.U",      26, "1000",   1,   0,  10,  1,  1, "R1000.U"},
    {"channels",       "R1000.U:3",    26, "1000",   3,   0,  10,  3,  3, "R1000.U:3"},
    {"channelRange",   "R1000-R1200.U",26, "1000",   3,   0,  10,  3,  3, "R1000.U:3"},
    {"channel32",      "MR100.D",      28, "100",    2,   2,   1,  2,  1, "MR100.D"},
    {"hexChannel",     "B1F0.H",       27, "1F0",    1,   1,  31,  1,  1, "B1F0.H"},
    {"vbChannel",      "VB10.U",       31, "10",     1,   5,   1,  1,  1, "VB10.U"},
    {"bitOfWord",      "DM100.5",      32, "100.5",  1,  10, 100,  1,  1, "DM100.5"},
    {"bitsOfWord",     "DM100.14:4",   32, "100.14", 4,  10, 100,  2,  4, "DM100.14:4"},
    {"bitOfW",         "W1A.3",        36, "1A.3",   1,  14,  26,  1,  1, "W1A.3"},
    {"bitOfVm",        "VM2.15",       39, "2.15",   1,  25,   2,  1,  1, "VM2.15"},
    {"double",         "DM100.D",      10, "100",    2,  10, 100,  2,  1, "DM100.D"},
    {"longs",          "DM100.L:3",    10, "100",    6,  10, 100,  6,  3, "DM100.L:3"},
    {"floatRange",     "DM100-DM103.F",10, "100",    4,  10, 100,  4,  2, "DM100.F:2"},
    {"text",           "DM100.STR:5",  10, "100",    3,  10, 100,  3,  1, "DM100.STR:5"},
    {"timerContact",   "T5",            6, "5",      2,   6,   5,  1,  1, "T5"},
    {"timerContacts",  "T5:4",          6, "5",      8,   6,   5,  4,  4, "T5:4"},
    {"timerCurrent",   "TC5",          17, "5",      2,   6,   5,  1,  1, "TC5"},
    {"timerSet",       "TS5",          18, "5",      2,   6,   5,  1,  1, "TS5"},
    {"counterContact", "C5",            7, "5",      2,   7,   5,  1,  1, "C5"},
    {"counterCurrent", "CC5.L",        19, "5",      2,   7,   5,  1,  1, "CC5.L"},
    {"counterSet",     "CS5",          20, "5",      2,   7,   5,  1,  1, "CS5"},
    {"fastCounter",    "CTH0",         21, "0",      2,  21,   0,  1,  1, "CTH0"},
    {"fastContact",    "CTH0.C",        8, "0",      2,  21,   0,  1,  1, "CTH0.C"},
    {"comparator",     "CTC1",         22, "1",      2,  22,   1,  1,  1, "CTC1"},
    {"compContact",    "CTC1.C",        9, "1",      2,  22,   1,  1,  1, "CTC1.C"},
    {"index",          "Z1:2",         16, "1",      4,  16,   1,  2,  2, "Z1:2"},
    {"trimmer",        "AT7",          23, "7",      2,  23,   7,  1,  1, "AT7"},
    {"station",        "2/DM0",        10, "0",      1,  10,   0,  1,  1, "2/DM0"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, GoodAddress, testing::ValuesIn(goodRows),
                         [](const auto &row) { return std::string(row.param.row); });

struct BadRow {
    const char *row;
    const char *typed;
    const char *hint; // a part of the message
};

class BadAddress : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadAddress, isRefusedWithAHint)
{
    QString problem;
    EXPECT_FALSE(parseAddress(GetParam().typed, &problem));
    EXPECT_TRUE(problem.contains(GetParam().hint)) << problem.toStdString();
    EXPECT_TRUE(problem.startsWith(GetParam().typed)) << problem.toStdString();
}

// clang-format off
const BadRow badRows[] = {
    {"empty",           "",              "is no device"},
    {"onlyLetters",     "DM",            "is no device"},
    {"onlyDigits",      "100",           "is no device"},
    {"unknownDevice",   "Q5",            "kv-host areas"},
    {"relayBit16",      "R1016",         "after R1015 comes R1100"},
    {"relayBit99",      "MR99",          "after MR15 comes MR100"},
    {"relayLetters",    "R10A",          "decimal digits"},
    {"hexInDecimal",    "DM1A",          "decimal digits"},
    {"notHex",          "W1G",           "hexadecimal digits"},
    {"notHexRelay",     "VBX",           "hexadecimal digits"},
    {"bit16",           "DM100.16",      "from 0 to 15"},
    {"bitOfRelay",      "R1000.5",       "no single bits"},
    {"bitOfTimer",      "TC5.1",         "no single bits"},
    {"formatOfContact", "T5.U",          "TC5 and TS5"},
    {"formatOfDouble",  "Z1.U",          "holds 32 bits"},
    {"unknownFormat",   "DM100.X",       "is no format"},
    {"emptyFormat",     "DM100.",        "is no format"},
    {"contactOfWord",   "DM100.C",       "is no format"},
    {"channelInside",   "R1005.U",       "write R1000.U"},
    {"hexInside",       "B1F3.U",        "write B1F0.U"},
    {"countZero",       "DM100:0",       "is no count"},
    {"countText",       "DM100:x",       "is no count"},
    {"countTooLarge",   "DM100:65537",   "is no count"},
    {"rangeBackwards",  "DM109-DM100",   "ends before it begins"},
    {"rangeOther",      "DM100-EM109",   "another device"},
    {"rangeOpen",       "DM100-",        "no end"},
    {"rangeAndCount",   "DM1-DM3:2",     "range and a count"},
    {"oddRange",        "DM0-DM2.D",     "no whole number of 32-bit"},
    {"textWithoutSize", "DM0.STR",       "number of characters"},
    {"stationText",     "x/DM0",         "0 to 255"},
    {"stationTooLarge", "256/DM0",       "0 to 255"},
    {"negative",        "DM-5",          "is no device"},
    {"tooLarge",        "DM99999999999", "decimal digits"},
    {"hugeRange",       "DM0-DM70000",   "longer than 65536"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, BadAddress, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(AddressNames, ofSingleValuesFollowTheNotation)
{
    QString problem;
    EXPECT_EQ(parseAddress("R1014:4", &problem)->nameOfValue(2).toStdString(), "R1100");
    EXPECT_EQ(parseAddress("W1E:3", &problem)->nameOfValue(2).toStdString(), "W20");
    EXPECT_EQ(parseAddress("DM100.D:3", &problem)->nameOfValue(2).toStdString(), "DM104.D");
    EXPECT_EQ(parseAddress("DM100.14:4", &problem)->nameOfValue(2).toStdString(), "DM101.0");
    EXPECT_EQ(parseAddress("R1000.U:3", &problem)->nameOfValue(2).toStdString(), "R1200.U");
    EXPECT_EQ(parseAddress("3/BF:2", &problem)->nameOfValue(1).toStdString(), "3/B10");
}

TEST(AddressTable, namesEveryAreaOfTheDriverOnce)
{
    std::multiset<int> areas;
    for (const Device &device : devices()) {
        for (const int area : {device.area, device.wordArea, device.bitArea}) {
            if (area >= 0)
                areas.insert(area);
        }
    }
    // 40 areas, each reached by exactly one way of writing it.
    EXPECT_EQ(areas.size(), 40U);
    EXPECT_EQ(std::set<int>(areas.begin(), areas.end()).size(), 40U);
    EXPECT_EQ(*areas.rbegin(), 39);
}

} // namespace
} // namespace kvhost
