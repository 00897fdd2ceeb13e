// SPDX-License-Identifier: MIT
// Address texts as operators type them, and the integer addresses they stand for.
#include "driver_test.h"

#include <limits>

namespace
{
constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

class AddressParser : public DriverTest
{
protected:
    // Asks the parser and the host call for one address: same result, same line, the caller's text
    // untouched. \param shown the text in the debug line; null: no line
    void expectAddress(int area, const char *typed, int address, const char *shown)
    {
        SCOPED_TRACE("area " + std::to_string(area) + ", text \"" + typed + "\"");
        Lines lines;
        if (shown != nullptr)
            lines.push_back("StringAddressToInt " + std::to_string(area) + " \"" + shown + "\" ");

        const QString text = QString::fromUtf8(typed);
        EXPECT_EQ(StringAddressToInt(area, text), address);
        EXPECT_EQ(takeLines(), lines);
        EXPECT_EQ(PLCAddressChangeIntef(area, text), address);
        EXPECT_EQ(takeLines(), lines);
        EXPECT_EQ(text, QString::fromUtf8(typed));
    }
};

// --- each of the 40 areas: an address it takes, and a text it refuses ---

struct AreaRow {
    const char *name;
    int area;
    const char *good;
    int address;
    const char *bad;
    const char *shown; // how the refused text stands in the debug line
};

// clang-format off
const AreaRow areaRows[] = {
    {"R",          0, "1012",    172, "1x",    "001x"},
    {"B",          1, "1F3",     499, "1G3",   "1G3"},
    {"MR",         2, "105",      21, "10x",   "0010x"},
    {"LR",         3, "31915",  5119, "3,15",  "003,15"},
    {"CR",         4, "7915",   1279, "CR79",  "00CR79"},
    {"VB",         5, "9FFF",  40959, "VB9",   "VB9"},
    {"T",          6, "3999",   3999, "T1",    "T1"},
    {"C",          7, "0",         0, "C1",    "C1"},
    {"CTH",        8, "3",         3, "0x1",   "0x1"},
    {"CTC",        9, "7",         7, "7A",    "7A"},
    {"DM",        10, "65534", 65534, "12.5",  "12.5"},
    {"EM",        11, "100",     100, "1A",    "1A"},
    {"FM",        12, "32767", 32767, "",      ""},
    {"ZF",        13, "524287", 524287, "5 5", "5 5"},
    {"W",         14, "7FFF",  32767, "7FFG",  "7FFG"},
    {"TM",        15, "511",     511, "5-",    "5-"},
    {"Z",         16, "12",       12, "Z12",   "Z12"},
    {"T_dword",   17, "3998",   3998, "-",     "-"},
    {"TS",        18, "10",       10, "+",     "+"},
    {"C_dword",   19, "11",       11, "1.0",   "1.0"},
    {"CS",        20, "13",       13, "FF",    "FF"},
    {"CTH_dword", 21, "1",         1, "one",   "one"},
    {"CTC_dword", 22, "2",         2, "2;",    "2;"},
    {"AT",        23, "6",         6, "6.",    "6."},
    {"CM",        24, "8999",   8999, "0x10",  "0x10"},
    {"VM",        25, "59999", 59999, "1e3",   "1e3"},
    {"R_word",    26, "1015",     10, "x000",  "00x000"},
    {"B_word",    27, "1F0",      31, "G10",   "0G10"},
    {"MR_word",   28, "99900",   999, "",      "00"},
    {"LR_word",   29, "5",         0, "1.500", "001.500"},
    {"CR_word",   30, "7900",     79, "A00",   "00A00"},
    {"VB_word",   31, "9FF0",   2559, "",      "0"},
    {"DM_bit",    32, "100.5",  1605, "100",   "100"},
    {"EM_bit",    33, "2.5",      37, "2.5.1", "2.5.1"},
    {"FM_bit",    34, "0.15",     15, "1.",    "1."},
    {"ZF_bit",    35, "1000.0", 16000, ".5",   ".5"},
    {"W_bit",     36, "1A.3",    419, "1A",    "1A"},
    {"TM_bit",    37, "511.15", 8191, "5,1",   "5,1"},
    {"CM_bit",    38, "10.15",   175, "A.1",   "A.1"},
    {"VM_bit",    39, "100.99", 1699, "1.A",   "1.A"},
};
// clang-format on

class AddressOfArea : public AddressParser, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(AddressOfArea, takesItsOwnWritingAndRefusesOthers)
{
    const AreaRow &row = GetParam();
    expectAddress(row.area, row.good, row.address, nullptr);
    expectAddress(row.area, row.bad, -1, row.shown);
}

INSTANTIATE_TEST_SUITE_P(Areas, AddressOfArea, testing::ValuesIn(areaRows),
                         [](const auto &row) { return std::string(row.param.name); });

// --- each way of writing, in every area that uses it ---

using Areas = std::initializer_list<int>;

struct FormRow {
    const char *name;
    const char *text;
    int address;
    const char *shown; // the text in the debug line; null: no line
};

class AddressForm : public AddressParser, public testing::WithParamInterface<FormRow>
{
protected:
    void expectInAll(Areas areas)
    {
        for (const int area : areas)
            expectAddress(area, GetParam().text, GetParam().address, GetParam().shown);
    }
};

constexpr auto formName = [](const auto &row) { return std::string(row.param.name); };

// Relays: a decimal channel and two bit digits. "00" is put before the text, so short texts
// have a channel.
class ChannelAndBit : public AddressForm
{
};

TEST_P(ChannelAndBit, isChannelTimes16PlusBit)
{
    expectInAll({0, 2, 3, 4});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Relays, ChannelAndBit, testing::Values(
    FormRow{"oneDigit",                "5",       5, nullptr},
    FormRow{"leadingZero",             "05",      5, nullptr},
    FormRow{"zero",                    "0",       0, nullptr},
    FormRow{"channel1",                "105",    21, nullptr},
    FormRow{"channel10",               "1012",  172, nullptr},
    FormRow{"lastBit",                 "1015",  175, nullptr},
    FormRow{"bitDigitsAreNotChecked",  "1099",  259, nullptr},
    FormRow{"bit16IsTheNextChannel",   "16",     16, nullptr},
    FormRow{"manyZeros",               "000000001012", 172, nullptr},
    FormRow{"empty",                   "",       -1, "00"},
    FormRow{"letterInBit",             "1x",     -1, "001x"},
    FormRow{"letterInChannel",         "x12",    -1, "00x12"},
    FormRow{"hexDigit",                "1A",     -1, "001A"},
    FormRow{"point",                   "10.5",   -1, "0010.5"},
    FormRow{"hexPrefix",               "0x105",  -1, "000x105"},
    FormRow{"blankBefore",             " 5",      5, nullptr},
    FormRow{"blankBeforeChannel",      " 105",   -1, "00 105"},
    FormRow{"blankAfterOneDigit",      "5 ",      5, nullptr},
    FormRow{"blankAfterShiftsTheBit",  "105 ",  165, nullptr}, // channel 10, bit 5
    FormRow{"blankBetween",            "1 5",    21, nullptr},
    FormRow{"spacesOnly",              "  ",     -1, "00  "},
    FormRow{"spacesForBit",            "1  ",    -1, "001  "},
    FormRow{"plusSign",                "+5",      5, nullptr},
    FormRow{"plusSignInChannel",       "+105",   -1, "00+105"},
    FormRow{"minusSignInChannel",      "-105",   -1, "00-105"},
    FormRow{"bitMinus1",               "-1",     -1, "00-1"},
    FormRow{"bitMinus5",               "-5",     -5, nullptr},
    FormRow{"channel1BitMinus1",       "1-1",    15, nullptr},
    FormRow{"minusZero",               "-0",      0, nullptr},
    FormRow{"quotesAreNotEscaped",     "1\"",    -1, "001\""},
    FormRow{"highest",                 "13421772715", highest, nullptr},
    FormRow{"onePastTheHighest",       "13421772716", -1, "0013421772716"},
    FormRow{"bit99PastTheHighest",     "13421772799", -1, "0013421772799"},
    FormRow{"channelPastTheHighest",   "13421772800", -1, "0013421772800"},
    FormRow{"channelIsTheHighestInt",  "214748364700", -1, "00214748364700"},
    FormRow{"channelDoesNotConvert",   "214748364800", -1, "00214748364800"},
    FormRow{"endlessDigits",           "99999999999999999999", -1, "0099999999999999999999"}), formName);

// B, VB and W: one hexadecimal number.
class WholeHex : public AddressForm
{
};

TEST_P(WholeHex, isTheHexadecimalNumber)
{
    expectInAll({1, 5, 14});
}

INSTANTIATE_TEST_SUITE_P(HexDevices, WholeHex, testing::Values(
    FormRow{"oneDigit",        "B",       11, nullptr},
    FormRow{"zero",            "0",        0, nullptr},
    FormRow{"decimalDigits",   "10",      16, nullptr},
    FormRow{"upperCase",       "1F3",    499, nullptr},
    FormRow{"lowerCase",       "1f3",    499, nullptr},
    FormRow{"leadingZeros",    "001F3",  499, nullptr},
    FormRow{"prefix",          "0x1F3",  499, nullptr},
    FormRow{"upperPrefix",     "0X1F3",  499, nullptr},
    FormRow{"plusPrefix",      "+0x1F3", 499, nullptr},
    FormRow{"prefixAlone",     "0x",      -1, "0x"},
    FormRow{"halfAPrefix",     "x1F",     -1, "x1F"},
    FormRow{"spacesAround",    " 1F ",    31, nullptr},
    FormRow{"tabAround",       "\t1F\t",  31, nullptr},
    FormRow{"blankInside",     "1 F",     -1, "1 F"},
    FormRow{"spacesOnly",      "   ",     -1, "   "},
    FormRow{"empty",           "",        -1, ""},
    FormRow{"plusSign",        "+1F",     31, nullptr},
    FormRow{"minus1",          "-1",      -1, "-1"},
    FormRow{"minus1Long",      "-0x01",   -1, "-0x01"},
    FormRow{"minus2",          "-2",      -2, nullptr},
    FormRow{"minusF",          "-F",     -15, nullptr},
    FormRow{"trailingH",       "1Fh",     -1, "1Fh"},
    FormRow{"beforeUpperCase", "@",       -1, "@"},
    FormRow{"beforeLowerCase", "`",       -1, "`"},
    FormRow{"past32Bits",      "100000001", -1, "100000001"}, // its low 32 bits are 1
    FormRow{"point",           "1F.3",    -1, "1F.3"},
    FormRow{"letterG",         "G",       -1, "G"},
    FormRow{"accent",          "\xC3\xA9", -1, "\xC3\xA9"},
    FormRow{"highest",         "7FFFFFFF", highest, nullptr},
    FormRow{"pastTheHighest",  "80000000", -1, "80000000"},
    FormRow{"lowest",          "-80000000", lowest, nullptr},
    FormRow{"pastTheLowest",   "-80000001", -1, "-80000001"}), formName);

// Everything that is counted in plain numbers.
class WholeDecimal : public AddressForm
{
};

TEST_P(WholeDecimal, isTheDecimalNumber)
{
    expectInAll({6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25});
}

INSTANTIATE_TEST_SUITE_P(DecimalDevices, WholeDecimal, testing::Values(
    FormRow{"zero",            "0",         0, nullptr},
    FormRow{"oneDigit",        "5",         5, nullptr},
    FormRow{"fiveDigits",      "65534", 65534, nullptr},
    FormRow{"leadingZeroIsNotOctal", "010", 10, nullptr},
    FormRow{"spacesAround",    " 100 ",   100, nullptr},
    FormRow{"lineEndAfter",    "100\r\n", 100, nullptr},
    FormRow{"blankInside",     "1 00",     -1, "1 00"},
    FormRow{"spacesOnly",      " ",        -1, " "},
    FormRow{"empty",           "",         -1, ""},
    FormRow{"plusSign",        "+100",    100, nullptr},
    FormRow{"signAlone",       "-",        -1, "-"},
    FormRow{"signApart",       "- 5",      -1, "- 5"},
    FormRow{"minus1",          "-1",       -1, "-1"},
    FormRow{"minus1Padded",    " -01 ",    -1, " -01 "},
    FormRow{"minus2",          "-2",       -2, nullptr},
    FormRow{"minus5",          "-5",       -5, nullptr},
    FormRow{"minusZero",       "-0",        0, nullptr},
    FormRow{"hexDigit",        "1F",       -1, "1F"},
    FormRow{"beforeUpperCase", "@",        -1, "@"},
    FormRow{"past32Bits",      "4294967297", -1, "4294967297"}, // its low 32 bits are 1
    FormRow{"hexPrefix",       "0x10",     -1, "0x10"},
    FormRow{"point",           "100.5",    -1, "100.5"},
    FormRow{"thousands",       "1,000",    -1, "1,000"},
    FormRow{"exponent",        "1e3",      -1, "1e3"},
    FormRow{"deviceName",      "DM100",    -1, "DM100"},
    FormRow{"quoteAndBackslash", "1\"\\",  -1, "1\"\\"},
    FormRow{"lineEndInside",   "1\n2",     -1, "1\n2"},
    FormRow{"accent",          "\xC3\xA9", -1, "\xC3\xA9"},
    FormRow{"highest",         "2147483647", highest, nullptr},
    FormRow{"pastTheHighest",  "2147483648", -1, "2147483648"},
    FormRow{"lowest",          "-2147483648", lowest, nullptr},
    FormRow{"pastTheLowest",   "-2147483649", -1, "-2147483649"}), formName);

// A relay channel as a word: the bit digits are there, and are not looked at.
class ChannelAlone : public AddressForm
{
};

TEST_P(ChannelAlone, isTheChannelWithoutItsBitDigits)
{
    expectInAll({26, 28, 29, 30});
}

INSTANTIATE_TEST_SUITE_P(RelayChannels, ChannelAlone, testing::Values(
    FormRow{"bit0",              "1000",   10, nullptr},
    FormRow{"bit15",             "1015",   10, nullptr},
    FormRow{"oneDigit",          "5",       0, nullptr},
    FormRow{"twoDigits",         "99",      0, nullptr},
    FormRow{"threeDigits",       "105",     1, nullptr},
    FormRow{"lettersForTheBit",  "10xx",   10, nullptr},
    FormRow{"lettersAlone",      "xx",      0, nullptr},
    FormRow{"blankForTheBit",    "10  ",   10, nullptr},
    FormRow{"minusInTheBit",     "10-1",   10, nullptr},
    FormRow{"minusAlone",        "-5",      0, nullptr},
    FormRow{"empty",             "",       -1, "00"},
    FormRow{"letterInChannel",   "x000",   -1, "00x000"},
    FormRow{"hexDigitInChannel", "1A00",   -1, "001A00"},
    FormRow{"point",             "1.500",  -1, "001.500"},
    FormRow{"blankBefore",       " 1000",  -1, "00 1000"},
    FormRow{"minusInChannel",    "-1000",  -1, "00-1000"},
    FormRow{"plusInChannel",     "+1000",  -1, "00+1000"},
    FormRow{"hexPrefix",         "0x1000", -1, "000x1000"},
    FormRow{"highest",           "214748364700", highest, nullptr},
    FormRow{"pastTheHighest",    "214748364800", -1, "00214748364800"}), formName);

// A word of B or VB: the last hexadecimal digit is the bit, and is not looked at.
class HexWordAlone : public AddressForm
{
};

TEST_P(HexWordAlone, isTheWordWithoutItsBitDigit)
{
    expectInAll({27, 31});
}

INSTANTIATE_TEST_SUITE_P(HexRelayWords, HexWordAlone, testing::Values(
    FormRow{"bit0",             "1F0",     31, nullptr},
    FormRow{"bitF",             "1FF",     31, nullptr},
    FormRow{"lowerCase",        "1ff",     31, nullptr},
    FormRow{"word1",            "10",       1, nullptr},
    FormRow{"oneDigit",         "5",        0, nullptr},
    FormRow{"letterForTheBit",  "1G",       1, nullptr},
    FormRow{"letterAlone",      "G",        0, nullptr},
    FormRow{"blankForTheBit",   "1F ",     31, nullptr},
    FormRow{"empty",            "",        -1, "0"},
    FormRow{"letterInWord",     "G1",      -1, "0G1"},
    FormRow{"point",            "1.F0",    -1, "01.F0"},
    FormRow{"blankBefore",      " 1F0",    -1, "0 1F0"},
    FormRow{"minus",            "-10",     -1, "0-10"},
    FormRow{"plus",             "+10",     -1, "0+10"},
    FormRow{"hexPrefix",        "0x1F0",   -1, "00x1F0"},
    FormRow{"halfAPrefixIsMadeWhole", "x1F0", 31, nullptr}, // "0x1F" after the added digit
    FormRow{"highest",          "7FFFFFFF0", highest, nullptr},
    FormRow{"pastTheHighest",   "800000000", -1, "0800000000"}), formName);

// A bit of a word that is counted in plain numbers.
class WordPointBit : public AddressForm
{
};

TEST_P(WordPointBit, isWordTimes16PlusBit)
{
    expectInAll({32, 33, 34, 35, 37, 38, 39});
}

INSTANTIATE_TEST_SUITE_P(WordBits, WordPointBit, testing::Values(
    FormRow{"bit5",                "100.5",   1605, nullptr},
    FormRow{"bit0",                "0.0",        0, nullptr},
    FormRow{"bit15",               "10.15",    175, nullptr},
    FormRow{"twoBitDigits",        "2.05",      37, nullptr},
    FormRow{"bitIsNotChecked",     "100.99",  1699, nullptr},
    FormRow{"spacesAround",        " 100 . 5 ", 1605, nullptr},
    FormRow{"plusSigns",           "+1.+2",     18, nullptr},
    FormRow{"bitMinus5",           "100.-5",  1595, nullptr},
    FormRow{"wordMinus1",          "-1.0",     -16, nullptr},
    FormRow{"minus1FromBoth",      "-1.15",     -1, "-1.15"},
    FormRow{"minus1FromBit",       "0.-1",      -1, "0.-1"},
    FormRow{"zeroFromBoth",        "-1.16",      0, nullptr},
    FormRow{"onePart",             "100",       -1, "100"},
    FormRow{"onePartOf32Digits",   "00000000000000000000000000000100", -1, "00000000000000000000000000000100"},
    FormRow{"emptyBitAfter32Characters", "0000000000000000000000000000100.", -1,
            "0000000000000000000000000000100."},
    FormRow{"threeParts",          "100.5.1",   -1, "100.5.1"},
    FormRow{"threePartsEmptyLast", "100.5.",    -1, "100.5."},
    FormRow{"emptyMiddle",         "100..5",    -1, "100..5"},
    FormRow{"emptyBit",            "100.",      -1, "100."},
    FormRow{"emptyWord",           ".5",        -1, ".5"},
    FormRow{"pointAlone",          ".",         -1, "."},
    FormRow{"empty",               "",          -1, ""},
    FormRow{"blankBit",            "100. ",     -1, "100. "},
    FormRow{"comma",               "100,5",     -1, "100,5"},
    FormRow{"hexWord",             "FF.3",      -1, "FF.3"},
    FormRow{"hexBit",              "1.F",       -1, "1.F"},
    FormRow{"prefixedWord",        "0x10.3",    -1, "0x10.3"},
    FormRow{"prefixedBit",         "10.0x3",    -1, "10.0x3"},
    FormRow{"highest",             "134217727.15", highest, nullptr},
    FormRow{"onePastTheHighest",   "134217727.16", -1, "134217727.16"},
    FormRow{"wordPastTheHighest",  "134217728.0",  -1, "134217728.0"},
    FormRow{"highestBit",          "0.2147483647", highest, nullptr},
    FormRow{"highestBitOfWord1",   "1.2147483647", -1, "1.2147483647"},
    FormRow{"wordIsTheHighestInt", "2147483647.0", -1, "2147483647.0"},
    FormRow{"wordDoesNotConvert",  "2147483648.0", -1, "2147483648.0"},
    FormRow{"lowest",              "-134217728.0", lowest, nullptr},
    FormRow{"onePastTheLowest",    "-134217728.-1", -1, "-134217728.-1"},
    FormRow{"wordPastTheLowest",   "-134217729.0", -1, "-134217729.0"}), formName);

// A bit of a W word: the word in hexadecimal, the bit in decimal.
class HexWordPointBit : public AddressForm
{
};

TEST_P(HexWordPointBit, isWordTimes16PlusBit)
{
    expectInAll({36});
}

INSTANTIATE_TEST_SUITE_P(WBits, HexWordPointBit, testing::Values(
    FormRow{"upperCase",        "1A.3",    419, nullptr},
    FormRow{"lowerCase",        "1a.3",    419, nullptr},
    FormRow{"FF",               "FF.3",   4083, nullptr},
    FormRow{"digitsAreHex",     "10.0",    256, nullptr},
    FormRow{"bitIsDecimal",     "0.10",     10, nullptr},
    FormRow{"bit15",            "0.15",     15, nullptr},
    FormRow{"bitIsNotChecked",  "1.99",    115, nullptr},
    FormRow{"prefixedWord",     "0x10.3",  259, nullptr},
    FormRow{"spacesAround",     " 1A . 3 ", 419, nullptr},
    FormRow{"wordMinusF",       "-F.0",   -240, nullptr},
    FormRow{"minus1FromBoth",   "-1.15",    -1, "-1.15"},
    FormRow{"hexBit",           "1A.A",     -1, "1A.A"},
    FormRow{"prefixedBit",      "1A.0x3",   -1, "1A.0x3"},
    FormRow{"letterG",          "1G.3",     -1, "1G.3"},
    FormRow{"onePart",          "1A",       -1, "1A"},
    FormRow{"threeParts",       "1A.3.1",   -1, "1A.3.1"},
    FormRow{"emptyBit",         "1A.",      -1, "1A."},
    FormRow{"emptyWord",        ".3",       -1, ".3"},
    FormRow{"empty",            "",         -1, ""},
    FormRow{"highest",          "7FFFFFF.15", highest, nullptr},
    FormRow{"onePastTheHighest", "7FFFFFF.16", -1, "7FFFFFF.16"},
    FormRow{"wordPastTheHighest", "8000000.0", -1, "8000000.0"},
    FormRow{"wordIsTheHighestInt", "7FFFFFFF.0", -1, "7FFFFFFF.0"},
    FormRow{"lowest",           "-8000000.0", lowest, nullptr},
    FormRow{"wordPastTheLowest", "-8000001.0", -1, "-8000001.0"}), formName);
// clang-format on

// --- codes that are no areas ---

class AddressInNoArea : public AddressParser, public testing::WithParamInterface<int>
{
};

TEST_P(AddressInNoArea, refusesEveryTextAsItWasTyped)
{
    expectAddress(GetParam(), "5", -1, "5");
    expectAddress(GetParam(), "1F3", -1, "1F3");
    expectAddress(GetParam(), "100.5", -1, "100.5");
    expectAddress(GetParam(), "-5", -1, "-5");
    expectAddress(GetParam(), "", -1, "");
}

INSTANTIATE_TEST_SUITE_P(Codes, AddressInNoArea,
                         testing::Values(40, 41, 64, 255, 256, highest, -1, -2, -40, lowest),
                         [](const auto &row) {
                             const std::string digits = std::to_string(row.param);
                             return row.param < 0 ? "minus" + digits.substr(1) : digits;
                         });

// --- the line itself, and what the parser does not need ---

TEST_F(AddressParser, writesOneLineThatEndsInABlank)
{
    StringAddressToInt(0, "1x");
    StringAddressToInt(27, "G1");
    StringAddressToInt(40, "5");
    EXPECT_EQ(takeLines(), (Lines{"StringAddressToInt 0 \"001x\" ", "StringAddressToInt 27 \"0G1\" ",
                                  "StringAddressToInt 40 \"5\" "}));
}

TEST_F(AddressParser, takesANullStringForAnEmptyOne)
{
    EXPECT_EQ(StringAddressToInt(10, QString()), -1);
    EXPECT_EQ(StringAddressToInt(0, QString()), -1);
    EXPECT_EQ(takeLines(), (Lines{"StringAddressToInt 10 \"\" ", "StringAddressToInt 0 \"00\" "}));
}

TEST_F(AddressParser, worksBeforeTheSettingsAreKnown)
{
    PLC_driver.comInfo = nullptr;
    EXPECT_EQ(PLCAddressChangeIntef(AREA_R, "1012"), 172);
    EXPECT_EQ(PLCAddressChangeIntef(AREA_W_BIT, "1A.3"), 419);
}

TEST_F(AddressParser, namesOfTheAreasStandForTheirCodes)
{
    const int codes[] = {
        AREA_R,         AREA_B,         AREA_MR,      AREA_LR,      AREA_CR,     AREA_VB,      AREA_T,
        AREA_C,         AREA_CTH,       AREA_CTC,     AREA_DM,      AREA_EM,     AREA_FM,      AREA_ZF,
        AREA_W,         AREA_TM,        AREA_Z,       AREA_T_DWORD, AREA_TS,     AREA_C_DWORD, AREA_CS,
        AREA_CTH_DWORD, AREA_CTC_DWORD, AREA_AT,      AREA_CM,      AREA_VM,     AREA_R_WORD,  AREA_B_WORD,
        AREA_MR_WORD,   AREA_LR_WORD,   AREA_CR_WORD, AREA_VB_WORD, AREA_DM_BIT, AREA_EM_BIT,  AREA_FM_BIT,
        AREA_ZF_BIT,    AREA_W_BIT,     AREA_TM_BIT,  AREA_CM_BIT,  AREA_VM_BIT,
    };
    ASSERT_EQ(std::size(codes), 40u);
    for (int code = 0; code < 40; ++code)
        EXPECT_EQ(codes[code], code);
}
} // namespace
