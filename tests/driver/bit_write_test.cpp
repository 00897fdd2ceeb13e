// SPDX-License-Identifier: MIT
// The write of one bit of a word: the word just read is completed and patched into the write frame
// that waits behind it (SpecialRegisterSave).
#include "driver_test.h"

#include <ostream>

namespace
{
class BitWrite : public DriverTest
{
protected:
    // A read and a word write in the queue, and the bit write that they serve at the
    // head of writeList.
    static void pending(int bitAddress, const char *dataHex, const char *writeFrame = "WRS DM10.U 1 00000\r")
    {
        PLC_driver.writeList.append(write(AREA_DM_BIT, bitAddress, 1, dataHex));
        queue("RDS DM10.U 1\r", -1);
        queue(writeFrame, 0);
    }

    static void queue(const char *text, int preReadMark)
    {
        Protocol frame;
        frame.frame = QByteArray(text);
        frame.frameLength = int(frame.frame.size());
        frame.var = variable(AREA_DM, 10, 1);
        frame.var.preReadMark = preReadMark;
        frame.payloadLength = 5;
        PLC_driver.frameQueue.append(frame);
    }

    static void preRead(const char *text)
    {
        QByteArray reply(text);
        SpecialRegisterSave(&reply);
        EXPECT_EQ(reply, QByteArray(text));
    }

    static std::string writeFrame() { return PLC_driver.frameQueue.at(1).frame.toStdString(); }
};

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row> &row)
{
    return row.param.name;
}

struct BitRow {
    const char *name;
    const char *reply;
    int bitAddress;
    const char *dataHex;
    const char *frame;
};

void PrintTo(const BitRow &row, std::ostream *out)
{
    *out << row.name;
}

class PatchedWord : public BitWrite, public testing::WithParamInterface<BitRow>
{
};

TEST_P(PatchedWord, isPatchedIntoTheWriteFrame)
{
    pending(GetParam().bitAddress, GetParam().dataHex);
    preRead(GetParam().reply);
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", GetParam().frame}));
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_TRUE(DataStorage.isEmpty());
}

BitRow set(const char *name, int bitAddress, const char *frame)
{
    return BitRow{name, "00000\r\n", bitAddress, "01", frame};
}

BitRow clear(const char *name, int bitAddress, const char *frame)
{
    return BitRow{name, "65535\r\n", bitAddress, "00", frame};
}

INSTANTIATE_TEST_SUITE_P(
    Set, PatchedWord,
    testing::Values(set("bit0", 160, "WRS DM10.U 1 00001\r"), set("bit1", 161, "WRS DM10.U 1 00002\r"),
                    set("bit2", 162, "WRS DM10.U 1 00004\r"), set("bit3", 163, "WRS DM10.U 1 00008\r"),
                    set("bit4", 164, "WRS DM10.U 1 00016\r"), set("bit5", 165, "WRS DM10.U 1 00032\r"),
                    set("bit6", 166, "WRS DM10.U 1 00064\r"), set("bit7", 167, "WRS DM10.U 1 00128\r"),
                    set("bit8", 168, "WRS DM10.U 1 00256\r"), set("bit9", 169, "WRS DM10.U 1 00512\r"),
                    set("bit10", 170, "WRS DM10.U 1 01024\r"), set("bit11", 171, "WRS DM10.U 1 02048\r"),
                    set("bit12", 172, "WRS DM10.U 1 04096\r"), set("bit13", 173, "WRS DM10.U 1 08192\r"),
                    set("bit14", 174, "WRS DM10.U 1 16384\r"), set("bit15", 175, "WRS DM10.U 1 32768\r")),
    rowName<BitRow>);

INSTANTIATE_TEST_SUITE_P(
    Clear, PatchedWord,
    testing::Values(clear("bit0", 160, "WRS DM10.U 1 65534\r"), clear("bit1", 161, "WRS DM10.U 1 65533\r"),
                    clear("bit2", 162, "WRS DM10.U 1 65531\r"), clear("bit3", 163, "WRS DM10.U 1 65527\r"),
                    clear("bit4", 164, "WRS DM10.U 1 65519\r"), clear("bit5", 165, "WRS DM10.U 1 65503\r"),
                    clear("bit6", 166, "WRS DM10.U 1 65471\r"), clear("bit7", 167, "WRS DM10.U 1 65407\r"),
                    clear("bit8", 168, "WRS DM10.U 1 65279\r"), clear("bit9", 169, "WRS DM10.U 1 65023\r"),
                    clear("bit10", 170, "WRS DM10.U 1 64511\r"), clear("bit11", 171, "WRS DM10.U 1 63487\r"),
                    clear("bit12", 172, "WRS DM10.U 1 61439\r"), clear("bit13", 173, "WRS DM10.U 1 57343\r"),
                    clear("bit14", 174, "WRS DM10.U 1 49151\r"), clear("bit15", 175, "WRS DM10.U 1 32767\r")),
    rowName<BitRow>);

INSTANTIATE_TEST_SUITE_P(
    Words, PatchedWord,
    testing::Values(BitRow{"setKeepsTheOthers", "00005\r\n", 163, "01", "WRS DM10.U 1 00013\r"},
                    BitRow{"clearKeepsTheOthers", "00005\r\n", 160, "00", "WRS DM10.U 1 00004\r"},
                    BitRow{"setWhatIsSet", "00005\r\n", 162, "01", "WRS DM10.U 1 00005\r"},
                    BitRow{"clearWhatIsClear", "00005\r\n", 161, "00", "WRS DM10.U 1 00005\r"},
                    BitRow{"fiveNinesKeepSixteenBits", "99999\r\n", 165, "01", "WRS DM10.U 1 34495\r"},
                    BitRow{"minusOne", "-0001\r\n", 160, "00", "WRS DM10.U 1 65534\r"},
                    BitRow{"noNumber", "abcde\r\n", 161, "01", "WRS DM10.U 1 00002\r"},
                    BitRow{"onlyTheFirstFiveCharacters", "0000512345", 161, "01", "WRS DM10.U 1 00007\r"},
                    BitRow{"shorterReply", "12", 160, "01", "WRS DM10.U 1 00013\r"},
                    BitRow{"emptyReply", "", 160, "01", "WRS DM10.U 1 00001\r"}),
    rowName<BitRow>);

INSTANTIATE_TEST_SUITE_P(
    Values, PatchedWord,
    testing::Values(BitRow{"anyNonZeroByteSets", "00000\r\n", 160, "80", "WRS DM10.U 1 00001\r"},
                    BitRow{"theFirstByteDecidesClear", "65535\r\n", 160, "00 01", "WRS DM10.U 1 65534\r"},
                    BitRow{"theFirstByteDecidesSet", "00000\r\n", 160, "01 00", "WRS DM10.U 1 00001\r"},
                    BitRow{"noDataClears", "65535\r\n", 160, "", "WRS DM10.U 1 65534\r"}),
    rowName<BitRow>);

// The remainder of a negative address is negative: there is no such bit, and the word goes back
// as it came.
INSTANTIATE_TEST_SUITE_P(
    Addresses, PatchedWord,
    testing::Values(BitRow{"negativeBitSetsNothing", "00005\r\n", -3, "01", "WRS DM10.U 1 00005\r"},
                    BitRow{"negativeBitClearsNothing", "65535\r\n", -15, "00", "WRS DM10.U 1 65535\r"},
                    BitRow{"minusOneSetsNothing", "00005\r\n", -1, "01", "WRS DM10.U 1 00005\r"},
                    BitRow{"negativeWordBit0", "00004\r\n", -16, "01", "WRS DM10.U 1 00005\r"},
                    BitRow{"wordZero", "00000\r\n", 15, "01", "WRS DM10.U 1 32768\r"},
                    BitRow{"highestAddress", "00000\r\n", 2147483647, "01", "WRS DM10.U 1 32768\r"}),
    rowName<BitRow>);

// ------------------------------------------------------------------------------------------------
// Frames
// -------------------------------------------------------------------------------------------------

TEST_F(BitWrite, onlyTheSecondFrameIsPatched)
{
    pending(160, "01");
    queue("WRS DM10.U 1 00000\r", 0);
    preRead("00004\r\n");
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00005\r", "WRS DM10.U 1 00000\r"}));
    EXPECT_EQ(PLC_driver.frameQueue.at(1).frameLength, 19);
}

TEST_F(BitWrite, onlyTheFirstPendingWriteCounts)
{
    pending(160, "01");
    PLC_driver.writeList.append(write(AREA_DM_BIT, 164, 1, "01"));
    preRead("00000\r\n");
    EXPECT_EQ(writeFrame(), "WRS DM10.U 1 00001\r");
}

TEST_F(BitWrite, theDigitsBeforeTheTerminatorAreReplacedWhateverTheyAre)
{
    pending(160, "01", "WRS VM65534.U 1 12345\r");
    preRead("00006\r\n");
    EXPECT_EQ(writeFrame(), "WRS VM65534.U 1 00007\r");
}

TEST_F(BitWrite, theWordIsTakenFromTheStartOfTheReplyWhateverTheOffset)
{
    pending(160, "01");
    PLC_driver.frameQueue[0].replyOffset = 3;
    PLC_driver.frameQueue[0].payloadLength = 2;
    preRead("00100\r\n");
    EXPECT_EQ(writeFrame(), "WRS DM10.U 1 00101\r");
}

TEST_F(BitWrite, aFrameOfSixBytesIsAllDigitsAndTerminator)
{
    pending(160, "01", "00000\r");
    preRead("00100\r\n");
    EXPECT_EQ(writeFrame(), "00101\r");
}

class ShortFrame : public BitWrite, public testing::WithParamInterface<const char *>
{
};

// No frame of the driver is that short; all that counts is that nothing before it is touched.
TEST_P(ShortFrame, keepsItsLengthAndItsTerminator)
{
    const std::string before = GetParam();
    pending(160, "01", GetParam());
    preRead("00100\r\n");
    EXPECT_EQ(writeFrame().size(), before.size());
    EXPECT_EQ(writeFrame().substr(before.size() - 1), "\r");
    EXPECT_EQ(PLC_driver.frameQueue.at(0).frame, QByteArray("RDS DM10.U 1\r"));
}

INSTANTIATE_TEST_SUITE_P(Lengths, ShortFrame, testing::Values("\r", "0\r", "00\r", "000\r", "0000\r"),
                         [](const testing::TestParamInfo<const char *> &row) {
                             return std::to_string(std::string(row.param).size()) + "_bytes";
                         });

TEST_F(BitWrite, anEmptyFrameStaysEmpty)
{
    pending(160, "01", "");
    preRead("00100\r\n");
    EXPECT_EQ(writeFrame(), "");
}

// ------------------------------------------------------------------------------------------------
// Something is missing
// -------------------------------------------------------------------------------------------------

TEST_F(BitWrite, withoutASecondFrameNothingIsPatched)
{
    PLC_driver.writeList.append(write(AREA_DM_BIT, 160, 1, "01"));
    queue("RDS DM10.U 1\r", -1);
    preRead("00004\r\n");
    EXPECT_EQ(frames(), Lines{"RDS DM10.U 1\r"});
}

TEST_F(BitWrite, withoutAPendingWriteNothingIsPatched)
{
    queue("RDS DM10.U 1\r", -1);
    queue("WRS DM10.U 1 00000\r", 0);
    preRead("00004\r\n");
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00000\r"}));
}

TEST_F(BitWrite, withAnEmptyQueueNothingIsPatched)
{
    PLC_driver.writeList.append(write(AREA_DM_BIT, 160, 1, "01"));
    preRead("00004\r\n");
    EXPECT_EQ(frames(), Lines());
}

TEST_F(BitWrite, withoutAReplyNothingIsPatched)
{
    pending(160, "01");
    SpecialRegisterSave(nullptr);
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00000\r"}));
}

// ------------------------------------------------------------------------------------------------
// Through the decoder and through a whole exchange
// -------------------------------------------------------------------------------------------------

TEST_F(BitWrite, theDecoderPatchesAndStoresNothing)
{
    pending(163, "01");
    QByteArray reply("00005\r\n");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(writeFrame(), "WRS DM10.U 1 00013\r");
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_F(BitWrite, aWholeExchangeReadsTheWordAndWritesItBack)
{
    link(1);
    RW_VAR var = write(AREA_EM_BIT, 37, 1, "01");
    EXPECT_EQ(AddListWriteVar(&var, 0), 1);
    EXPECT_EQ(send(), "RDS EM2.U 1\r");
    EXPECT_EQ(answer("00001\r\n"), 1);
    EXPECT_EQ(send(), "WRS EM2.U 1 00033\r");
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    EXPECT_EQ(image(1, 11), "00 00 00 00 20");
}
} // namespace
