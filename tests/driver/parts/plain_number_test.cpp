// SPDX-License-Identifier: MIT
// The fast path of the address parser. What it declines goes the slow way and comes out right all
// the same, so that nothing but these rows tells a fast path that declines what it should convert.
#include "addresses/plain_number.h"

#include <gtest/gtest.h>

#include <QString>

#include <ostream>

namespace
{
struct CharacterRow {
    char16_t character;
    int digit;
};

class HexDigit : public testing::TestWithParam<CharacterRow>
{
};

TEST_P(HexDigit, isItsValueOrSixteen)
{
    EXPECT_EQ(hexDigitOf(QChar(ushort(GetParam().character))), GetParam().digit);
}

INSTANTIATE_TEST_SUITE_P(Digits, HexDigit,
                         testing::Values(CharacterRow{u'0', 0}, CharacterRow{u'1', 1}, CharacterRow{u'2', 2},
                                         CharacterRow{u'3', 3}, CharacterRow{u'4', 4}, CharacterRow{u'5', 5},
                                         CharacterRow{u'6', 6}, CharacterRow{u'7', 7}, CharacterRow{u'8', 8},
                                         CharacterRow{u'9', 9}, CharacterRow{u'a', 10},
                                         CharacterRow{u'b', 11}, CharacterRow{u'c', 12},
                                         CharacterRow{u'd', 13}, CharacterRow{u'e', 14},
                                         CharacterRow{u'f', 15}, CharacterRow{u'A', 10},
                                         CharacterRow{u'B', 11}, CharacterRow{u'C', 12},
                                         CharacterRow{u'D', 13}, CharacterRow{u'E', 14},
                                         CharacterRow{u'F', 15}));

// Those beside the digits, what the letters fold onto, and digits that are none of ours: Arabic
// 5, full-width 1.
INSTANTIATE_TEST_SUITE_P(OtherCharacters, HexDigit,
                         testing::Values(CharacterRow{u'/', 16}, CharacterRow{u':', 16},
                                         CharacterRow{u'@', 16}, CharacterRow{u'G', 16},
                                         CharacterRow{u'`', 16}, CharacterRow{u'g', 16},
                                         CharacterRow{u' ', 16}, CharacterRow{u'+', 16},
                                         CharacterRow{u'-', 16}, CharacterRow{u'.', 16},
                                         CharacterRow{u'\0', 16}, CharacterRow{u'\x10', 16},
                                         CharacterRow{u'\x0665', 16}, CharacterRow{u'\xFF11', 16}));

struct TextRow {
    const char *name;
    const char *text;
    int base;
    int number;

    friend std::ostream &operator<<(std::ostream &out, const TextRow &row) { return out << row.name; }
};

class PlainNumber : public testing::TestWithParam<TextRow>
{
};

TEST_P(PlainNumber, isConvertedOrDeclined)
{
    const QString text = QString::fromLatin1(GetParam().text);
    const QChar *begin = text.constData();
    EXPECT_EQ(plainNumber(begin, begin + text.size(), GetParam().base), GetParam().number);
}

constexpr auto textName = [](const auto &row) { return std::string(row.param.name); };

// clang-format off
INSTANTIATE_TEST_SUITE_P(Converted, PlainNumber, testing::Values(
    TextRow{"zero",              "0",       10, 0},
    TextRow{"nine",              "9",       10, 9},
    TextRow{"allDecimalDigits1", "1234567", 10, 1234567},
    TextRow{"allDecimalDigits2", "890",     10, 890},
    TextRow{"sevenNines",        "9999999", 10, 9999999},
    TextRow{"sevenZeros",        "0000000", 10, 0},
    TextRow{"hexZero",           "0",       16, 0},
    TextRow{"hexF",              "F",       16, 15},
    TextRow{"lowerCase",         "abcdef",  16, 11259375},
    TextRow{"upperCase",         "ABCDEF",  16, 11259375},
    TextRow{"sevenFs",           "fFfFfFf", 16, 268435455}), textName);

INSTANTIATE_TEST_SUITE_P(Declined, PlainNumber, testing::Values(
    TextRow{"empty",             "",         10, -1},
    TextRow{"eightDigits",       "12345678", 10, -1},
    TextRow{"eightZeros",        "00000000", 16, -1},
    TextRow{"eightFs",           "ffffffff", 16, -1},
    TextRow{"blankBefore",       " 1",       10, -1},
    TextRow{"blankAfter",        "1 ",       10, -1},
    TextRow{"plus",              "+1",       10, -1},
    TextRow{"minus",             "-1",       16, -1},
    TextRow{"aInDecimal",        "1a",       10, -1},
    TextRow{"g",                 "1g",       16, -1},
    TextRow{"hexPrefix",         "0x1",      16, -1},
    TextRow{"slash",             "1/",       10, -1},
    TextRow{"colon",             ":1",       16, -1},
    TextRow{"point",             "1.5",      10, -1}), textName);
// clang-format on
} // namespace
