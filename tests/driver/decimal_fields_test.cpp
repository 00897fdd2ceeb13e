// SPDX-License-Identifier: MIT
// The numbers of a reply convert as Qt converts them, whatever stands in their fields: a field of
// digits takes a shorter way than all others, and nobody may be able to tell which way was taken.
#include "driver_test.h"

#include <QtEndian>

namespace
{
class DecimalFields : public DriverTest
{
protected:
    // The bytes that fields of station 1 are stored as: one field after the other, a
    // separator behind each.
    static QByteArray stored(int area, int key, QByteArray fields, int width)
    {
        Protocol frame;
        frame.var = variable(area, 0, int(fields.size()) / (width + 1));
        frame.payloadLength = int(fields.size()) - 1;
        PLC_driver.frameQueue.clear();
        PLC_driver.frameQueue.append(frame);
        SaveToLocalDataErea(&fields);
        return DataStorage[1][key];
    }

    static quint32 wordAt(const QByteArray &image, int element)
    {
        return qFromLittleEndian<quint16>(reinterpret_cast<const uchar *>(image.constData()) + 2 * element);
    }

    static quint32 dwordAt(const QByteArray &image, int element)
    {
        return qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(image.constData()) + 4 * element);
    }
};

// Digits and the characters next to them, three kinds of blank, signs, the end of a C string, what
// hexadecimal and floating-point numbers have, separators, and bytes beyond ASCII.
const char characters[] = {'0', '1', '9', '/', ':',  ' ', '\t', '\r',
                           '+', '-', '.', ',', '\0', 'x', 'A',  char(0xB2)};
constexpr int kinds = sizeof characters;

// The text of as many characters as the width that stands at this place among all such texts.
QByteArray textNumber(int number, int width)
{
    QByteArray text(width, '0');
    for (int at = width - 1; at >= 0; --at, number /= kinds)
        text[at] = characters[number % kinds];
    return text;
}

// 16 to the 5th is 1,048,576 texts; 65,536 words go into one reply.
TEST_F(DecimalFields, everyWordOfFiveCharactersIsWhatQtTakesItFor)
{
    constexpr int inOneReply = kinds * kinds * kinds * kinds;
    for (int first = 0; first < kinds; ++first) {
        QByteArray fields;
        for (int i = 0; i < inOneReply; ++i)
            fields += textNumber(first * inOneReply + i, 5) += ' ';
        const QByteArray image = stored(AREA_DM, 10, fields, 5);
        ASSERT_EQ(image.size(), 2 * inOneReply);
        for (int i = 0; i < inOneReply; ++i) {
            const QByteArray text = fields.mid(i * 6, 5);
            ASSERT_EQ(wordAt(image, i), quint32(text.toInt()) & 0xFFFFU) << hex(text);
        }
    }
}

// Digits with one or two other characters among them, at any two places.
TEST_F(DecimalFields, doubleWordsOfTenCharactersAreWhatQtTakesThemFor)
{
    QByteArray fields;
    for (const char *digits : {"1234567890", "2147483647", "0000000000"})
        for (int one = 0; one < 10; ++one)
            for (int other = 0; other < 10; ++other)
                for (int pair = 0; pair < kinds * kinds; ++pair) {
                    QByteArray text(digits);
                    text[one] = characters[pair / kinds];
                    text[other] = characters[pair % kinds];
                    fields += text += ' ';
                }
    const QByteArray image = stored(AREA_Z, 16, fields, 10);
    ASSERT_EQ(image.size(), 3 * 100 * kinds * kinds * 4);
    for (int i = 0; i < image.size() / 4; ++i) {
        const QByteArray text = fields.mid(i * 11, 10);
        ASSERT_EQ(dwordAt(image, i), quint32(text.toInt())) << hex(text);
    }
}

TEST_F(DecimalFields, everyCharacterOfAContactIsWhatQtTakesItFor)
{
    QByteArray fields;
    for (int code = 0; code < 256; ++code)
        fields += QByteArray(1, char(code)) += ",0000000000,0000000000 ";
    const QByteArray image = stored(AREA_T, 6, fields, 23);
    ASSERT_GE(image.size(), 256);
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(int(image.at(code)), QByteArray(1, char(code)).toInt() != 0 ? 1 : 0) << code;
}

struct FieldRow {
    const char *name;
    const char *text;
    quint32 value;

    friend std::ostream &operator<<(std::ostream &out, const FieldRow &row) { return out << row.name; }
};

class DoubleWord : public DecimalFields, public testing::WithParamInterface<FieldRow>
{
};

TEST_P(DoubleWord, isTheSignedNumberOrZero)
{
    EXPECT_EQ(dwordAt(stored(AREA_Z, 16, QByteArray(GetParam().text) += ' ', 10), 0), GetParam().value);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Limits, DoubleWord, testing::Values(
    FieldRow{"highest",             "2147483647", 2147483647U},
    FieldRow{"onePastTheHighest",   "2147483648", 0U},
    FieldRow{"highestOf32Bits",     "4294967295", 0U},
    FieldRow{"wrapsToZeroIn32Bits", "4294967296", 0U},
    FieldRow{"wrapsToOneIn32Bits",  "4294967297", 0U},
    FieldRow{"highestOfTenDigits",  "9999999999", 0U},
    FieldRow{"everyDigit",          "1023456789", 1023456789U},
    FieldRow{"highestOfNineDigits", "0999999999", 999999999U},
    FieldRow{"plusAndNineDigits",   "+999999999", 999999999U},
    FieldRow{"minusAndNineDigits",  "-999999999", 3294967297U}, // 2 to the 32nd less 999999999
    FieldRow{"lateMinus",           "00000000-1", 0U}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on
} // namespace
