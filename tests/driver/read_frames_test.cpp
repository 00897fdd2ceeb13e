// SPDX-License-Identifier: MIT
// Read requests: the command of every area, the reply it announces, and what is queued when
// there is none.
#include "queued_frames.h"

namespace
{
struct ReadRow {
    const char *name;
    int area, address, count;
    Queued expected; // frame, frameLength, replyLength, replyOffset, payloadLength

    friend void PrintTo(const ReadRow &row, std::ostream *out) { *out << row.name; }
};

class ReadFrame : public FrameTest, public testing::WithParamInterface<ReadRow>
{
protected:
    ReadFrame() : var(marked(GetParam().area, GetParam().address, GetParam().count)), given(var) {}

    RW_VAR var;         // what the builder gets
    const RW_VAR given; // the same, out of its reach
};

TEST_P(ReadFrame, isQueuedByReadAnalog)
{
    ReadAnalog(&var);
    expectOnly(GetParam().expected, given);
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
}

TEST_P(ReadFrame, isQueuedByReadRegisterForALinkedStation)
{
    ReadRegister(&var);
    expectOnly(GetParam().expected, given);
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
}

TEST_P(ReadFrame, leavesTheStoreAndTheListsAlone)
{
    PLC_driver.readList.append(given);
    ReadRegister(&var);
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_EQ(PLC_driver.readList.size(), 1);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

// clang-format off
// Reply: the values with spaces between, and CR LF; 5 digits a word, 10 a double word, 23 a timer.
INSTANTIATE_TEST_SUITE_P(Areas, ReadFrame, testing::Values(
    ReadRow{"R_channel12",    AREA_R,            12,   3, {"RDS R1200.U 3\r",    14,  19, 0,  17}},
    ReadRow{"B_upperHex",     AREA_B,          0x1A,   2, {"RDS B1A0.U 2\r",     13,  13, 0,  11}},
    ReadRow{"MR_channel7",    AREA_MR,            7,   1, {"RDS MR700.U 1\r",    14,   7, 0,   5}},
    ReadRow{"LR_channel99",   AREA_LR,           99,   4, {"RDS LR9900.U 4\r",   15,  25, 0,  23}},
    ReadRow{"CR_channel0",    AREA_CR,            0,   1, {"RDS CR000.U 1\r",    14,   7, 0,   5}},
    ReadRow{"VB_upperHex",    AREA_VB,        0xABC,  10, {"RDS VBABC0.U 10\r",  16,  61, 0,  59}},
    ReadRow{"T_0",            AREA_T,             0,   1, {"RDS T0.D 1\r",       11,  25, 0,  23}},
    ReadRow{"C_255",          AREA_C,           255,   2, {"RDS C255.D 2\r",     13,  49, 0,  47}},
    ReadRow{"DM_100",         AREA_DM,          100,   3, {"RDS DM100.U 3\r",    14,  19, 0,  17}},
    ReadRow{"EM_65534",       AREA_EM,        65534,   1, {"RDS EM65534.U 1\r",  16,   7, 0,   5}},
    ReadRow{"FM_32767",       AREA_FM,        32767,  64, {"RDS FM32767.U 64\r", 17, 385, 0, 383}},
    ReadRow{"ZF_0",           AREA_ZF,            0, 128, {"RDS ZF0.U 128\r",    14, 769, 0, 767}},
    ReadRow{"W_255",          AREA_W,           255,   1, {"RDS WFF.U 1\r",      12,   7, 0,   5}},
    ReadRow{"TM_511",         AREA_TM,          511,   2, {"RDS TM511.U 2\r",    14,  13, 0,  11}},
    ReadRow{"Z_5",            AREA_Z,             5,   2, {"RDS Z5.D 2\r",       11,  23, 0,  21}},
    ReadRow{"CTH_1",          AREA_CTH_DWORD,     1,   2, {"RDS CTH1.D 2\r",     13,  49, 0,  47}},
    ReadRow{"CTC_3",          AREA_CTC_DWORD,     3,   1, {"RDS CTC3.D 1\r",     13,  25, 0,  23}},
    ReadRow{"AT_7",           AREA_AT,            7,   2, {"RDS AT7.D 2\r",      12,  23, 0,  21}},
    ReadRow{"CM_7599",        AREA_CM,         7599,   1, {"RDS CM7599.U 1\r",   15,   7, 0,   5}},
    ReadRow{"VM_59999",       AREA_VM,        59999,   5, {"RDS VM59999.U 5\r",  16,  31, 0,  29}}),
    rowName<ReadRow>);

INSTANTIATE_TEST_SUITE_P(Addresses, ReadFrame, testing::Values(
    ReadRow{"R_channel0",     AREA_R,             0,   1, {"RDS R000.U 1\r",            13, 7, 0, 5}},
    ReadRow{"R_negative",     AREA_R,            -1,   1, {"RDS R-100.U 1\r",           14, 7, 0, 5}},
    ReadRow{"R_largest",      AREA_R,       INT_MAX,   1, {"RDS R214748364700.U 1\r",   22, 7, 0, 5}},
    ReadRow{"MR_smallest",    AREA_MR,      INT_MIN,   1, {"RDS MR-214748364800.U 1\r", 24, 7, 0, 5}},
    ReadRow{"B_word0",        AREA_B,             0,   1, {"RDS B00.U 1\r",             12, 7, 0, 5}},
    ReadRow{"B_negative",     AREA_B,            -1,   1, {"RDS BFFFFFFFF0.U 1\r",      19, 7, 0, 5}},
    ReadRow{"VB_word0",       AREA_VB,            0,   1, {"RDS VB00.U 1\r",            13, 7, 0, 5}},
    ReadRow{"VB_word15",      AREA_VB,           15,   1, {"RDS VBF0.U 1\r",            13, 7, 0, 5}},
    ReadRow{"W_allLetters",   AREA_W,      0xABCDEF,   1, {"RDS WABCDEF.U 1\r",         16, 7, 0, 5}},
    ReadRow{"W_smallest",     AREA_W,       INT_MIN,   1, {"RDS W80000000.U 1\r",       18, 7, 0, 5}},
    ReadRow{"DM_largest",     AREA_DM,      INT_MAX,   1, {"RDS DM2147483647.U 1\r",    21, 7, 0, 5}},
    ReadRow{"DM_negative",    AREA_DM,           -5,   1, {"RDS DM-5.U 1\r",            13, 7, 0, 5}}),
    rowName<ReadRow>);

// On purpose: counts are not checked here; they give the lengths they give.
INSTANTIATE_TEST_SUITE_P(Counts, ReadFrame, testing::Values(
    ReadRow{"words_0",        AREA_DM,            0,      0, {"RDS DM0.U 0\r",      12,      1, 0,     -1}},
    ReadRow{"doubleWords_0",  AREA_Z,             0,      0, {"RDS Z0.D 0\r",       11,      1, 0,     -1}},
    ReadRow{"timers_0",       AREA_T,             0,      0, {"RDS T0.D 0\r",       11,      1, 0,     -1}},
    ReadRow{"words_minus1",   AREA_DM,            0,     -1, {"RDS DM0.U -1\r",     13,     -5, 0,     -7}},
    ReadRow{"doubleWords_minus1", AREA_AT,        0,     -1, {"RDS AT0.D -1\r",     13,    -10, 0,    -12}},
    ReadRow{"counters_minus1", AREA_C,            0,     -1, {"RDS C0.D -1\r",      12,    -23, 0,    -25}},
    ReadRow{"words_100000",   AREA_DM,            0, 100000, {"RDS DM0.U 100000\r", 17, 600001, 0, 599999}},
    ReadRow{"timers_120",     AREA_T,             0,    120, {"RDS T0.D 120\r",     13,   2881, 0,   2879}}),
    rowName<ReadRow>);
// clang-format on

class ReadFrameText : public FrameTest
{
};

TEST_F(ReadFrameText, staysWholeForTheLongestNumbers)
{
    RW_VAR var = marked(AREA_MR, INT_MIN, INT_MAX);
    ReadAnalog(&var);
    const Protocol found = entry(0);
    EXPECT_EQ(found.frame.toStdString(), "RDS MR-214748364800.U 2147483647\r");
    EXPECT_EQ(found.frameLength, 33); // 4, 15, 3, 10, 1
}

// --- areas that are not read by their own code ---

class AreaWithoutReadFrame : public FrameTest, public testing::WithParamInterface<int>
{
protected:
    static constexpr Queued empty = {"", 0, 2, 0, 0};

    static Lines complaint() { return {"read default " + std::to_string(GetParam())}; }
};

TEST_P(AreaWithoutReadFrame, isLoggedAndQueuedEmptyByReadAnalog)
{
    RW_VAR var = marked(GetParam(), 100, 3);
    const RW_VAR given = var;
    ReadAnalog(&var);
    EXPECT_EQ(takeLines(), complaint());
    expectOnly(empty, given);
}

TEST_P(AreaWithoutReadFrame, isLoggedAndQueuedEmptyByReadRegister)
{
    RW_VAR var = marked(GetParam(), 100, 3);
    const RW_VAR given = var;
    ReadRegister(&var);
    EXPECT_EQ(takeLines(), complaint());
    expectOnly(empty, given);
}

TEST_P(AreaWithoutReadFrame, isQueuedEmptyWhateverTheCount)
{
    RW_VAR var = marked(GetParam(), -1, 0);
    ReadAnalog(&var);
    EXPECT_EQ(takeLines(), complaint());
    expectQueued(0, empty);
}

// Relay channels and bits of words are read by their device's code, current and set values
// with their timer.
INSTANTIATE_TEST_SUITE_P(Read, AreaWithoutReadFrame,
                         testing::Values(8, 9, 17, 18, 19, 20, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37,
                                         38, 39),
                         areaRowName);
INSTANTIATE_TEST_SUITE_P(NoArea, AreaWithoutReadFrame, testing::ValuesIn(notAreas), areaRowName);

// --- the gate in front ---

class ReadOfAnyArea : public FrameTest, public testing::WithParamInterface<int>
{
};

TEST_P(ReadOfAnyArea, opensTheLinkFirst)
{
    handshake.clear();
    RW_VAR var = marked(GetParam(), 100, 3);
    const RW_VAR given = var;
    ReadRegister(&var);
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"})); // and no "read default"
    expectOnly(openLink, given);
}

INSTANTIATE_TEST_SUITE_P(Areas, ReadOfAnyArea, testing::Range(0, 40), areaRowName);
INSTANTIATE_TEST_SUITE_P(NoArea, ReadOfAnyArea, testing::ValuesIn(notAreas), areaRowName);

class ReadRequest : public FrameTest
{
};

TEST_F(ReadRequest, byReadAnalogDoesNotAskForTheLink)
{
    handshake.clear();
    RW_VAR var = variable(AREA_DM, 100, 3, 3);
    ReadAnalog(&var);
    expectOnly({"RDS DM100.U 3\r", 14, 19, 0, 17}, var);
    EXPECT_TRUE(handshake.isEmpty());
}

TEST_F(ReadRequest, knowsNoStationInItsFrame)
{
    link(999);
    RW_VAR var = variable(AREA_DM, 100, 3, 999);
    ReadRegister(&var);
    expectOnly({"RDS DM100.U 3\r", 14, 19, 0, 17}, var);
}

TEST_F(ReadRequest, goesToTheTailOfTheQueue)
{
    RW_VAR first = variable(AREA_DM, 100, 3);
    RW_VAR second = variable(AREA_Z, 5, 2);
    ReadAnalog(&first);
    ReadAnalog(&second);
    EXPECT_EQ(frames(), (Lines{"RDS DM100.U 3\r", "RDS Z5.D 2\r"}));
    EXPECT_EQ(counters(), "0 of 1");
}

TEST_F(ReadRequest, carriesEveryFieldOfItsRecord)
{
    RW_VAR var = marked(AREA_DM, 100, 3);
    ReadAnalog(&var);
    EXPECT_EQ(text(entry(0).var),
              "ownerType 7 ownerId 1001 access 3 field3 33 link 44 result 55 extra 'pump' typed 'typed' "
              "area 10 address 100 station 6 count 3 preRead 66 field13 77 data [A1 00 B2]");
}

TEST_F(ReadRequest, keepsACopyOfItsRecord)
{
    RW_VAR var = marked(AREA_DM, 100, 3);
    const RW_VAR given = var;
    ReadAnalog(&var);
    var.extraText = "other";
    var.addressText[0] = 'X';
    var.data[0] = '\x7F';
    var.address = 5;
    EXPECT_EQ(text(entry(0).var), text(given));
}

TEST_F(ReadRequest, changesNoOtherWordOfTheSettings)
{
    settings.retryCount = 4;
    settings.cycleDone = 6;
    RW_VAR var = variable(AREA_DM, 100, 3);
    ReadAnalog(&var);
    EXPECT_EQ(settings.retryCount, 4);
    EXPECT_EQ(settings.cycleDone, 6);
    EXPECT_EQ(settings.maxBlockLength, 64);
    EXPECT_EQ(counters(), "0 of 1");
}

TEST_F(ReadRequest, ofNoRecordDoesNothing)
{
    ReadRegister(nullptr);
    ReadAnalog(nullptr);
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(counters(), untouched);
}

TEST_F(ReadRequest, withoutSettingsQueuesNoOtherFrame)
{
    PLC_driver.comInfo = nullptr;
    RW_VAR var = variable(AREA_DM, 100, 3);
    ReadAnalog(&var);
    ReadRegister(&var);
    for (const std::string &frame : frames())
        EXPECT_EQ(frame, "RDS DM100.U 3\r");
    EXPECT_LE(PLC_driver.frameQueue.size(), 2);
    EXPECT_EQ(counters(), untouched);
}
} // namespace
