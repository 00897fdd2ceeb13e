// SPDX-License-Identifier: MIT
// Write requests: the command of every area, the two frames of a bit inside a word, writes that
// cannot be sent, and the copy of a written value in the store.
#include "queued_frames.h"

namespace
{
struct WriteRow {
    const char *name;
    int area, address, count;
    const char *data;
    Queued expected; // frame, frameLength, replyLength, replyOffset, payloadLength

    friend void PrintTo(const WriteRow &row, std::ostream *out) { *out << row.name; }
};

class WriteFrame : public FrameTest, public testing::WithParamInterface<WriteRow>
{
protected:
    WriteFrame()
        : var(marked(GetParam().area, GetParam().address, GetParam().count, GetParam().data)), given(var)
    {
        PLC_driver.writeList.append(given);
    }

    RW_VAR var;         // what the builder gets
    const RW_VAR given; // the same, out of its reach
};

TEST_P(WriteFrame, isQueuedByWriteAnalog)
{
    WriteAnalog(&var);
    expectOnly(GetParam().expected, given);
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_P(WriteFrame, isQueuedByWriteRegisterForALinkedStation)
{
    WriteRegister(&var);
    expectOnly(GetParam().expected, given);
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
    EXPECT_EQ(PLC_driver.writeList.size(), 1) << "only a dropped write leaves the list here";
}

// clang-format off
// On purpose: a single relay goes out in lower-case hexadecimal, a read of its word in upper case.
INSTANTIATE_TEST_SUITE_P(Relays, WriteFrame, testing::Values(
    WriteRow{"R_set",           AREA_R,     37, 1, "07",    {"ST R205\r",      8, 4, 0, 0}},
    WriteRow{"R_reset",         AREA_R,     37, 1, "00",    {"RS R205\r",      8, 4, 0, 0}},
    WriteRow{"R_anyNonZeroSets", AREA_R,    37, 1, "80",    {"ST R205\r",      8, 4, 0, 0}},
    WriteRow{"R_onlyFirstByteResets", AREA_R, 37, 1, "00 01", {"RS R205\r",    8, 4, 0, 0}},
    WriteRow{"R_onlyFirstByteSets", AREA_R, 37, 1, "01 00", {"ST R205\r",      8, 4, 0, 0}},
    WriteRow{"R_noDataResets",  AREA_R,     37, 1, "",      {"RS R205\r",      8, 4, 0, 0}},
    WriteRow{"R_first",         AREA_R,      0, 1, "01",    {"ST R000\r",      8, 4, 0, 0}},
    WriteRow{"R_bit15",         AREA_R,     15, 1, "01",    {"ST R015\r",      8, 4, 0, 0}},
    WriteRow{"R_channel10bit9", AREA_R,    169, 1, "01",    {"ST R1009\r",     9, 4, 0, 0}},
    WriteRow{"R_channel999",    AREA_R,  15999, 1, "01",    {"ST R99915\r",   10, 4, 0, 0}},
    WriteRow{"R_largest",       AREA_R, INT_MAX, 1, "01",   {"ST R13421772715\r", 16, 4, 0, 0}},
    WriteRow{"R_count0",        AREA_R,     37, 0, "01",    {"ST R205\r",      8, 4, 0, 0}},
    WriteRow{"R_count5",        AREA_R,     37, 5, "01",    {"ST R205\r",      8, 4, 0, 0}},
    WriteRow{"R_countMinus1",   AREA_R,     37, -1, "00",   {"RS R205\r",      8, 4, 0, 0}},
    WriteRow{"R_minus1",        AREA_R,     -1, 1, "01",    {"ST R0-1\r",      8, 4, 0, 0}},
    WriteRow{"R_minus37",       AREA_R,    -37, 1, "00",    {"RS R-2-5\r",     9, 4, 0, 0}},
    WriteRow{"B_set",           AREA_B,    431, 1, "01",    {"ST B1af\r",      8, 4, 0, 0}},
    WriteRow{"B_reset",         AREA_B,    431, 1, "00",    {"RS B1af\r",      8, 4, 0, 0}},
    WriteRow{"B_first",         AREA_B,      0, 1, "01",    {"ST B0\r",        6, 4, 0, 0}},
    WriteRow{"B_minus1",        AREA_B,     -1, 1, "00",    {"RS Bffffffff\r", 13, 4, 0, 0}},
    WriteRow{"MR_set",          AREA_MR,    37, 1, "01",    {"ST MR205\r",     9, 4, 0, 0}},
    WriteRow{"MR_reset",        AREA_MR,    37, 1, "00",    {"RS MR205\r",     9, 4, 0, 0}},
    WriteRow{"LR_set",          AREA_LR,    60, 1, "01",    {"ST LR312\r",     9, 4, 0, 0}},
    WriteRow{"LR_reset",        AREA_LR,    60, 1, "00",    {"RS LR312\r",     9, 4, 0, 0}},
    WriteRow{"CR_set",          AREA_CR,   639, 1, "FF",    {"ST CR3915\r",   10, 4, 0, 0}},
    WriteRow{"CR_reset",        AREA_CR,   639, 1, "00",    {"RS CR3915\r",   10, 4, 0, 0}},
    WriteRow{"VB_set",          AREA_VB,    16, 1, "01",    {"ST VB10\r",      8, 4, 0, 0}},
    WriteRow{"VB_reset",        AREA_VB,    16, 1, "00",    {"RS VB10\r",      8, 4, 0, 0}},
    WriteRow{"VB_letters",      AREA_VB, 0xABC, 1, "01",    {"ST VBabc\r",     9, 4, 0, 0}}),
    rowName<WriteRow>);

// On purpose: payloadLength of a write of values is the last value in the frame.
INSTANTIATE_TEST_SUITE_P(Words, WriteFrame, testing::Values(
    WriteRow{"DM_two",     AREA_DM,        200, 2, "34 12 01 00", {"WRS DM200.U 2 04660 00001\r", 26, 4, 0, 1}},
    WriteRow{"EM_zero",    AREA_EM,          2, 1, "00 00",       {"WRS EM2.U 1 00000\r",         18, 4, 0, 0}},
    WriteRow{"FM_largest", AREA_FM,      32767, 1, "FF FF",       {"WRS FM32767.U 1 65535\r",     22, 4, 0, 65535}},
    WriteRow{"ZF_three",   AREA_ZF,         10, 3, "01 00 02 00 03 00",
                                                        {"WRS ZF10.U 3 00001 00002 00003\r",      31, 4, 0, 3}},
    WriteRow{"W_upperHex", AREA_W,         431, 1, "00 80",       {"WRS W1AF.U 1 32768\r",        19, 4, 0, 32768}},
    WriteRow{"TM_0",       AREA_TM,          0, 1, "0A 00",       {"WRS TM0.U 1 00010\r",         18, 4, 0, 10}},
    WriteRow{"CM_12345",   AREA_CM,       7599, 1, "39 30",       {"WRS CM7599.U 1 12345\r",      21, 4, 0, 12345}},
    WriteRow{"VM_32767",   AREA_VM,      59999, 1, "FF 7F",       {"WRS VM59999.U 1 32767\r",     22, 4, 0, 32767}},
    WriteRow{"R_channel",  AREA_R_WORD,     12, 2, "05 00 FF 00", {"WRS R1200.U 2 00005 00255\r", 26, 4, 0, 255}},
    WriteRow{"B_word",     AREA_B_WORD,   0x1A, 1, "34 12",       {"WRS B1A0.U 1 04660\r",        19, 4, 0, 4660}},
    WriteRow{"MR_channel", AREA_MR_WORD,     7, 1, "01 00",       {"WRS MR700.U 1 00001\r",       20, 4, 0, 1}},
    WriteRow{"LR_channel", AREA_LR_WORD,     0, 1, "02 00",       {"WRS LR000.U 1 00002\r",       20, 4, 0, 2}},
    WriteRow{"CR_channel", AREA_CR_WORD,    10, 1, "03 00",       {"WRS CR1000.U 1 00003\r",      21, 4, 0, 3}},
    WriteRow{"VB_word",    AREA_VB_WORD, 0xABC, 1, "04 00",       {"WRS VBABC0.U 1 00004\r",      21, 4, 0, 4}}),
    rowName<WriteRow>);

INSTANTIATE_TEST_SUITE_P(DoubleWords, WriteFrame, testing::Values(
    WriteRow{"Z_minus1",     AREA_Z,         0, 1, "FF FF FF FF", {"WRS Z0.D 1 -000000001\r",    22, 4, 0, -1}},
    WriteRow{"T_current",    AREA_T_DWORD,   5, 1, "E8 03 00 00", {"WRS T5.D 1 0000001000\r",    22, 4, 0, 1000}},
    WriteRow{"TS_two",       AREA_TS,        5, 2, "D2 04 00 00 88 13 00 00",
                                                       {"WRS TS5.D 2 0000001234 0000005000\r",   34, 4, 0, 5000}},
    WriteRow{"C_largest",    AREA_C_DWORD,  12, 1, "FF FF FF 7F", {"WRS C12.D 1 2147483647\r",   23, 4, 0, INT_MAX}},
    WriteRow{"CS_smallest",  AREA_CS,       12, 1, "00 00 00 80", {"WRS CS12.D 1 -2147483648\r", 25, 4, 0, INT_MIN}},
    WriteRow{"CTH_lowByteFirst", AREA_CTH_DWORD, 1, 1, "01 02 03 04",
                                                                  {"WRS CTH1.D 1 0067305985\r",  24, 4, 0, 67305985}},
    WriteRow{"CTC_zero",     AREA_CTC_DWORD, 0, 1, "00 00 00 00", {"WRS CTC0.D 1 0000000000\r",  24, 4, 0, 0}},
    WriteRow{"AT_mixedSigns", AREA_AT,       7, 2, "FE FF FF FF 01 00 00 00",
                                                       {"WRS AT7.D 2 -000000002 0000000001\r",   34, 4, 0, 1}}),
    rowName<WriteRow>);

INSTANTIATE_TEST_SUITE_P(Addresses, WriteFrame, testing::Values(
    WriteRow{"DM_minus1",    AREA_DM,       -1, 1, "01 00", {"WRS DM-1.U 1 00001\r",             19, 4, 0, 1}},
    WriteRow{"DM_largest",   AREA_DM,  INT_MAX, 0, "",      {"WRS DM2147483647.U 0\r",           21, 4, 0, 0}},
    WriteRow{"W_minus1",     AREA_W,        -1, 1, "01 00", {"WRS WFFFFFFFF.U 1 00001\r",        24, 4, 0, 1}},
    WriteRow{"B_word_minus1", AREA_B_WORD,  -1, 1, "01 00", {"WRS BFFFFFFFF0.U 1 00001\r",       25, 4, 0, 1}},
    WriteRow{"R_channel_minus1", AREA_R_WORD, -1, 1, "01 00", {"WRS R-100.U 1 00001\r",          20, 4, 0, 1}},
    WriteRow{"Z_minus1",     AREA_Z,        -1, 1, "01 00 00 00", {"WRS Z-1.D 1 0000000001\r",   23, 4, 0, 1}}),
    rowName<WriteRow>);

// On purpose: without values the head goes out alone.
INSTANTIATE_TEST_SUITE_P(Counts, WriteFrame, testing::Values(
    WriteRow{"words_0",        AREA_DM,     5,       0, "01 00", {"WRS DM5.U 0\r",           12, 4, 0, 0}},
    WriteRow{"words_minus1",   AREA_DM,     5,      -1, "01 00", {"WRS DM5.U -1\r",          13, 4, 0, 0}},
    WriteRow{"words_smallest", AREA_DM,     5, INT_MIN, "01 00", {"WRS DM5.U -2147483648\r", 22, 4, 0, 0}},
    WriteRow{"channels_0",     AREA_R_WORD, 5,       0, "01 00", {"WRS R500.U 0\r",          13, 4, 0, 0}},
    WriteRow{"doubleWords_0",  AREA_Z,      5,       0, "01 00 00 00", {"WRS Z5.D 0\r",      11, 4, 0, 0}},
    WriteRow{"doubleWords_minus3", AREA_Z,  5,      -3, "01 00 00 00", {"WRS Z5.D -3\r",     12, 4, 0, 0}}),
    rowName<WriteRow>);

INSTANTIATE_TEST_SUITE_P(DataLength, WriteFrame, testing::Values(
    WriteRow{"secondWordMissing", AREA_DM, 5, 2, "34 12",    {"WRS DM5.U 2 04660 00000\r", 24, 4, 0, 0}},
    WriteRow{"highByteMissing",   AREA_DM, 5, 2, "34 12 FF", {"WRS DM5.U 2 04660 00255\r", 24, 4, 0, 255}},
    WriteRow{"noWords",           AREA_DM, 5, 2, "",         {"WRS DM5.U 2 00000 00000\r", 24, 4, 0, 0}},
    WriteRow{"moreWordsThanCount", AREA_DM, 5, 1, "01 00 02 00", {"WRS DM5.U 1 00001\r",   18, 4, 0, 1}},
    WriteRow{"topByteMissing",    AREA_Z,  5, 1, "FF FF FF", {"WRS Z5.D 1 0016777215\r",   22, 4, 0, 16777215}},
    WriteRow{"doubleWordCut",     AREA_Z,  5, 2, "01 00 00 00 02",
                                                   {"WRS Z5.D 2 0000000001 0000000002\r",  33, 4, 0, 2}},
    WriteRow{"noDoubleWords",     AREA_AT, 0, 1, "",         {"WRS AT0.D 1 0000000000\r",  23, 4, 0, 0}}),
    rowName<WriteRow>);
// clang-format on

// --- writes of many values ---

struct LongRow {
    const char *name;
    int area, address, count, elementSize;
    const char *begin; // of the frame; the values are 1, 2, 3 ...
    const char *end;
    int frameLength;

    friend void PrintTo(const LongRow &row, std::ostream *out) { *out << row.name; }
};

class LongWrite : public FrameTest, public testing::WithParamInterface<LongRow>
{
protected:
    // The numbers 1 to count, low byte first.
    static QByteArray ascending(int count, int elementSize)
    {
        QByteArray data(count * elementSize, '\0');
        for (int i = 0; i < count; ++i) {
            data[i * elementSize] = char((i + 1) & 0xFF);
            data[i * elementSize + 1] = char((i + 1) >> 8 & 0xFF);
        }
        return data;
    }
};

TEST_P(LongWrite, isBuiltWhole)
{
    const LongRow &row = GetParam();
    RW_VAR var = marked(row.area, row.address, row.count);
    var.data = ascending(row.count, row.elementSize);
    const RW_VAR given = var;
    WriteAnalog(&var);

    ASSERT_EQ(PLC_driver.frameQueue.size(), 1);
    const Protocol found = entry(0);
    EXPECT_EQ(found.frame.size(), row.frameLength);
    EXPECT_EQ(found.frameLength, row.frameLength);
    EXPECT_EQ(found.frame.left(int(qstrlen(row.begin))).toStdString(), row.begin);
    EXPECT_EQ(found.frame.right(int(qstrlen(row.end))).toStdString(), row.end);
    EXPECT_EQ(found.frame.count(' '), row.count + 2); // one before the address, the count and each value
    EXPECT_EQ(found.frame.count('\0'), 0);
    EXPECT_EQ(found.replyLength, 4);
    EXPECT_EQ(found.payloadLength, row.count);
    EXPECT_EQ(text(found.var), text(given));
}

// clang-format off
// Head, 6 characters a word or 11 a double word, CR: around the usual limit of 1024 bytes.
INSTANTIATE_TEST_SUITE_P(Values, LongWrite, testing::Values(
    LongRow{"words_1022",       AREA_DM,    0, 168, 2, "WRS DM0.U 168 00001 00002 ",    " 00167 00168\r", 1022},
    LongRow{"words_1023",       AREA_DM,   10, 168, 2, "WRS DM10.U 168 00001 00002 ",   " 00167 00168\r", 1023},
    LongRow{"words_1024",       AREA_DM,  100, 168, 2, "WRS DM100.U 168 00001 00002 ",  " 00167 00168\r", 1024},
    LongRow{"words_1025",       AREA_DM, 1000, 168, 2, "WRS DM1000.U 168 00001 00002 ", " 00167 00168\r", 1025},
    LongRow{"words_300",        AREA_DM,    0, 300, 2, "WRS DM0.U 300 00001 00002 ",    " 00299 00300\r", 1814},
    LongRow{"words_20000",      AREA_W,   255, 20000, 2, "WRS WFF.U 20000 00001 00002 ", " 19999 20000\r", 120016},
    LongRow{"channels_300",     AREA_R_WORD, 0, 300, 2, "WRS R000.U 300 00001 00002 ",  " 00299 00300\r", 1815},
    LongRow{"doubleWords_1023", AREA_AT, 1234567890, 91, 4, "WRS AT1234567890.D 91 0000000001 ", " 0000000091\r", 1023},
    LongRow{"doubleWords_1024", AREA_Z,     0,  92, 4, "WRS Z0.D 92 0000000001 ",       " 0000000092\r", 1024},
    LongRow{"doubleWords_1025", AREA_Z,    10,  92, 4, "WRS Z10.D 92 0000000001 ",      " 0000000092\r", 1025},
    LongRow{"doubleWords_300",  AREA_TS,    0, 300, 4, "WRS TS0.D 300 0000000001 ",     " 0000000300\r", 3314}),
    rowName<LongRow>);
// clang-format on

class WriteRequest : public FrameTest
{
};

TEST_F(WriteRequest, isFilledUpWithZerosWhenManyValuesAreMissing)
{
    RW_VAR var = variable(AREA_DM, 0, 300);
    var.data = bytes("07 00");
    WriteAnalog(&var);
    const Protocol found = entry(0);
    EXPECT_EQ(found.frameLength, 1814); // 13, 300 times 6, 1
    EXPECT_EQ(found.frame.left(25).toStdString(), "WRS DM0.U 300 00007 00000");
    EXPECT_EQ(found.frame.right(13).toStdString(), " 00000 00000\r");
    EXPECT_EQ(found.payloadLength, 0);
}

TEST_F(WriteRequest, ofMoreValuesThanMemoryHoldsIsNotSentInPart)
{
    for (const int area : {AREA_DM, AREA_R_WORD, AREA_Z, AREA_TS}) {
        PLC_driver.frameQueue.clear();
        RW_VAR var = marked(area, 0, INT_MAX, "07 00 00 00");
        const RW_VAR given = var;
        WriteAnalog(&var);
        EXPECT_EQ(takeLines().size(), 1U) << "the host's log says that it was not built";
        expectOnly({"", 0, 4, 0, 0}, given);
    }
}

// 64 MiB are 67108864 bytes: 6100805 double words of 11 characters, or 11184810 words of 6.
TEST_F(WriteRequest, ofSixtyFourMebibytesOfDigitsIsBuiltWhole)
{
    RW_VAR var = marked(AREA_Z, 0, 6100805, "07 00 00 00");
    WriteAnalog(&var);
    EXPECT_EQ(entry(0).frame.size(), 67108872); // "WRS Z0.D 6100805", 6100805 times 11, CR
}

TEST_F(WriteRequest, ofOneValueMoreThanSixtyFourMebibytesIsNotBuilt)
{
    RW_VAR doubleWords = marked(AREA_Z, 0, 6100806, "07 00 00 00");
    RW_VAR words = marked(AREA_DM, 0, 11184811, "07 00");
    WriteAnalog(&doubleWords);
    WriteAnalog(&words);
    EXPECT_EQ(takeLines(), (Lines{"write default", "write default"}));
    EXPECT_EQ(frames(), (Lines{"", ""}));
}

TEST_F(WriteRequest, ofMoreValuesThanMemoryHoldsStoresWhatIsThere)
{
    RW_VAR var = write(AREA_DM, 0, INT_MAX, "07 00 08 00");
    WriteRegister(&var);
    EXPECT_EQ(takeLines().size(), 1U);
    EXPECT_EQ(frames(), Lines{""});
    EXPECT_EQ(image(1, 10), "07 00 08 00");
}

TEST_F(WriteRequest, byWriteAnalogDoesNotAskForTheLink)
{
    handshake.clear();
    RW_VAR var = write(AREA_DM, 5, 1, "01 00", 3);
    WriteAnalog(&var);
    expectOnly({"WRS DM5.U 1 00001\r", 18, 4, 0, 1}, var);
    EXPECT_TRUE(handshake.isEmpty());
}

TEST_F(WriteRequest, goesToTheTailOfTheQueue)
{
    RW_VAR word = write(AREA_DM, 5, 1, "01 00");
    RW_VAR relay = write(AREA_R, 37, 1, "01");
    RW_VAR bit = write(AREA_EM_BIT, 37, 1, "01");
    WriteRegister(&word);
    WriteRegister(&relay);
    WriteRegister(&bit);
    EXPECT_EQ(frames(), (Lines{"WRS DM5.U 1 00001\r", "ST R205\r", "RDS EM2.U 1\r", "WRS EM2.U 1 00000\r"}));
}

TEST_F(WriteRequest, carriesEveryFieldOfItsRecord)
{
    RW_VAR var = marked(AREA_DM, 5, 1, "01 00 B2");
    WriteRegister(&var);
    EXPECT_EQ(text(entry(0).var),
              "ownerType 7 ownerId 1001 access 3 field3 33 link 44 result 55 extra 'pump' typed 'typed' "
              "area 10 address 5 station 6 count 1 preRead 66 field13 77 data [01 00 B2]");
}

TEST_F(WriteRequest, keepsACopyOfItsRecord)
{
    RW_VAR var = marked(AREA_DM, 5, 1, "01 00");
    const RW_VAR given = var;
    WriteAnalog(&var);
    var.extraText = "other";
    var.addressText[0] = 'X';
    var.data[0] = '\x7F';
    EXPECT_EQ(text(entry(0).var), text(given));
    EXPECT_EQ(entry(0).frame.toStdString(), "WRS DM5.U 1 00001\r");
}

TEST_F(WriteRequest, ofNoRecordDoesNothing)
{
    PLC_driver.writeList.append(write(AREA_DM, 5, 1, "01 00"));
    WriteRegister(nullptr);
    WriteAnalog(nullptr);
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_EQ(counters(), untouched);
}

TEST_F(WriteRequest, withoutSettingsQueuesNoOtherFrames)
{
    PLC_driver.comInfo = nullptr;
    RW_VAR word = write(AREA_DM, 5, 1, "01 00");
    RW_VAR bit = write(AREA_DM_BIT, 80, 1, "01");
    RW_VAR dropped = write(AREA_CTH, 0, 1, "01");
    WriteAnalog(&word);
    WriteRegister(&word);
    WriteRegister(&bit);
    WriteRegister(&dropped);
    takeLines();
    for (const std::string &frame : frames())
        EXPECT_TRUE(frame == "WRS DM5.U 1 00001\r" || frame == "RDS DM5.U 1\r" ||
                    frame == "WRS DM5.U 1 00000\r")
            << frame;
    EXPECT_LE(PLC_driver.frameQueue.size(), 4);
    EXPECT_EQ(counters(), untouched);
}

// --- areas without a write frame ---

class AreaWithoutWriteFrame : public FrameTest, public testing::WithParamInterface<int>
{
};

TEST_P(AreaWithoutWriteFrame, isLoggedAndQueuedEmptyByWriteAnalog)
{
    RW_VAR var = marked(GetParam(), 100, 1, "01 00 00 00");
    const RW_VAR given = var;
    WriteAnalog(&var);
    EXPECT_EQ(takeLines(), Lines{"write default"});
    expectOnly({"", 0, 4, 0, 0}, given);
    EXPECT_TRUE(DataStorage.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Contacts, AreaWithoutWriteFrame, testing::Values(6, 7, 8, 9), areaRowName);
INSTANTIATE_TEST_SUITE_P(BitsOfWords, AreaWithoutWriteFrame, testing::Range(32, 40), areaRowName);
INSTANTIATE_TEST_SUITE_P(NoArea, AreaWithoutWriteFrame, testing::ValuesIn(notAreas), areaRowName);

// On purpose: the state of a timer or counter cannot be sent, but goes out as an empty frame and
// into the store.
TEST_F(WriteRequest, ofTimerContactsIsEmptyAndStored)
{
    RW_VAR var = marked(AREA_T, 3, 3, "01 02 FF");
    const RW_VAR given = var;
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), Lines{"write default"});
    expectOnly({"", 0, 4, 0, 0}, given);
    EXPECT_EQ(image(6, 6, 3, 9), "01 00 01");
}

TEST_F(WriteRequest, ofCounterContactsIsEmptyAndStored)
{
    RW_VAR var = marked(AREA_C, 0, 1, "03");
    const RW_VAR given = var;
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), Lines{"write default"});
    expectOnly({"", 0, 4, 0, 0}, given);
    EXPECT_EQ(image(6, 7), "01");
}

TEST_F(WriteRequest, ofTimerContactsIsNotStoredAfterAFailure)
{
    PLC_driver.lastFailed = 1;
    RW_VAR var = marked(AREA_T, 3, 1, "01");
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), Lines{"write default"});
    EXPECT_EQ(frames(), Lines{""});
    EXPECT_TRUE(DataStorage.isEmpty());
}

// --- a bit inside a word: read the word, write the word ---

struct BitRow {
    const char *name;
    int area, address;
    const char *read;
    int readLength;
    const char *write;
    int writeLength;
    int wordArea, word;

    friend void PrintTo(const BitRow &row, std::ostream *out) { *out << row.name; }
};

class BitWriteFrames : public FrameTest, public testing::WithParamInterface<BitRow>
{
protected:
    // The record of station 6 as both frames carry it; the mark and the mode tell them apart.
    static std::string wordRecord(int accessMode, int preReadMark)
    {
        return "ownerType 7 ownerId 1001 access " + std::to_string(accessMode) +
               " field3 33 link 44 result 55 extra 'pump' typed 'typed' area " +
               std::to_string(GetParam().wordArea) + " address " + std::to_string(GetParam().word) +
               " station 6 count 1 preRead " + std::to_string(preReadMark) + " field13 77 data [00 00]";
    }
};

TEST_P(BitWriteFrames, queuesTheReadThenTheWriteOfTheWord)
{
    RW_VAR var = marked(GetParam().area, GetParam().address, 1, "01");
    const RW_VAR given = var;
    PLC_driver.writeList.append(given);
    WriteRegister(&var);

    ASSERT_EQ(PLC_driver.frameQueue.size(), 2);
    expectQueued(0, {GetParam().read, GetParam().readLength, 7, 0, 5});
    EXPECT_EQ(text(entry(0).var), wordRecord(0, -1));
    expectQueued(1, {GetParam().write, GetParam().writeLength, 4, 0, 0});
    EXPECT_EQ(text(entry(1).var), wordRecord(1, 0));
    EXPECT_EQ(counters(), "0 of 2");
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
    ASSERT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(text(PLC_driver.writeList.first()), text(given));
}

TEST_P(BitWriteFrames, queuesTheSameFramesForABitToClear)
{
    RW_VAR var = marked(GetParam().area, GetParam().address, 1, "00");
    WriteRegister(&var);
    EXPECT_EQ(frames(), (Lines{GetParam().read, GetParam().write}));
    EXPECT_EQ(counters(), "0 of 2");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, BitWriteFrames, testing::Values(
    BitRow{"DM_10_15",   AREA_DM_BIT,    175, "RDS DM10.U 1\r",    13, "WRS DM10.U 1 00000\r",    19, 10,    10},
    BitRow{"EM_2_5",     AREA_EM_BIT,     37, "RDS EM2.U 1\r",     12, "WRS EM2.U 1 00000\r",     18, 11,     2},
    BitRow{"FM_0_0",     AREA_FM_BIT,      0, "RDS FM0.U 1\r",     12, "WRS FM0.U 1 00000\r",     18, 12,     0},
    BitRow{"ZF_0_15",    AREA_ZF_BIT,     15, "RDS ZF0.U 1\r",     12, "WRS ZF0.U 1 00000\r",     18, 13,     0},
    BitRow{"W_1A_3",     AREA_W_BIT,     419, "RDS W1A.U 1\r",     12, "WRS W1A.U 1 00000\r",     18, 14,    26},
    BitRow{"TM_511_15",  AREA_TM_BIT,   8191, "RDS TM511.U 1\r",   14, "WRS TM511.U 1 00000\r",   20, 15,   511},
    BitRow{"CM_7599_15", AREA_CM_BIT, 121599, "RDS CM7599.U 1\r",  15, "WRS CM7599.U 1 00000\r",  21, 24,  7599},
    BitRow{"VM_59999_0", AREA_VM_BIT, 959984, "RDS VM59999.U 1\r", 16, "WRS VM59999.U 1 00000\r", 22, 25, 59999},
    BitRow{"DM_0_16",    AREA_DM_BIT,     16, "RDS DM1.U 1\r",     12, "WRS DM1.U 1 00000\r",     18, 10,     1},
    BitRow{"DM_minus1",  AREA_DM_BIT,     -1, "RDS DM0.U 1\r",     12, "WRS DM0.U 1 00000\r",     18, 10,     0},
    BitRow{"DM_minus37", AREA_DM_BIT,    -37, "RDS DM-2.U 1\r",    13, "WRS DM-2.U 1 00000\r",    19, 10,    -2},
    BitRow{"W_minus16",  AREA_W_BIT,     -16, "RDS WFFFFFFFF.U 1\r", 18, "WRS WFFFFFFFF.U 1 00000\r", 24, 14, -1}),
    rowName<BitRow>);
// clang-format on

TEST_F(WriteRequest, ofSeveralBitsSendsOneWordAndStoresThemAll)
{
    RW_VAR var = write(AREA_DM_BIT, 174, 3, "01 01 01");
    WriteRegister(&var);
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00000\r"}));
    EXPECT_EQ(entry(0).var.count, 1);
    EXPECT_EQ(entry(1).var.count, 1);
    EXPECT_EQ(image(1, 10, 21, 9), "C0 01"); // bits 174, 175, 176
}

TEST_F(WriteRequest, ofNoBitsSendsTheWordAllTheSame)
{
    RW_VAR var = write(AREA_DM_BIT, 175, 0, "01");
    WriteRegister(&var);
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00000\r"}));
    EXPECT_EQ(counters(), "0 of 2");
    EXPECT_EQ(image(1, 10), "absent");
}

// --- writes that cannot be sent at all ---

class DroppedWrite : public FrameTest, public testing::WithParamInterface<int>
{
protected:
    void expectNothingElse() const
    {
        EXPECT_EQ(frames(), Lines());
        EXPECT_TRUE(DataStorage.isEmpty());
        EXPECT_EQ(counters(), untouched);
    }

    static Lines complaint() { return {"WriteRegister default 1 " + std::to_string(GetParam()) + " 100 2"}; }
};

TEST_P(DroppedWrite, takesTheHeadOffTheWriteList)
{
    PLC_driver.writeList.append(write(GetParam(), 100, 2, "01 00 02 00"));
    PLC_driver.writeList.append(write(AREA_DM, 5, 1, "01 00"));
    RW_VAR var = PLC_driver.writeList.first();
    const RW_VAR given = var;
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), complaint());
    ASSERT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(text(PLC_driver.writeList.first()), text(write(AREA_DM, 5, 1, "01 00")));
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
    expectNothingElse();
}

TEST_P(DroppedWrite, isOnlyLoggedWhenTheWriteListIsEmpty)
{
    RW_VAR var = write(GetParam(), 100, 2, "01 00 02 00");
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), complaint());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    expectNothingElse();
}

TEST_P(DroppedWrite, isDroppedAfterAFailureToo)
{
    PLC_driver.lastFailed = 1;
    PLC_driver.writeList.append(write(GetParam(), 100, 2, "01 00 02 00"));
    RW_VAR var = PLC_driver.writeList.first();
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), complaint());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    expectNothingElse();
}

TEST_P(DroppedWrite, mayBeTheEntryOfTheListItself)
{
    PLC_driver.writeList.append(write(GetParam(), 100, 2, "01 00 02 00"));
    WriteRegister(&PLC_driver.writeList.first());
    EXPECT_EQ(takeLines(), complaint());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    expectNothingElse();
}

TEST_P(DroppedWrite, leavesNothingToSendInTheHostsLoop)
{
    settings.cycleDone = 6;
    PLC_driver.writeList.append(write(GetParam(), 100, 2, "01 00 02 00"));
    PLC_driver.writeList.append(write(AREA_DM, 5, 1, "01 00"));
    EXPECT_EQ(send(), "");
    EXPECT_EQ(takeLines(), complaint());
    EXPECT_EQ(settings.cycleDone, 6); // a request was scheduled, though none came of it
    expectNothingElse();
    EXPECT_EQ(send(), "WRS DM5.U 1 00001\r");
}

INSTANTIATE_TEST_SUITE_P(Contacts, DroppedWrite, testing::Values(8, 9), areaRowName);
INSTANTIATE_TEST_SUITE_P(NoArea, DroppedWrite, testing::ValuesIn(notAreas), areaRowName);

// --- the gate in front ---

class WriteOfAnyArea : public FrameTest, public testing::WithParamInterface<int>
{
};

TEST_P(WriteOfAnyArea, opensTheLinkFirst)
{
    handshake.clear();
    RW_VAR var = marked(GetParam(), 100, 1, "01 00 00 00");
    const RW_VAR given = var;
    PLC_driver.writeList.append(given);
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"})); // and no complaint
    expectOnly(openLink, given);
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_TRUE(DataStorage.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Areas, WriteOfAnyArea, testing::Range(0, 40), areaRowName);
INSTANTIATE_TEST_SUITE_P(NoArea, WriteOfAnyArea, testing::ValuesIn(notAreas), areaRowName);

TEST_F(WriteRequest, ofALostStationOpensItsLinkAgain)
{
    handshake[3] = false;
    RW_VAR var = write(AREA_DM, 5, 1, "01 00", 3);
    WriteRegister(&var);
    EXPECT_EQ(takeLines(), Lines{"Handshake(RW_Var)"});
    expectOnly(openLink, var);
    EXPECT_TRUE(DataStorage.isEmpty());
}

// --- the value in the store ---

struct StoreRow {
    const char *name;
    int area, address, count;
    const char *data;
    int key, position;
    const char *stored; // from the position to the image's end

    friend void PrintTo(const StoreRow &row, std::ostream *out) { *out << row.name; }
};

class WrittenValue : public FrameTest, public testing::WithParamInterface<StoreRow>
{
protected:
    static RW_VAR given()
    {
        return write(GetParam().area, GetParam().address, GetParam().count, GetParam().data);
    }
};

TEST_P(WrittenValue, isInTheStoreAtOnce)
{
    RW_VAR var = given();
    WriteRegister(&var);
    EXPECT_EQ(image(1, GetParam().key, GetParam().position, 99), GetParam().stored);
    EXPECT_EQ(DataStorage.keys(), QList<int>{1});
    EXPECT_EQ(DataStorage.value(1).keys(), QList<int>{GetParam().key});
}

TEST_P(WrittenValue, isNotStoredAfterAFailure)
{
    PLC_driver.lastFailed = 1;
    RW_VAR var = given();
    WriteRegister(&var);
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_FALSE(PLC_driver.frameQueue.isEmpty()) << "it is sent all the same";
    EXPECT_EQ(PLC_driver.lastFailed, 1);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, WrittenValue, testing::Values(
    StoreRow{"R_37",        AREA_R,          37, 1, "07",                        0,    4, "20"},
    StoreRow{"B_431",       AREA_B,         431, 1, "01",                        1,   53, "80"},
    StoreRow{"MR_37",       AREA_MR,         37, 1, "01",                        2,    4, "20"},
    StoreRow{"LR_60",       AREA_LR,         60, 1, "01",                        3,    7, "10"},
    StoreRow{"CR_639",      AREA_CR,        639, 1, "01",                        4,   79, "80"},
    StoreRow{"VB_16",       AREA_VB,         16, 1, "01",                        5,    2, "01"},
    StoreRow{"R_cleared",   AREA_R,          37, 1, "00",                        0,    4, "00"},
    StoreRow{"DM_200",      AREA_DM,        200, 2, "34 12 01 00",              10,  400, "34 12 01 00"},
    StoreRow{"EM_2",        AREA_EM,          2, 1, "05 06",                    11,    4, "05 06"},
    StoreRow{"FM_3",        AREA_FM,          3, 1, "FF FF",                    12,    6, "FF FF"},
    StoreRow{"ZF_4",        AREA_ZF,          4, 1, "01 02",                    13,    8, "01 02"},
    StoreRow{"W_255",       AREA_W,         255, 1, "01 02",                    14,  510, "01 02"},
    StoreRow{"TM_0",        AREA_TM,          0, 1, "01 02",                    15,    0, "01 02"},
    StoreRow{"Z_0",         AREA_Z,           0, 1, "FF FF FF FF",              16,    0, "FF FF FF FF"},
    StoreRow{"T_5",         AREA_T_DWORD,     5, 1, "E8 03 00 00",              17,   20, "E8 03 00 00"},
    StoreRow{"TS_5",        AREA_TS,          5, 2, "D2 04 00 00 88 13 00 00",  18,   20, "D2 04 00 00 88 13 00 00"},
    StoreRow{"C_12",        AREA_C_DWORD,    12, 1, "01 02 03 04",              19,   48, "01 02 03 04"},
    StoreRow{"CS_12",       AREA_CS,         12, 1, "01 02 03 04",              20,   48, "01 02 03 04"},
    StoreRow{"CTH_1",       AREA_CTH_DWORD,   1, 1, "01 02 03 04",              21,    4, "01 02 03 04"},
    StoreRow{"CTC_0",       AREA_CTC_DWORD,   0, 1, "01 02 03 04",              22,    0, "01 02 03 04"},
    StoreRow{"AT_7",        AREA_AT,          7, 1, "01 02 03 04",              23,   28, "01 02 03 04"},
    StoreRow{"CM_7",        AREA_CM,          7, 1, "01 02",                    24,   14, "01 02"},
    StoreRow{"VM_7",        AREA_VM,          7, 1, "01 02",                    25,   14, "01 02"},
    StoreRow{"R_channel12", AREA_R_WORD,     12, 2, "05 00 FF 00",               0,   24, "05 00 FF 00"},
    StoreRow{"B_word26",    AREA_B_WORD,     26, 1, "34 12",                     1,   52, "34 12"},
    StoreRow{"MR_channel7", AREA_MR_WORD,     7, 1, "34 12",                     2,   14, "34 12"},
    StoreRow{"LR_channel0", AREA_LR_WORD,     0, 1, "34 12",                     3,    0, "34 12"},
    StoreRow{"CR_channel1", AREA_CR_WORD,     1, 1, "34 12",                     4,    2, "34 12"},
    StoreRow{"VB_word10",   AREA_VB_WORD,    10, 1, "34 12",                     5,   20, "34 12"},
    StoreRow{"DM_10_15",    AREA_DM_BIT,    175, 1, "01",                       10,   21, "80"},
    StoreRow{"EM_2_5",      AREA_EM_BIT,     37, 1, "01",                       11,    4, "20"},
    StoreRow{"FM_0_0",      AREA_FM_BIT,      0, 1, "01",                       12,    0, "01"},
    StoreRow{"ZF_0_15",     AREA_ZF_BIT,     15, 1, "01",                       13,    1, "80"},
    StoreRow{"W_1A_3",      AREA_W_BIT,     419, 1, "FF",                       14,   52, "08"},
    StoreRow{"TM_1_1",      AREA_TM_BIT,     17, 1, "01",                       15,    2, "02"},
    StoreRow{"CM_1_9",      AREA_CM_BIT,     25, 1, "01",                       24,    3, "02"},
    StoreRow{"VM_2_0",      AREA_VM_BIT,     32, 1, "01",                       25,    4, "01"}),
    rowName<StoreRow>);
// clang-format on

TEST_F(WriteRequest, ofARelayKeepsItsNeighboursInTheStore)
{
    DataStorage[1][0] = bytes("FF FF FF FF FF FF");
    RW_VAR var = write(AREA_R, 37, 1, "00");
    WriteRegister(&var);
    EXPECT_EQ(image(1, 0), "FF FF FF FF DF FF");
    EXPECT_EQ(frames(), Lines{"RS R205\r"});
}

TEST_F(WriteRequest, ofABitKeepsItsNeighboursInTheStore)
{
    DataStorage[1][10] = bytes("00 00 00 41");
    RW_VAR var = write(AREA_DM_BIT, 31, 1, "01");
    WriteRegister(&var);
    EXPECT_EQ(image(1, 10), "00 00 00 C1");
}

TEST_F(WriteRequest, ofMissingValuesLeavesThemInTheStoreAsTheyWere)
{
    DataStorage[1][10] = bytes("11 11 22 22 33 33");
    RW_VAR var = write(AREA_DM, 0, 3, "44 44 55"); // the second word half, the third not given
    WriteRegister(&var);
    EXPECT_EQ(frames(), Lines{"WRS DM0.U 3 17476 00085 00000\r"});
    EXPECT_EQ(image(1, 10), "44 44 55 00 33 33");
}

TEST_F(WriteRequest, ofNoValuesStoresNothing)
{
    RW_VAR var = write(AREA_DM, 5, 0, "01 00");
    WriteRegister(&var);
    EXPECT_EQ(frames(), Lines{"WRS DM5.U 0\r"});
    EXPECT_EQ(image(1, 10), "absent");
}

TEST_F(WriteRequest, belowAddressZeroStoresOnlyWhatLiesAbove)
{
    RW_VAR var = write(AREA_DM, -1, 2, "11 11 22 22");
    WriteRegister(&var);
    EXPECT_EQ(frames(), Lines{"WRS DM-1.U 2 04369 08738\r"});
    EXPECT_EQ(image(1, 10), "22 22");
}

TEST_F(WriteRequest, ofALongBlockIsStoredWhole)
{
    RW_VAR var = variable(AREA_DM, 0, 300);
    var.data = QByteArray(598, '\0') + bytes("2C 01");
    WriteRegister(&var);
    EXPECT_EQ(entry(0).frameLength, 1814);
    EXPECT_EQ(entry(0).payloadLength, 300);
    EXPECT_EQ(image(1, 10, 596, 99), "00 00 2C 01");
}
} // namespace
