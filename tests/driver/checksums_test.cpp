// SPDX-License-Identifier: MIT
// Block checks over bytes, and the digit converters.
#include "queued_frames.h"

namespace
{
using Check = quint16 (*)(const quint8 *, quint16);

struct CheckRow {
    const char *name;
    Check check;
    const char *data; // hexadecimal
    int length;       // number of bytes handed to the check
    int expected;

    friend void PrintTo(const CheckRow &row, std::ostream *out) { *out << row.name; }
};

class Checksum : public DriverTest, public testing::WithParamInterface<CheckRow>
{
protected:
    static int checkOf(Check check, const QByteArray &data, int length)
    {
        return check(reinterpret_cast<const quint8 *>(data.constData()), quint16(length));
    }
};

TEST_P(Checksum, isAsExpected)
{
    const CheckRow &row = GetParam();
    const QByteArray data = bytes(row.data);
    EXPECT_EQ(checkOf(row.check, data, row.length), row.expected);
    EXPECT_EQ(checkOf(row.check, data, row.length), row.expected) << "second call: no state is kept";
}

INSTANTIATE_TEST_SUITE_P(Sum, Checksum,
                         testing::Values(CheckRow{"noBytes", CalSUM, "5A", 0, 0},
                                         CheckRow{"one", CalSUM, "01", 1, 1},
                                         CheckRow{"topBitIsNoSign", CalSUM, "80", 1, 128},
                                         CheckRow{"carryOutOfTheByte", CalSUM, "FF 02", 2, 257},
                                         CheckRow{"lengthEndsIt", CalSUM, "01 02 40", 2, 3},
                                         CheckRow{"digits", CalSUM, "31 32 33 34 35 36 37 38 39", 9, 477}),
                         rowName<CheckRow>);

// Worked out bit by bit: register after the byte, low byte first on a wire.
INSTANTIATE_TEST_SUITE_P(Crc, Checksum,
                         testing::Values(CheckRow{"noBytes", CalCRC, "5A", 0, 0xFFFF},
                                         CheckRow{"zero", CalCRC, "00", 1, 0x40BF},
                                         CheckRow{"one", CalCRC, "01", 1, 0x807E},
                                         CheckRow{"allOnes", CalCRC, "FF", 1, 0x00FF},
                                         CheckRow{"ownCheckGivesZero", CalCRC, "00 BF 40", 3, 0},
                                         CheckRow{"lengthEndsIt", CalCRC, "00 BF 40", 1, 0x40BF},
                                         CheckRow{"digits", CalCRC, "31 32 33 34 35 36 37 38 39", 9, 0x4B37}),
                         rowName<CheckRow>);

// On purpose: 256, not 0, when the low byte of the sum is 0.
INSTANTIATE_TEST_SUITE_P(Lrc, Checksum,
                         testing::Values(CheckRow{"noBytes", CalLRC, "5A", 0, 256},
                                         CheckRow{"zero", CalLRC, "00", 1, 256},
                                         CheckRow{"one", CalLRC, "01", 1, 255},
                                         CheckRow{"allOnes", CalLRC, "FF", 1, 1},
                                         CheckRow{"topBitIsNoSign", CalLRC, "80", 1, 128},
                                         CheckRow{"sumWrapsToZero", CalLRC, "01 FF", 2, 256},
                                         CheckRow{"sumWrapsToOne", CalLRC, "FF 02", 2, 255},
                                         CheckRow{"lengthEndsIt", CalLRC, "01 02 03 40", 3, 250},
                                         // digits: sum 477 = 0x1DD, complement of 0xDD is
                                         // 0x22, plus 1
                                         CheckRow{"digits", CalLRC, "31 32 33 34 35 36 37 38 39", 9, 0x23}),
                         rowName<CheckRow>);

// On purpose: the first byte counts even when the length is 0.
INSTANTIATE_TEST_SUITE_P(Xor, Checksum,
                         testing::Values(CheckRow{"lengthZeroGivesTheFirst", CalXOR, "5A FF", 0, 0x5A},
                                         CheckRow{"lengthOneGivesTheFirst", CalXOR, "5A FF", 1, 0x5A},
                                         CheckRow{"equalBytesCancel", CalXOR, "5A 5A", 2, 0},
                                         CheckRow{"topBitIsNoSign", CalXOR, "80", 1, 0x80},
                                         CheckRow{"mixed", CalXOR, "FF 0F", 2, 0xF0},
                                         CheckRow{"lengthEndsIt", CalXOR, "01 02 80", 2, 3},
                                         // digits: '1'..'8' pair up to 8, then 0x39
                                         CheckRow{"digits", CalXOR, "31 32 33 34 35 36 37 38 39", 9, 0x31}),
                         rowName<CheckRow>);

class LongChecksum : public Checksum
{
};

TEST_F(LongChecksum, sumKeepsItsLowSixteenBits)
{
    EXPECT_EQ(checkOf(CalSUM, QByteArray(300, '\xFF'), 300), 10964); // 76500 - 65536
    EXPECT_EQ(checkOf(CalSUM, QByteArray(257, '\xFF'), 257), 65535);
    EXPECT_EQ(checkOf(CalSUM, QByteArray(257, '\xFF') + '\x01', 258), 0);
    EXPECT_EQ(checkOf(CalSUM, QByteArray(65535, '\xFF'), 65535), 65281); // 16711425 = 0xFEFF01
}

TEST_F(LongChecksum, lrcOfManyBytesStaysWithinOneTo256)
{
    EXPECT_EQ(checkOf(CalLRC, QByteArray(300, '\xFF'), 300), 44);      // 76500 ends in 0xD4; 0x2B + 1
    EXPECT_EQ(checkOf(CalLRC, QByteArray(65535, '\xFF'), 65535), 255); // sum ends in 0x01
}

TEST_F(LongChecksum, xorOfManyBytes)
{
    EXPECT_EQ(checkOf(CalXOR, QByteArray(300, '\xFF'), 300), 0);
    EXPECT_EQ(checkOf(CalXOR, QByteArray(65535, '\xFF'), 65535), 0xFF);
}

TEST_F(LongChecksum, noBufferGivesZero)
{
    EXPECT_EQ(CalSUM(nullptr, 4), 0);
    EXPECT_EQ(CalCRC(nullptr, 4), 0);
    EXPECT_EQ(CalLRC(nullptr, 4), 0);
    EXPECT_EQ(CalXOR(nullptr, 4), 0);
    EXPECT_EQ(CalSUM(nullptr, 0), 0);
    EXPECT_EQ(CalXOR(nullptr, 0), 0);
}

struct DigitRow {
    const char *name;
    int given;
    int expected;

    friend void PrintTo(const DigitRow &row, std::ostream *out) { *out << row.name; }
};

class DigitToCharacter : public DriverTest, public testing::WithParamInterface<DigitRow>
{
};

TEST_P(DigitToCharacter, isAsExpected)
{
    EXPECT_EQ(DigitalToASCII(GetParam().given), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Digits, DigitToCharacter,
                         testing::Values(DigitRow{"zero", 0, '0'}, DigitRow{"one", 1, '1'},
                                         DigitRow{"nine", 9, '9'}, DigitRow{"ten", 10, 'A'},
                                         DigitRow{"eleven", 11, 'B'}, DigitRow{"fifteen", 15, 'F'},
                                         DigitRow{"sixteenGoesOnToG", 16, 'G'}, DigitRow{"hundred", 100, 155},
                                         DigitRow{"minusOne", -1, 47}, DigitRow{"minus48", -48, 0},
                                         DigitRow{"smallest", INT_MIN, -2147483600}),
                         rowName<DigitRow>);

class CharacterToDigit : public DriverTest, public testing::WithParamInterface<DigitRow>
{
};

TEST_P(CharacterToDigit, isAsExpected)
{
    EXPECT_EQ(ASCIIToDigital(GetParam().given), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Characters, CharacterToDigit,
    testing::Values(DigitRow{"nul", 0, 0}, DigitRow{"blank", ' ', 0}, DigitRow{"slash", 0x2F, 0},
                    DigitRow{"zero", '0', 0}, DigitRow{"one", '1', 1}, DigitRow{"nine", '9', 9},
                    DigitRow{"colon", ':', 10}, DigitRow{"semicolon", ';', 11},
                    DigitRow{"questionMark", 0x3F, 15}, DigitRow{"atSign", 0x40, 0}, DigitRow{"A", 'A', 10},
                    DigitRow{"F", 'F', 15}, DigitRow{"G", 'G', 16}, DigitRow{"Z", 'Z', 35},
                    DigitRow{"lowerAIsNotFolded", 'a', 42}, DigitRow{"lowerFIsNotFolded", 'f', 47},
                    DigitRow{"lastByte", 255, 200}, DigitRow{"minusOne", -1, 0},
                    DigitRow{"smallest", INT_MIN, 0}, DigitRow{"largest", INT_MAX, 2147483592}),
    rowName<DigitRow>);

class DigitRoundTrip : public DriverTest
{
};

TEST_F(DigitRoundTrip, everyHexadecimalDigitComesBack)
{
    const std::string characters = "0123456789ABCDEF";
    for (int digit = 0; digit < 16; ++digit) {
        EXPECT_EQ(DigitalToASCII(digit), characters[size_t(digit)]);
        EXPECT_EQ(ASCIIToDigital(characters[size_t(digit)]), digit);
    }
}
} // namespace
