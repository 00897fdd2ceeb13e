// SPDX-License-Identifier: MIT
// Registering variables: cyclic reads, writes and one-shot reads.
#include "list_test.h"

namespace
{
constexpr int mostEntries = 1024;

// Entries 0 +1, 1 +1, ... of CM (area 24), which no other test row uses, straight into a list.
QList<RW_VAR> filled(int entries)
{
    QList<RW_VAR> list;
    for (int i = 0; i < entries; ++i) {
        RW_VAR var;
        var.area = AREA_CM;
        var.address = i;
        var.station = 1;
        var.count = 1;
        list.append(var);
    }
    return list;
}

// --- AddListReadVar ---

class ReadRegistration : public ListTest
{
};

TEST_F(ReadRegistration, appendsTheRecordAsItIs)
{
    RW_VAR first = distinct(AREA_R, 175, 2);
    RW_VAR second = distinct(AREA_DM_BIT, 1605, -3);
    EXPECT_EQ(AddListReadVar(&first), 1);
    EXPECT_EQ(AddListReadVar(&second), 2);
    ASSERT_EQ(entries(PLC_driver.readList), "0 175 +2, 32 1605 +-3");
    EXPECT_EQ(allFields(PLC_driver.readList.at(0)), allFields(distinct(AREA_R, 175, 2)));
    EXPECT_EQ(allFields(PLC_driver.readList.at(1)), allFields(distinct(AREA_DM_BIT, 1605, -3)));
    EXPECT_EQ(allFields(first), allFields(distinct(AREA_R, 175, 2)));
}

TEST_F(ReadRegistration, parsesNothingAndKeepsDuplicates)
{
    RW_VAR var = variable(99, -1, 1);
    var.addressText = "no address";
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(AddListReadVar(&var), 2);
    EXPECT_EQ(entries(PLC_driver.readList), "99 -1 +1, 99 -1 +1");
}

TEST_F(ReadRegistration, hasNoBound)
{
    PLC_driver.readList = filled(mostEntries);
    RW_VAR var = variable(AREA_DM, 100, 1);
    EXPECT_EQ(AddListReadVar(&var), 1025);
    EXPECT_EQ(AddListReadVar(&var), 1026);
}

TEST_F(ReadRegistration, needsNoSettings)
{
    PLC_driver.comInfo = nullptr;
    RW_VAR var = variable(AREA_DM, 100, 1, 9);
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(PLC_driver.readList.at(0).station, 9);
}

TEST_F(ReadRegistration, ignoresTheStationOfTheSettings)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    RW_VAR var = variable(AREA_DM, 100, 1, 9);
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(PLC_driver.readList.at(0).station, 9);
}

TEST_F(ReadRegistration, takesNoLock)
{
    EXPECT_TRUE(doesWithout(PLC_driver.listMutex, [] {
        RW_VAR var = variable(AREA_DM, 100, 1);
        AddListReadVar(&var);
    }));
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

TEST_F(ReadRegistration, doesNothingWithoutARecord)
{
    PLC_driver.readList = filled(2);
    EXPECT_EQ(AddListReadVar(nullptr), 0);
    EXPECT_EQ(PLC_driver.readList.size(), 2);
}

// --- AddListWriteVar ---

class WriteRegistration : public ListTest
{
protected:
    // Registers a write of DM words; the result of the call.
    static int add(int address, int count, const char *dataHex, int mode = 0)
    {
        RW_VAR var = write(AREA_DM, address, count, dataHex);
        return AddListWriteVar(&var, mode);
    }

    static std::string pending() { return entriesWithData(PLC_driver.writeList); }
};

TEST_F(WriteRegistration, appendsNewOnes)
{
    EXPECT_EQ(add(100, 1, "01 00"), 1);
    EXPECT_EQ(add(101, 1, "02 00"), 2);
    EXPECT_EQ(add(102, 2, "03 00 04 00"), 3);
    EXPECT_EQ(pending(), "10 100 +1 [01 00], 10 101 +1 [02 00], 10 102 +2 [03 00 04 00]");
}

TEST_F(WriteRegistration, appendsTheRecordAsItIs)
{
    RW_VAR var = distinct(AREA_DM_BIT, 1605, 1);
    EXPECT_EQ(AddListWriteVar(&var, 0), 1);
    EXPECT_EQ(allFields(PLC_driver.writeList.at(0)), allFields(distinct(AREA_DM_BIT, 1605, 1)));
    EXPECT_EQ(allFields(var), allFields(distinct(AREA_DM_BIT, 1605, 1)));
}

TEST_F(WriteRegistration, newerValuesReplaceAPendingWriteInPlace)
{
    add(1, 1, "0A 00");
    add(2, 1, "0B 00");
    add(3, 1, "0C 00");
    EXPECT_EQ(add(2, 1, "FF 00"), 3);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [FF 00], 10 3 +1 [0C 00]");
    EXPECT_EQ(add(3, 1, "EE 00"), 3);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [FF 00], 10 3 +1 [EE 00]");
}

// The head may be on the wire at this moment.
TEST_F(WriteRegistration, theHeadIsNeverLookedAt)
{
    add(1, 1, "0A 00");
    EXPECT_EQ(add(1, 1, "AA 00"), 2) << "only the head is pending";
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 1 +1 [AA 00]");
    EXPECT_EQ(add(1, 1, "BB 00"), 2) << "the second one is not the head";
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 1 +1 [BB 00]");
}

TEST_F(WriteRegistration, aDuplicateOfTheHeadComesThirdBehindAnotherOne)
{
    add(1, 1, "0A 00");
    add(2, 1, "0B 00");
    EXPECT_EQ(add(1, 1, "AA 00"), 3);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [0B 00], 10 1 +1 [AA 00]");
}

TEST_F(WriteRegistration, ofSeveralEqualOnesTheFirstBehindTheHeadIsReplaced)
{
    for (int i = 0; i < 3; ++i)
        add(1, 1, "0A 00", 1);
    EXPECT_EQ(add(1, 1, "BB 00"), 3);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 1 +1 [BB 00], 10 1 +1 [0A 00]");
}

TEST_F(WriteRegistration, replacingCopiesEveryField)
{
    add(1, 1, "0A 00");
    RW_VAR pendingWrite = write(AREA_DM, 200, 2, "01 00 02 00", 507);
    AddListWriteVar(&pendingWrite, 0);
    RW_VAR newer = distinct(AREA_DM, 200, 2); // same station 507, area, address and count; all else differs
    EXPECT_EQ(AddListWriteVar(&newer, 0), 2);
    EXPECT_EQ(allFields(PLC_driver.writeList.at(1)), allFields(distinct(AREA_DM, 200, 2)));
}

struct DifferenceRow {
    const char *name;
    int area, address, count, station;
};

class WriteDifference : public WriteRegistration, public testing::WithParamInterface<DifferenceRow>
{
};

TEST_P(WriteDifference, makesItAnotherRequest)
{
    add(1, 1, "0A 00");
    add(100, 2, "01 00 02 00");
    const DifferenceRow &row = GetParam();
    RW_VAR other = write(row.area, row.address, row.count, "05 00 06 00", row.station);
    EXPECT_EQ(AddListWriteVar(&other, 0), 3);
    EXPECT_EQ(allFields(PLC_driver.writeList.at(1)), allFields(write(AREA_DM, 100, 2, "01 00 02 00")));
}

// The pending write is DM 100 +2 of station 1. Aliases of a device are different areas here.
INSTANTIATE_TEST_SUITE_P(In, WriteDifference,
                         testing::Values(DifferenceRow{"area", AREA_EM, 100, 2, 1},
                                         DifferenceRow{"alias", AREA_DM_BIT, 100, 2, 1},
                                         DifferenceRow{"address", AREA_DM, 101, 2, 1},
                                         DifferenceRow{"count", AREA_DM, 100, 1, 1},
                                         DifferenceRow{"station", AREA_DM, 100, 2, 2}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(WriteRegistration, mode1AppendsWhateverIsPending)
{
    EXPECT_EQ(add(1, 1, "0A 00", 1), 1);
    EXPECT_EQ(add(2, 1, "0B 00", 1), 2);
    EXPECT_EQ(add(2, 1, "BB 00", 1), 3);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [0B 00], 10 2 +1 [BB 00]");
}

TEST_F(WriteRegistration, everyOtherModeMerges)
{
    add(1, 1, "0A 00");
    add(2, 1, "0B 00");
    EXPECT_EQ(add(2, 1, "01 00", 2), 2);
    EXPECT_EQ(add(2, 1, "02 00", -1), 2);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [02 00]");
}

TEST_F(WriteRegistration, parsesNothingAndKeepsTheStation)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    RW_VAR var = write(AREA_DM, 100, 1, "01 00", 9);
    var.addressText = "no address";
    EXPECT_EQ(AddListWriteVar(&var, 0), 1);
    EXPECT_EQ(PLC_driver.writeList.at(0).station, 9);
}

TEST_F(WriteRegistration, theLastFreePlaceIsUsed)
{
    PLC_driver.writeList = filled(1023);
    EXPECT_EQ(add(100, 1, "01 00"), 1024);
    EXPECT_EQ(PLC_driver.writeList.last().area, AREA_DM);
}

TEST_F(WriteRegistration, aFullListDropsNewOnes)
{
    PLC_driver.writeList = filled(1024);
    EXPECT_EQ(add(100, 1, "01 00"), 1024);
    EXPECT_EQ(PLC_driver.writeList.last().area, AREA_CM);
}

TEST_F(WriteRegistration, aFullListStillMerges)
{
    PLC_driver.writeList = filled(1024);
    RW_VAR newer = write(AREA_CM, 1023, 1, "77 00");
    EXPECT_EQ(AddListWriteVar(&newer, 0), 1024);
    EXPECT_EQ(hex(PLC_driver.writeList.last().data), "77 00");
}

TEST_F(WriteRegistration, aFullListDropsADuplicateOfItsHead)
{
    PLC_driver.writeList = filled(1024);
    RW_VAR newer = write(AREA_CM, 0, 1, "77 00");
    EXPECT_EQ(AddListWriteVar(&newer, 0), 1024);
    EXPECT_EQ(hex(PLC_driver.writeList.first().data), "");
    EXPECT_EQ(PLC_driver.writeList.last().address, 1023);
}

TEST_F(WriteRegistration, mode1KnowsNoBound)
{
    PLC_driver.writeList = filled(1024);
    EXPECT_EQ(add(100, 1, "01 00", 1), 1025);
    EXPECT_EQ(add(101, 1, "01 00", 1), 1026);
    EXPECT_EQ(add(102, 1, "01 00"), 1026) << "past the bound, dropped";
    EXPECT_EQ(add(101, 1, "02 00"), 1026) << "past the bound, merged";
    EXPECT_EQ(hex(PLC_driver.writeList.last().data), "02 00");
}

TEST_F(WriteRegistration, needsNoSettings)
{
    PLC_driver.comInfo = nullptr;
    EXPECT_EQ(add(1, 1, "0A 00"), 1);
    EXPECT_EQ(add(2, 1, "0B 00", 1), 2);
    EXPECT_EQ(add(2, 1, "0C 00"), 2);
    EXPECT_EQ(pending(), "10 1 +1 [0A 00], 10 2 +1 [0C 00]");
}

TEST_F(WriteRegistration, doesNothingWithoutARecord)
{
    PLC_driver.writeList = filled(2);
    EXPECT_EQ(AddListWriteVar(nullptr, 0), 0);
    EXPECT_EQ(AddListWriteVar(nullptr, 1), 0);
    EXPECT_EQ(PLC_driver.writeList.size(), 2);
}

TEST_F(WriteRegistration, waitsForTheLists)
{
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { add(1, 1, "0A 00"); }));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { add(2, 1, "0A 00", 1); }));
    EXPECT_EQ(PLC_driver.writeList.size(), 2);
}

TEST_F(WriteRegistration, touchesNeitherTheStoreNorTheOtherLists)
{
    PLC_driver.lastFailed = 1;
    add(1, 1, "0A 00");
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}

// --- AddListOnceReadVar ---

class OnceReadRegistration : public ListTest
{
protected:
    // Registers a one-shot read as a screen does; the result of the call.
    static int add(int area, const char *text, int count, int ownerId = 50, int station = 1)
    {
        RW_VAR var = variable(area, 0, count, station);
        var.ownerId = ownerId;
        var.addressText = text;
        return AddListOnceReadVar(&var, 0);
    }

    static std::string pending() { return entries(PLC_driver.onceReadList); }
};

TEST_F(OnceReadRegistration, isCutIntoPieces)
{
    settings.maxBlockLength = 128;
    EXPECT_EQ(add(AREA_DM, "0", 300), 3);
    EXPECT_EQ(pending(), "10 0 +128, 10 128 +128, 10 256 +44");
}

struct PieceRow {
    const char *name;
    int maxBlockLength, area;
    const char *text;
    int count;
    const char *pending;
    int result;
};

class OnceReadPieces : public OnceReadRegistration, public testing::WithParamInterface<PieceRow>
{
};

TEST_P(OnceReadPieces, areQueuedInStoreUnits)
{
    const PieceRow &row = GetParam();
    settings.maxBlockLength = row.maxBlockLength;
    EXPECT_EQ(add(row.area, row.text, row.count), row.result);
    EXPECT_EQ(pending(), row.pending);
    EXPECT_EQ(settings.maxBlockLength, row.maxBlockLength);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Of, OnceReadPieces, testing::Values(
    PieceRow{"oneWord",              64, AREA_DM, "100",   1, "10 100 +1", 1},
    PieceRow{"lessThanABlock",       64, AREA_DM, "100",  63, "10 100 +63", 1},
    PieceRow{"aWholeBlock",          64, AREA_DM, "100",  64, "10 100 +64", 1},
    PieceRow{"aBlockAndOne",         64, AREA_DM, "100",  65, "10 100 +64, 10 164 +1", 2},
    PieceRow{"twoWholeBlocks",       64, AREA_DM, "100", 128, "10 100 +64, 10 164 +64", 2},
    PieceRow{"blocksPast128",       200, AREA_DM,   "0", 300, "10 0 +200, 10 200 +100", 2}, // no cap for reads
    PieceRow{"blocksOf1",             1, AREA_DM, "100",   3, "10 100 +1, 10 101 +1, 10 102 +1", 3},
    PieceRow{"blockLength0Is1",       0, AREA_DM, "100",   2, "10 100 +1, 10 101 +1", 2},
    PieceRow{"blockLengthMinus5Is1", -5, AREA_DM, "100",   2, "10 100 +1, 10 101 +1", 2},
    PieceRow{"relay",                64, AREA_R,  "1015",  1, "0 10 +1", 1},
    PieceRow{"relaysOfTwoWords",     64, AREA_R,  "1015",  2, "0 10 +2", 1},
    PieceRow{"relaysInBlocksOf2",     2, AREA_MR, "1000", 80, "2 10 +2, 2 12 +2, 2 14 +1", 3},
    PieceRow{"hexRelay",             64, AREA_VB, "1F3",   1, "5 31 +1", 1},
    PieceRow{"relayChannel",         64, AREA_R_WORD, "1015", 2, "0 10 +2", 1},
    PieceRow{"hexRelayWord",         64, AREA_B_WORD, "1F0", 2, "1 31 +2", 1},
    PieceRow{"bitsOfWords",          64, AREA_DM_BIT, "100.5", 20, "10 100 +2", 1},
    PieceRow{"bitOfHexWord",         64, AREA_W_BIT, "1A.3", 1, "14 26 +1", 1},
    PieceRow{"doubleWords",          64, AREA_Z,  "3",     5, "16 3 +3", 1},
    PieceRow{"doubleWordsInBlocks",   2, AREA_AT, "0",     6, "23 0 +2, 23 2 +1", 2},
    PieceRow{"timerContacts",        64, AREA_T,  "7",     3, "6 7 +2", 1}, // timers are not cut one by one here
    PieceRow{"timerSetValue",        64, AREA_TS, "7",     2, "6 7 +1", 1},
    PieceRow{"counterValue",         64, AREA_C_DWORD, "7", 4, "7 7 +2", 1},
    PieceRow{"highSpeedCounter",     64, AREA_CTH, "1",    2, "21 1 +1", 1},
    PieceRow{"highSpeedComparator",  64, AREA_CTC, "2",    2, "22 2 +1", 1},
    PieceRow{"noWords",              64, AREA_DM, "100",   0, "", 0},
    PieceRow{"minusWords",           64, AREA_DM, "100",  -1, "", 0},
    PieceRow{"farBelowZero",         64, AREA_DM, "100", -65, "", 0},
    PieceRow{"noDoubleWords",        64, AREA_Z,  "3",     0, "", 0},
    PieceRow{"minusDoubleWords",     64, AREA_Z,  "3",    -3, "", 0},
    PieceRow{"noBitsOfAWholeWord",   64, AREA_R,  "1000",  0, "", 0},
    PieceRow{"noBitsInsideAWord",    64, AREA_R,  "1001",  0, "0 10 +1", 1}, // the word is read all the same
    PieceRow{"noBitInsideADMWord",   64, AREA_DM_BIT, "100.5", 0, "10 100 +1", 1}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

// No device reaches as far as int does: what would lie behind it is dropped, never wrapped to
// a negative address.
TEST_F(OnceReadRegistration, endsWithTheHighestAddress)
{
    settings.maxBlockLength = 2;
    EXPECT_EQ(add(AREA_DM, "2147483644", 6), 2);
    EXPECT_EQ(pending(), "10 2147483644 +2, 10 2147483646 +2");
}

TEST_F(OnceReadRegistration, carriesTheRecordAndResetsTheMarks)
{
    settings.maxBlockLength = 2;
    RW_VAR var = distinct(AREA_DM_BIT, 999, 33); // 100.5: bits 5..37, words 100..102
    var.addressText = "100.5";
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 2);

    RW_VAR first = distinct(10, 100, 2);
    first.addressText = "100.5";
    first.preReadMark = 0;
    first.field13 = 0;
    RW_VAR second = first;
    second.address = 102;
    second.count = 1;
    ASSERT_EQ(PLC_driver.onceReadList.size(), 2);
    EXPECT_EQ(allFields(PLC_driver.onceReadList.at(0)), allFields(first));
    EXPECT_EQ(allFields(PLC_driver.onceReadList.at(1)), allFields(second));
}

TEST_F(OnceReadRegistration, leavesTheCallersRecordAlone)
{
    settings.multiStation = 0;
    RW_VAR var = distinct(AREA_R, 999, 2);
    var.addressText = "1015";
    const std::string before = allFields(var);
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
    EXPECT_EQ(allFields(var), before);
}

TEST_F(OnceReadRegistration, oneOwnerAsksOnce)
{
    EXPECT_EQ(add(AREA_DM, "0", 10), 1);
    EXPECT_EQ(add(AREA_DM, "0", 10), 1);
    EXPECT_EQ(add(AREA_DM, "5", 10), 2);
    EXPECT_EQ(add(AREA_DM, "0", 10), 2);
    EXPECT_EQ(add(AREA_DM, "5", 10), 2);
    EXPECT_EQ(pending(), "10 0 +10, 10 5 +10");
}

TEST_F(OnceReadRegistration, anOldEntryIsNotOverwritten)
{
    add(AREA_DM, "0", 1);
    RW_VAR again = variable(AREA_DM, 0, 1);
    again.addressText = "0";
    again.extraText = "newer";
    EXPECT_EQ(AddListOnceReadVar(&again, 0), 1);
    EXPECT_EQ(PLC_driver.onceReadList.at(0).extraText, "");
}

TEST_F(OnceReadRegistration, onlyMissingPiecesAreAdded)
{
    settings.maxBlockLength = 128;
    EXPECT_EQ(add(AREA_DM, "0", 300), 3);
    EXPECT_EQ(add(AREA_DM, "0", 200), 4);
    EXPECT_EQ(add(AREA_DM, "128", 172), 4);
    EXPECT_EQ(pending(), "10 0 +128, 10 128 +128, 10 256 +44, 10 128 +72");
}

TEST_F(OnceReadRegistration, aliasesOfOneRangeAreTheSameRequest)
{
    EXPECT_EQ(add(AREA_DM, "10", 1), 1);
    EXPECT_EQ(add(AREA_DM_BIT, "10.7", 3), 1);
    EXPECT_EQ(add(AREA_R, "1003", 2), 2);
    EXPECT_EQ(add(AREA_R_WORD, "1000", 1), 2);
    EXPECT_EQ(add(AREA_T, "4", 1), 3);
    EXPECT_EQ(add(AREA_TS, "4", 2), 3);
    EXPECT_EQ(pending(), "10 10 +1, 0 10 +1, 6 4 +1");
}

TEST_F(OnceReadRegistration, otherOwnersAndStationsAskForThemselves)
{
    EXPECT_EQ(add(AREA_DM, "0", 1), 1);
    EXPECT_EQ(add(AREA_DM, "0", 1, 51), 2);
    EXPECT_EQ(add(AREA_DM, "0", 1, 50, 2), 3);
    EXPECT_EQ(add(AREA_EM, "0", 1), 4);
    EXPECT_EQ(add(AREA_DM, "1", 1), 5);
    EXPECT_EQ(add(AREA_DM, "0", 2), 6);
    RW_VAR otherType = variable(AREA_DM, 0, 1);
    otherType.ownerType = 6;
    otherType.addressText = "0";
    EXPECT_EQ(AddListOnceReadVar(&otherType, 0), 7);
}

TEST_F(OnceReadRegistration, withoutMultiStationTheDefaultStationIsUsed)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    EXPECT_EQ(add(AREA_DM, "0", 1, 50, 9), 1);
    EXPECT_EQ(add(AREA_DM, "0", 1, 50, 8), 1) << "the same request once the station is replaced";
    EXPECT_EQ(PLC_driver.onceReadList.at(0).station, 4);
}

TEST_F(OnceReadRegistration, anyMultiStationButZeroKeepsTheStation)
{
    settings.defaultStation = 4;
    settings.multiStation = -1;
    add(AREA_DM, "0", 1, 50, 9);
    settings.multiStation = 2;
    add(AREA_DM, "0", 1, 50, 8);
    ASSERT_EQ(PLC_driver.onceReadList.size(), 2);
    EXPECT_EQ(PLC_driver.onceReadList.at(0).station, 9);
    EXPECT_EQ(PLC_driver.onceReadList.at(1).station, 8);
}

struct UnusableRow {
    const char *name;
    int area;
    const char *text;
    Lines lines;
};

class OnceReadUnusable : public OnceReadRegistration, public testing::WithParamInterface<UnusableRow>
{
};

TEST_P(OnceReadUnusable, queuesNothingAndGives0)
{
    add(AREA_DM, "0", 1);
    EXPECT_EQ(add(GetParam().area, GetParam().text, 1), 0);
    EXPECT_EQ(takeLines(), GetParam().lines);
    EXPECT_EQ(pending(), "10 0 +1");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Address, OnceReadUnusable, testing::Values(
    UnusableRow{"letters",   AREA_DM, "x",   {"StringAddressToInt 10 \"x\" "}},
    UnusableRow{"relay",     AREA_R,  "1x",  {"StringAddressToInt 0 \"001x\" "}},
    UnusableRow{"minus1",    AREA_DM, "-1",  {"StringAddressToInt 10 \"-1\" "}},
    UnusableRow{"minus5",    AREA_DM, "-5",  {}},
    UnusableRow{"area40",    40,      "100", {"StringAddressToInt 40 \"100\" "}},
    UnusableRow{"areaMinus1", -1,     "100", {"StringAddressToInt -1 \"100\" "}}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST_F(OnceReadRegistration, nothingToAddGivesTheLengthOfTheList)
{
    PLC_driver.onceReadList = filled(7);
    EXPECT_EQ(add(AREA_DM, "100", 0), 7);
    EXPECT_EQ(add(AREA_DM, "100", -3), 7);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 7);
}

TEST_F(OnceReadRegistration, theLastFreePlaceIsUsed)
{
    PLC_driver.onceReadList = filled(1023);
    EXPECT_EQ(add(AREA_DM, "100", 1), 1024);
    EXPECT_EQ(PLC_driver.onceReadList.last().area, AREA_DM);
}

TEST_F(OnceReadRegistration, aFullListDropsNewOnes)
{
    PLC_driver.onceReadList = filled(1024);
    EXPECT_EQ(add(AREA_DM, "100", 1), 1024);
    EXPECT_EQ(PLC_driver.onceReadList.last().area, AREA_CM);
}

TEST_F(OnceReadRegistration, piecesThatFindNoPlaceAreDropped)
{
    settings.maxBlockLength = 1;
    PLC_driver.onceReadList = filled(1022);
    EXPECT_EQ(add(AREA_DM, "100", 3), 1024);
    EXPECT_EQ(entries(PLC_driver.onceReadList.mid(1021)), "24 1021 +1, 10 100 +1, 10 101 +1");
}

TEST_F(OnceReadRegistration, mode1AppendsUnchanged)
{
    RW_VAR var = distinct(99, -7, -3);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 2);
    ASSERT_EQ(PLC_driver.onceReadList.size(), 2);
    EXPECT_EQ(allFields(PLC_driver.onceReadList.at(0)), allFields(distinct(99, -7, -3)));
    EXPECT_EQ(allFields(PLC_driver.onceReadList.at(1)), allFields(distinct(99, -7, -3)));
    EXPECT_EQ(allFields(var), allFields(distinct(99, -7, -3)));
}

TEST_F(OnceReadRegistration, mode1KeepsStationCountAndText)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    settings.maxBlockLength = 10;
    RW_VAR var = variable(AREA_DM, 100, 300, 9);
    var.addressText = "no address";
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1);
    EXPECT_EQ(pending(), "10 100 +300");
    EXPECT_EQ(PLC_driver.onceReadList.at(0).station, 9);
}

TEST_F(OnceReadRegistration, mode1KnowsNoBound)
{
    PLC_driver.onceReadList = filled(1024);
    RW_VAR var = variable(AREA_DM, 100, 1);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1025);
    EXPECT_EQ(add(AREA_DM, "200", 1), 1025) << "past the bound, dropped";
    EXPECT_EQ(add(AREA_DM, "100", 1), 1025) << "past the bound, a duplicate";
}

TEST_F(OnceReadRegistration, everyOtherModeParses)
{
    for (const int mode : {0, 2, -1}) {
        RW_VAR var = variable(AREA_R, 0, 2);
        var.addressText = "1015";
        EXPECT_EQ(AddListOnceReadVar(&var, mode), 1);
    }
    EXPECT_EQ(pending(), "0 10 +2");
}

TEST_F(OnceReadRegistration, onlyMode1WorksWithoutSettings)
{
    PLC_driver.comInfo = nullptr;
    EXPECT_EQ(add(AREA_DM, "0", 1), 0);
    EXPECT_EQ(pending(), "");
    RW_VAR var = variable(AREA_DM, 100, 1);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1);
}

TEST_F(OnceReadRegistration, doesNothingWithoutARecord)
{
    PLC_driver.onceReadList = filled(2);
    EXPECT_EQ(AddListOnceReadVar(nullptr, 0), 0);
    EXPECT_EQ(AddListOnceReadVar(nullptr, 1), 0);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 2);
}

TEST_F(OnceReadRegistration, waitsForTheLists)
{
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { add(AREA_DM, "0", 1); }));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] {
        RW_VAR var = variable(AREA_DM, 100, 1);
        AddListOnceReadVar(&var, 1);
    }));
    EXPECT_EQ(PLC_driver.onceReadList.size(), 2);
}

TEST_F(OnceReadRegistration, touchesNeitherTheStoreNorTheOtherLists)
{
    add(AREA_DM, "0", 1);
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}
} // namespace
