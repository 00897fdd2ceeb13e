// SPDX-License-Identifier: MIT
// Rebuilding the cyclic read list: conversion, grouping, blocks, and the listing of what
// came of it.
#include "list_test.h"
#include "random_input.h"

#include <algorithm>
#include <string_view>

namespace
{
constexpr auto rowName = [](const auto &row) { return std::string(row.param.name); };

// --- a fixture that speaks of devices ---

struct AreaName {
    std::string_view name;
    quint8 area;
};

constexpr AreaName areaNames[] = {
    {"R", 0},        {"B", 1},        {"MR", 2},      {"LR", 3},      {"CR", 4},       {"VB", 5},
    {"T", 6},        {"C", 7},        {"CTH", 8},     {"CTC", 9},     {"DM", 10},      {"EM", 11},
    {"FM", 12},      {"ZF", 13},      {"W", 14},      {"TM", 15},     {"Z", 16},       {"T.D", 17},
    {"TS", 18},      {"C.D", 19},     {"CS", 20},     {"CTH.D", 21},  {"CTC.D", 22},   {"AT", 23},
    {"CM", 24},      {"VM", 25},      {"R.word", 26}, {"B.word", 27}, {"MR.word", 28}, {"LR.word", 29},
    {"CR.word", 30}, {"VB.word", 31}, {"DM.bit", 32}, {"EM.bit", 33}, {"FM.bit", 34},  {"ZF.bit", 35},
    {"W.bit", 36},   {"TM.bit", 37},  {"CM.bit", 38}, {"VM.bit", 39},
};

quint8 areaOf(std::string_view name)
{
    for (const AreaName &entry : areaNames) {
        if (entry.name == name)
            return entry.area;
    }
    ADD_FAILURE() << "the test names no device " << name;
    return 255;
}

class ReadList : public ListTest
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(m_complaints, Lines()) << "lines that came before the listing";
        ListTest::TearDown();
    }

    static HOSTVAR hostVariable(quint8 area, const char *address, int count, int station = 1)
    {
        HOSTVAR var;
        var.byte0 = 0xA5; // fields that the driver must not look at
        var.byte3 = 0x5A;
        var.word = -1;
        var.area = area;
        var.station = quint8(station);
        var.addressText = QString::fromUtf8(address);
        var.count = count;
        return var;
    }

    void add(std::string_view device, const char *address, int count, int station = 1)
    {
        variables.append(hostVariable(areaOf(device), address, count, station));
    }

    // Rebuilds, checks result and listing, and tells the blocks: "DM 100 +32, 2: R 10 +1"
    // (station 1 unsaid).
    std::string rebuilt()
    {
        const int result = ReCreatReadVarList(&variables);
        EXPECT_EQ(result, PLC_driver.readList.size());
        checkListing();
        return blocks();
    }

    Lines takeComplaints()
    {
        Lines taken;
        taken.swap(m_complaints);
        return taken;
    }

    // The blocks of the read list, by the device whose name their read key bears.
    static std::string blocks()
    {
        std::string text;
        for (int i = 0; i < PLC_driver.readList.size(); ++i) {
            const RW_VAR &block = PLC_driver.readList.at(i);
            text += i == 0 ? "" : ", ";
            if (block.station != 1)
                text += std::to_string(block.station) + ": ";
            text += keyName(block.area) + " " + std::to_string(block.address) + " +" +
                    std::to_string(block.count);
        }
        return text;
    }

    QList<HOSTVAR> variables;

private:
    static std::string keyName(int key)
    {
        if (key == 21)
            return "CTH";
        if (key == 22)
            return "CTC";
        const bool isKey = (key >= 0 && key <= 7) || (key >= 10 && key <= 16) || (key >= 23 && key <= 25);
        return isKey ? std::string(areaNames[key].name) : "no key " + std::to_string(key);
    }

    // The listing comes last: its title, then one line a block. What came before it are complaints.
    void checkListing()
    {
        Lines listing{"************ fenzu ***********"};
        for (int i = 0; i < PLC_driver.readList.size(); ++i) {
            const RW_VAR &block = PLC_driver.readList.at(i);
            listing.push_back(std::to_string(block.station) + " " + std::to_string(block.area) + " " +
                              std::to_string(block.address) + " " + std::to_string(block.count));
        }
        Lines lines = takeLines();
        const std::size_t before = lines.size() < listing.size() ? 0 : lines.size() - listing.size();
        m_complaints.insert(m_complaints.end(), lines.begin(), lines.begin() + std::ptrdiff_t(before));
        EXPECT_EQ(Lines(lines.begin() + std::ptrdiff_t(before), lines.end()), listing);
    }

    Lines m_complaints;
};

// --- each of the 40 areas ---

struct AreaRow {
    const char *name;
    const char *device, *address;
    int count;
    const char *blocks;
};

class ReadListOfArea : public ReadList, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(ReadListOfArea, readsItsDeviceInStoreUnits)
{
    add(GetParam().device, GetParam().address, GetParam().count);
    EXPECT_EQ(rebuilt(), GetParam().blocks);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, ReadListOfArea, testing::Values(
    AreaRow{"R",         "R",       "1015",  2, "R 10 +2"},
    AreaRow{"B",         "B",       "1F3",   1, "B 31 +1"},
    AreaRow{"MR",        "MR",      "1000", 17, "MR 10 +2"},
    AreaRow{"LR",        "LR",      "5",     1, "LR 0 +1"},
    AreaRow{"CR",        "CR",      "7915",  1, "CR 79 +1"},
    AreaRow{"VB",        "VB",      "1F",    2, "VB 1 +2"},
    AreaRow{"T",         "T",       "7",     2, "T 7 +1"},
    AreaRow{"C",         "C",       "7",     3, "C 7 +1, C 8 +1"},
    AreaRow{"CTH",       "CTH",     "1",     1, "CTH 1 +1"},
    AreaRow{"CTC",       "CTC",     "2",     1, "CTC 2 +1"},
    AreaRow{"DM",        "DM",      "100",   4, "DM 100 +4"},
    AreaRow{"EM",        "EM",      "100",   4, "EM 100 +4"},
    AreaRow{"FM",        "FM",      "100",   4, "FM 100 +4"},
    AreaRow{"ZF",        "ZF",      "100",   4, "ZF 100 +4"},
    AreaRow{"W",         "W",       "100",   4, "W 256 +4"},
    AreaRow{"TM",        "TM",      "100",   4, "TM 100 +4"},
    AreaRow{"Z",         "Z",       "3",     5, "Z 3 +3"},
    AreaRow{"T_dword",   "T.D",     "7",     4, "T 7 +1, T 8 +1"},
    AreaRow{"TS",        "TS",      "7",     2, "T 7 +1"},
    AreaRow{"C_dword",   "C.D",     "7",     2, "C 7 +1"},
    AreaRow{"CS",        "CS",      "7",     2, "C 7 +1"},
    AreaRow{"CTH_dword", "CTH.D",   "0",     4, "CTH 0 +1, CTH 1 +1"},
    AreaRow{"CTC_dword", "CTC.D",   "0",     4, "CTC 0 +1, CTC 1 +1"},
    AreaRow{"AT",        "AT",      "0",     4, "AT 0 +2"},
    AreaRow{"CM",        "CM",      "100",   4, "CM 100 +4"},
    AreaRow{"VM",        "VM",      "100",   4, "VM 100 +4"},
    AreaRow{"R_word",    "R.word",  "1015",  2, "R 10 +2"},
    AreaRow{"B_word",    "B.word",  "1F0",   2, "B 31 +2"},
    AreaRow{"MR_word",   "MR.word", "1000",  2, "MR 10 +2"},
    AreaRow{"LR_word",   "LR.word", "1000",  2, "LR 10 +2"},
    AreaRow{"CR_word",   "CR.word", "1000",  2, "CR 10 +2"},
    AreaRow{"VB_word",   "VB.word", "A0",    2, "VB 10 +2"},
    AreaRow{"DM_bit",    "DM.bit",  "10.15", 2, "DM 10 +2"},
    AreaRow{"EM_bit",    "EM.bit",  "10.0",  1, "EM 10 +1"},
    AreaRow{"FM_bit",    "FM.bit",  "10.0",  1, "FM 10 +1"},
    AreaRow{"ZF_bit",    "ZF.bit",  "10.0",  1, "ZF 10 +1"},
    AreaRow{"W_bit",     "W.bit",   "1A.3",  1, "W 26 +1"},
    AreaRow{"TM_bit",    "TM.bit",  "10.0",  1, "TM 10 +1"},
    AreaRow{"CM_bit",    "CM.bit",  "10.0",  1, "CM 10 +1"},
    AreaRow{"VM_bit",    "VM.bit",  "10.0",  1, "VM 10 +1"}), rowName);
// clang-format on

// --- variables laid into blocks ---

TEST_F(ReadList, absorbsAVariableThatStartsWithinTheBlock)
{
    add("DM", "100", 4);
    add("DM", "130", 2);
    EXPECT_EQ(rebuilt(), "DM 100 +32");
}

TEST_F(ReadList, laysOutTheWorkedExample)
{
    settings.maxBlockLength = 64;
    add("DM", "0", 1);
    add("DM", "10", 2);
    add("DM", "63", 4);
    add("DM", "200", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +3, DM 200 +1");
}

TEST_F(ReadList, doesNotDependOnTheOrderOfTheInput)
{
    add("DM", "200", 1);
    add("DM", "63", 4);
    add("DM", "0", 1);
    add("DM", "10", 2);
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +3, DM 200 +1");
}

TEST_F(ReadList, theLongerOfTwoAtOneAddressDecides)
{
    add("DM", "100", 2);
    add("DM", "100", 5);
    EXPECT_EQ(rebuilt(), "DM 100 +5");
}

TEST_F(ReadList, theShorterOfTwoAtOneAddressAddsNothing)
{
    add("DM", "100", 5);
    add("DM", "100", 2);
    EXPECT_EQ(rebuilt(), "DM 100 +5");
}

TEST_F(ReadList, aVariableInsideABlockAddsNothing)
{
    add("DM", "100", 10);
    add("DM", "103", 7);
    add("DM", "105", 1);
    EXPECT_EQ(rebuilt(), "DM 100 +10");
}

TEST_F(ReadList, theLastUnitWithinReachIsAbsorbed)
{
    add("DM", "0", 1);
    add("DM", "63", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +64");
}

TEST_F(ReadList, theFirstUnitOutOfReachOpensABlock)
{
    add("DM", "0", 1);
    add("DM", "64", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +1, DM 64 +1");
}

TEST_F(ReadList, aFullBlockIsFollowedByAnother)
{
    add("DM", "0", 64);
    add("DM", "64", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +1");
}

TEST_F(ReadList, reachIsCountedFromTheLastBlock)
{
    add("DM", "0", 1);
    add("DM", "63", 2);
    add("DM", "127", 1); // within 64 of the block (64, 1)
    add("DM", "192", 1); // not within 64 of 64 or 128
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +64, DM 192 +1");
}

TEST_F(ReadList, aLongVariableIsCut)
{
    add("DM", "7", 130);
    EXPECT_EQ(rebuilt(), "DM 7 +64, DM 71 +64, DM 135 +2");
}

TEST_F(ReadList, aLongVariableOfWholeBlocksLeavesNoRest)
{
    add("DM", "7", 128);
    EXPECT_EQ(rebuilt(), "DM 7 +64, DM 71 +64");
}

TEST_F(ReadList, aLongVariableGoesOnFromTheBlockItExtends)
{
    add("DM", "0", 1);
    add("DM", "63", 130);
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +64, DM 128 +64, DM 192 +1");
}

TEST_F(ReadList, aVariableBehindTheStartOfTheLastPieceStillExtendsIt)
{
    add("DM", "0", 130);
    add("DM", "10", 1);
    add("DM", "10", 125);
    EXPECT_EQ(rebuilt(), "DM 0 +64, DM 64 +64, DM 128 +7");
}

TEST_F(ReadList, blocksMayBeLongerThanAWriteMayBe)
{
    settings.maxBlockLength = 200;
    add("DM", "0", 300);
    EXPECT_EQ(rebuilt(), "DM 0 +200, DM 200 +100");
    EXPECT_EQ(settings.maxBlockLength, 200);
}

struct LengthRow {
    const char *name;
    int maxBlockLength;
};

class BlocksOfOne : public ReadList, public testing::WithParamInterface<LengthRow>
{
};

TEST_P(BlocksOfOne, splitEveryUnit)
{
    settings.maxBlockLength = GetParam().maxBlockLength;
    add("DM", "5", 3);
    add("DM", "6", 3);
    add("Z", "0", 4);
    EXPECT_EQ(rebuilt(), "DM 5 +1, DM 6 +1, DM 7 +1, DM 8 +1, Z 0 +1, Z 1 +1");
    EXPECT_EQ(settings.maxBlockLength, GetParam().maxBlockLength);
}

INSTANTIATE_TEST_SUITE_P(Length, BlocksOfOne,
                         testing::Values(LengthRow{"1", 1}, LengthRow{"0isTakenAs1", 0},
                                         LengthRow{"minus5isTakenAs1", -5}),
                         rowName);

// --- timers and counters ---

TEST_F(ReadList, timersAreReadOneByOne)
{
    add("T.D", "10", 4);
    EXPECT_EQ(rebuilt(), "T 10 +1, T 11 +1");
}

TEST_F(ReadList, neighbouringTimersAreNotMerged)
{
    add("T", "11", 1);
    add("T", "10", 1);
    add("T", "13", 1);
    EXPECT_EQ(rebuilt(), "T 10 +1, T 11 +1, T 13 +1");
}

TEST_F(ReadList, allViewsOfOneTimerAreOneRead)
{
    add("TS", "10", 2);
    add("T", "10", 1);
    add("T.D", "10", 2);
    add("C", "10", 1);
    add("CS", "10", 2);
    add("C.D", "10", 2);
    EXPECT_EQ(rebuilt(), "T 10 +1, C 10 +1");
}

TEST_F(ReadList, contactsAndValuesOfHighSpeedCountersAreOneRead)
{
    add("CTC.D", "1", 2);
    add("CTC", "1", 1);
    add("CTH", "0", 1);
    add("CTH.D", "0", 2);
    EXPECT_EQ(rebuilt(), "CTH 0 +1, CTC 1 +1");
}

TEST_F(ReadList, overlappingTimersAreReadOnceEach)
{
    add("T.D", "5", 6); // 5, 6, 7
    add("T.D", "5", 8); // 5 .. 8
    add("T.D", "6", 2);
    EXPECT_EQ(rebuilt(), "T 5 +1, T 6 +1, T 7 +1, T 8 +1");
}

TEST_F(ReadList, indexRegistersAndTrimmersAreMerged)
{
    add("Z", "1", 2);
    add("Z", "5", 2);
    add("AT", "0", 1);
    add("AT", "3", 1);
    EXPECT_EQ(rebuilt(), "Z 1 +5, AT 0 +4");
}

// --- grouping ---

TEST_F(ReadList, bitsOfOneChannelAreOneWord)
{
    add("R", "1000", 1);
    add("R", "1015", 1);
    EXPECT_EQ(rebuilt(), "R 10 +1");
}

TEST_F(ReadList, wordsAndTheirBitsAreMerged)
{
    add("DM", "100", 1);
    add("DM.bit", "103.5", 1);
    add("R.word", "1000", 1);
    add("R", "1115", 2);
    EXPECT_EQ(rebuilt(), "R 10 +3, DM 100 +4");
}

TEST_F(ReadList, keysComeInAscendingOrder)
{
    for (const char *device : {"VM", "CM", "AT", "CTC", "CTH", "Z", "TM", "W", "ZF", "FM", "EM", "DM"})
        add(device, "1", 1);
    for (const char *device : {"C", "T", "VB", "CR", "LR", "MR", "B", "R"})
        add(device, "1", 1);
    EXPECT_EQ(rebuilt(),
              "R 0 +1, B 0 +1, MR 0 +1, LR 0 +1, CR 0 +1, VB 0 +1, T 1 +1, C 1 +1, DM 1 +1, EM 1 +1, "
              "FM 1 +1, ZF 1 +1, W 1 +1, TM 1 +1, Z 1 +1, CTH 1 +1, CTC 1 +1, AT 1 +1, CM 1 +1, "
              "VM 1 +1");
}

TEST_F(ReadList, stationsComeBeforeKeysAndKeysBeforeAddresses)
{
    add("DM", "5", 1, 2);
    add("R", "0", 1, 2);
    add("EM", "300", 1);
    add("EM", "200", 1);
    add("DM", "9", 1);
    add("DM", "0", 1, 255);
    EXPECT_EQ(rebuilt(), "DM 9 +1, EM 200 +1, EM 300 +1, 2: R 0 +1, 2: DM 5 +1, 255: DM 0 +1");
}

TEST_F(ReadList, stationsAreNotMerged)
{
    add("DM", "0", 1, 2);
    add("DM", "1", 1, 1);
    add("DM", "2", 1, 0);
    EXPECT_EQ(rebuilt(), "0: DM 2 +1, DM 1 +1, 2: DM 0 +1");
}

TEST_F(ReadList, withoutMultiStationAllVariablesAreOfTheDefaultStation)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    add("DM", "0", 1, 2);
    add("DM", "1", 1, 1);
    EXPECT_EQ(rebuilt(), "4: DM 0 +2");
}

TEST_F(ReadList, anyMultiStationButZeroKeepsStations)
{
    settings.multiStation = -1;
    settings.defaultStation = 4;
    add("DM", "0", 1, 2);
    EXPECT_EQ(rebuilt(), "2: DM 0 +1");
}

// A block of the group before must not swallow the first variable of the next group.
TEST_F(ReadList, everyGroupOpensItsOwnBlock)
{
    add("R", "500", 1);
    add("B", "60", 1);
    add("DM", "7", 1);
    add("EM", "8", 1);
    EXPECT_EQ(rebuilt(), "R 5 +1, B 6 +1, DM 7 +1, EM 8 +1");
}

// --- counts below 1 ---

TEST_F(ReadList, nothingIsReadForACountOf0)
{
    add("DM", "100", 0);
    add("EM", "100", -5);
    add("Z", "3", 0);
    add("T", "3", -1);
    add("R", "1000", 0);
    EXPECT_EQ(rebuilt(), "");
}

TEST_F(ReadList, aBitInsideAWordIsReadWithACountOf0)
{
    add("R", "1001", 0);
    add("DM.bit", "5.15", 0);
    EXPECT_EQ(rebuilt(), "R 10 +1, DM 5 +1");
}

TEST_F(ReadList, theFirstVariableWithACountOpensTheBlock)
{
    add("DM", "0", 0);
    add("DM", "1", -1);
    add("DM", "2", 3);
    add("DM", "10", 1);
    EXPECT_EQ(rebuilt(), "DM 2 +9");
}

TEST_F(ReadList, aGroupThatBeginsWithACountOf0DoesNotGrowTheGroupBefore)
{
    add("R", "1000", 1);
    add("DM", "5", 0);
    add("DM", "6", 1);
    add("DM", "12", 40);
    EXPECT_EQ(rebuilt(), "R 10 +1, DM 6 +46");
}

TEST_F(ReadList, aGroupOfCountsOf0LeavesTheGroupBeforeAlone)
{
    add("R", "1000", 1);
    add("DM", "20", 0);
    add("DM", "30", 0);
    EXPECT_EQ(rebuilt(), "R 10 +1");
}

// On purpose: a variable without elements that starts behind the block still pulls the block up
// to its start.
TEST_F(ReadList, aCountOf0WithinReachGrowsTheBlockToItsAddress)
{
    add("DM", "0", 1);
    add("DM", "5", 0);
    EXPECT_EQ(rebuilt(), "DM 0 +5");
}

TEST_F(ReadList, aNegativeCountWithinReachGrowsTheBlockToItsEnd)
{
    add("DM", "0", 1);
    add("DM", "5", -2);
    EXPECT_EQ(rebuilt(), "DM 0 +3");
}

TEST_F(ReadList, aNegativeCountThatEndsInsideTheBlockAddsNothing)
{
    add("DM", "0", 4);
    add("DM", "5", -2);
    add("DM", "6", -20);
    EXPECT_EQ(rebuilt(), "DM 0 +4");
}

TEST_F(ReadList, aCountOf0OutOfReachAddsNothing)
{
    add("DM", "0", 1);
    add("DM", "64", 0);
    add("DM", "70", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +1, DM 70 +1");
}

// --- far ends ---

TEST_F(ReadList, theHighestAddressIsReadOnce)
{
    add("DM", "2147483647", 1);
    add("DM", "2147483647", 1);
    EXPECT_EQ(rebuilt(), "DM 2147483647 +1");
}

TEST_F(ReadList, theHighestAddressesAreMerged)
{
    add("DM", "2147483647", 1);
    add("DM", "2147483600", 2);
    EXPECT_EQ(rebuilt(), "DM 2147483600 +48");
}

// No device reaches as far as int does: what would lie behind it is dropped, never wrapped to
// a negative address.
TEST_F(ReadList, blocksEndWithTheHighestAddress)
{
    settings.maxBlockLength = 2;
    add("DM", "2147483644", 6);
    add("T.D", "2147483647", 6);
    EXPECT_EQ(rebuilt(), "T 2147483647 +1, DM 2147483644 +2, DM 2147483646 +2");
}

TEST_F(ReadList, theHighestBitIsReadInItsWord)
{
    add("R", "13421772715", 1);
    EXPECT_EQ(rebuilt(), "R 134217727 +1");
}

// --- records that are dropped ---

TEST_F(ReadList, dropsWhatItCannotParse)
{
    add("DM", "x", 1);
    add("DM", "5", 1);
    add("R", "1x", 1);
    add("DM", "-5", 1);
    add("DM", "-1", 1);
    variables.append(hostVariable(40, "7", 1));
    variables.append(hostVariable(255, "8", 1));
    EXPECT_EQ(rebuilt(), "DM 5 +1");
    EXPECT_EQ(takeComplaints(), (Lines{"StringAddressToInt 10 \"x\" ", "StringAddressToInt 0 \"001x\" ",
                                       "StringAddressToInt 10 \"-1\" ", "StringAddressToInt 40 \"7\" ",
                                       "StringAddressToInt 255 \"8\" "}));
}

TEST_F(ReadList, dropsAddressesThatPassTheRangeOfInt)
{
    add("R", "13421772716", 1);
    add("DM.bit", "134217728.0", 1);
    EXPECT_EQ(rebuilt(), "");
    EXPECT_EQ(takeComplaints(),
              (Lines{"StringAddressToInt 0 \"0013421772716\" ", "StringAddressToInt 32 \"134217728.0\" "}));
}

TEST_F(ReadList, ofDroppedRecordsOnlyTheTitleIsListed)
{
    PLC_driver.readList.append(variable(AREA_DM, 1, 1));
    settings.cycleDone = 1;
    PLC_driver.readsThisCycle = 9;
    add("DM", "x", 1);
    EXPECT_EQ(ReCreatReadVarList(&variables), 0);
    EXPECT_EQ(takeLines(), (Lines{"StringAddressToInt 10 \"x\" ", "************ fenzu ***********"}));
    EXPECT_EQ(blocks(), "");
    EXPECT_EQ(settings.cycleDone, 0);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
}

// --- what a rebuilding changes, and what it lists ---

TEST_F(ReadList, listsItsBlocks)
{
    add("DM", "0", 3, 2);
    add("R", "1000", 1);
    add("T.D", "7", 4, 12);
    EXPECT_EQ(ReCreatReadVarList(&variables), 4);
    EXPECT_EQ(takeLines(),
              (Lines{"************ fenzu ***********", "1 0 10 1", "2 10 0 3", "12 6 7 1", "12 6 8 1"}));
}

TEST_F(ReadList, replacesTheOldList)
{
    RW_VAR old = variable(AREA_EM, 7, 1);
    AddListReadVar(&old);
    add("DM", "0", 1);
    EXPECT_EQ(rebuilt(), "DM 0 +1");
    EXPECT_EQ(rebuilt(), "DM 0 +1");
    variables.clear();
    add("DM", "9", 1);
    EXPECT_EQ(rebuilt(), "DM 9 +1");
}

TEST_F(ReadList, beginsANewCycle)
{
    settings.cycleDone = 1;
    PLC_driver.readsThisCycle = 9;
    add("DM", "0", 1);
    rebuilt();
    EXPECT_EQ(settings.cycleDone, 0);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
}

TEST_F(ReadList, anEmptyInputEmptiesTheListAndChangesNothingElse)
{
    PLC_driver.readList.append(variable(AREA_DM, 1, 1));
    settings.cycleDone = 1;
    PLC_driver.readsThisCycle = 9;
    EXPECT_EQ(ReCreatReadVarList(&variables), 0);
    EXPECT_EQ(blocks(), "");
    EXPECT_EQ(takeLines(), Lines());
    EXPECT_EQ(settings.cycleDone, 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 9);
}

TEST_F(ReadList, withoutAnInputListNothingIsDone)
{
    PLC_driver.readList.append(variable(AREA_DM, 1, 1));
    settings.cycleDone = 1;
    PLC_driver.readsThisCycle = 9;
    EXPECT_EQ(ReCreatReadVarList(nullptr), 0);
    EXPECT_EQ(blocks(), "DM 1 +1");
    EXPECT_EQ(settings.cycleDone, 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 9);
}

TEST_F(ReadList, withoutSettingsNothingIsDone)
{
    PLC_driver.readList.append(variable(AREA_DM, 1, 1));
    PLC_driver.comInfo = nullptr;
    PLC_driver.readsThisCycle = 9;
    add("DM", "5", 1);
    EXPECT_EQ(ReCreatReadVarList(&variables), 0);
    EXPECT_EQ(blocks(), "DM 1 +1");
    EXPECT_EQ(PLC_driver.readsThisCycle, 9);
}

TEST_F(ReadList, leavesOtherListsAndTheStoreAlone)
{
    PLC_driver.writeList.append(variable(AREA_DM, 1, 1));
    PLC_driver.onceReadList.append(variable(AREA_DM, 2, 1));
    PLC_driver.writeTurns = 3;
    PLC_driver.onceReadTurns = 4;
    add("DM", "5", 1);
    rebuilt();
    EXPECT_EQ(entries(PLC_driver.writeList), "10 1 +1");
    EXPECT_EQ(entries(PLC_driver.onceReadList), "10 2 +1");
    EXPECT_EQ(PLC_driver.writeTurns, 3);
    EXPECT_EQ(PLC_driver.onceReadTurns, 4);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_F(ReadList, leavesTheInputAlone)
{
    add("R", "1015", 2, 3);
    variables[0].extraText = "extra";
    rebuilt();
    ASSERT_EQ(variables.size(), 1);
    const HOSTVAR &var = variables.at(0);
    EXPECT_EQ(var.byte0, 0xA5);
    EXPECT_EQ(var.area, 0);
    EXPECT_EQ(var.station, 3);
    EXPECT_EQ(var.byte3, 0x5A);
    EXPECT_EQ(var.word, -1);
    EXPECT_EQ(var.addressText, "1015");
    EXPECT_EQ(var.extraText, "extra");
    EXPECT_EQ(var.count, 2);
}

TEST_F(ReadList, blocksBearTheTextsOfTheVariableThatOpenedThem)
{
    settings.remoteMode = 31;
    settings.localLinkId = 32;
    add("DM", "0", 1, 3);
    add("DM", "63", 2, 3);
    add("DM.bit", "200.5", 1, 3);
    for (int i = 0; i < 3; ++i)
        variables[i].extraText = "extra" + QString::number(i);
    EXPECT_EQ(rebuilt(), "3: DM 0 +64, 3: DM 64 +1, 3: DM 200 +1");

    RW_VAR block;
    block.ownerType = 0;
    block.ownerId = -1;
    block.accessMode = 0;
    block.field3 = 31;
    block.linkId = 32;
    block.extraText = "extra0";
    block.addressText = "0";
    block.area = 10;
    block.station = 3;
    block.count = 64;
    EXPECT_EQ(allFields(PLC_driver.readList.at(0)), allFields(block));
    block.address = 64; // continues the block of DM 0
    block.count = 1;
    EXPECT_EQ(allFields(PLC_driver.readList.at(1)), allFields(block));
    block.address = 200;
    block.extraText = "extra2";
    block.addressText = "200.5";
    EXPECT_EQ(allFields(PLC_driver.readList.at(2)), allFields(block));
}

// Equal addresses keep the order of the input, so the first one names the block.
TEST_F(ReadList, ofTwoAtOneAddressTheFirstNamesTheBlock)
{
    add("DM", "9", 1);
    add("DM", "5", 1);
    add("DM.bit", "5.3", 1);
    add("DM", "5", 4);
    EXPECT_EQ(rebuilt(), "DM 5 +5");
    EXPECT_EQ(PLC_driver.readList.at(0).addressText, "5");
    variables.swapItemsAt(1, 2);
    EXPECT_EQ(rebuilt(), "DM 5 +5");
    EXPECT_EQ(PLC_driver.readList.at(0).addressText, "5.3");
}

TEST_F(ReadList, waitsForTheLists)
{
    add("DM", "5", 1);
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { ReCreatReadVarList(&variables); }));
    EXPECT_EQ(takeLines(), (Lines{"************ fenzu ***********", "1 10 5 1"}));
    variables.clear();
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { ReCreatReadVarList(&variables); }));
    EXPECT_EQ(blocks(), "");
}

// --- the listing is printed after the lists are released ---

std::vector<std::string> linesUnderLock;
int linesSeen = 0;

void noteLock(QtMsgType, const QMessageLogContext &, const QString &text)
{
    ++linesSeen;
    if (PLC_driver.listMutex.tryLock())
        PLC_driver.listMutex.unlock();
    else
        linesUnderLock.push_back(text.toStdString());
}

TEST_F(ReadList, listsAfterReleasingTheLists)
{
    linesUnderLock.clear();
    linesSeen = 0;
    add("DM", "5", 1);
    const QtMessageHandler recording = qInstallMessageHandler(noteLock);
    ReCreatReadVarList(&variables);
    qInstallMessageHandler(recording);
    EXPECT_EQ(linesSeen, 2);
    EXPECT_EQ(linesUnderLock, Lines());
}

// --- the whole rebuilding, random ---

struct Unit {
    int station, key, address;
    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it compares with is no pointer
    auto operator<=>(const Unit &) const = default;
};

// Whatever was asked for is read, by blocks that are short enough, in order, and do not overlap.
TEST_F(ReadList, readsEveryUnitOfRandomVariablesOnce)
{
    const unsigned seed = chosenSeed();
    Dice dice(seed);
    const char *const words[] = {"DM", "EM", "TM", "Z", "T.D", "C.D", "CTH.D"};
    const int keys[] = {10, 11, 15, 16, 6, 7, 21};
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        settings.maxBlockLength = dice.between(1, 40);
        variables.clear();
        std::vector<Unit> wanted;
        for (int i = dice.between(1, 30); i > 0; --i) {
            const int device = dice.between(0, 6), address = dice.between(0, 120),
                      units = dice.between(1, 50);
            const int station = dice.between(1, 2);
            add(words[device], std::to_string(address).c_str(), device < 3 ? units : 2 * units, station);
            for (int k = 0; k < units; ++k)
                wanted.push_back({station, keys[device], address + k});
        }
        rebuilt();
        std::vector<Unit> read;
        for (int i = 0; i < PLC_driver.readList.size(); ++i) {
            const RW_VAR &block = PLC_driver.readList.at(i);
            const bool oneByOne = block.area == 6 || block.area == 7 || block.area == 21;
            ASSERT_GE(block.count, 1);
            ASSERT_LE(block.count, oneByOne ? 1 : settings.maxBlockLength);
            for (int k = 0; k < block.count; ++k)
                read.push_back({block.station, block.area, block.address + k});
        }
        ASSERT_TRUE(std::is_sorted(read.begin(), read.end()));
        ASSERT_EQ(std::adjacent_find(read.begin(), read.end()), read.end()) << "a unit is read twice";
        std::sort(wanted.begin(), wanted.end());
        wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
        ASSERT_TRUE(std::includes(read.begin(), read.end(), wanted.begin(), wanted.end()));
    }
}
} // namespace
