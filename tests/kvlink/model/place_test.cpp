// SPDX-License-Identifier: MIT
// Addresses as engineers write them, and the places they are to the driver.
#include "model/place.h"
#include "rows.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

// What an address is to the driver: area code, text, elements; its read units; and its own name.
struct GoodRow {
    const char *name;
    const char *typed;
    int area;
    const char *text;
    int elements;
    int readArea, firstUnit, units;
    int values;
    Element element;
    Format format;
    const char *shown;
};

class GoodPlace : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodPlace, isThatPlace)
{
    const GoodRow &row = GetParam();
    QString problem;
    const auto place = parsePlace(QString::fromLatin1(row.typed), problem);
    ASSERT_TRUE(place) << problem.toStdString();
    EXPECT_EQ(place->area, row.area);
    EXPECT_EQ(driverText(*place->device, place->area, place->number).toStdString(), row.text);
    EXPECT_EQ(place->elements, row.elements);
    EXPECT_EQ(place->readArea(), row.readArea);
    EXPECT_EQ(place->firstUnit(), row.firstUnit);
    EXPECT_EQ(place->unitCount(), row.units);
    EXPECT_EQ(place->values, row.values);
    EXPECT_EQ(place->element, row.element);
    EXPECT_EQ(place->format, row.format);
    EXPECT_EQ(place->name().toStdString(), row.shown);
    EXPECT_TRUE(problem.isEmpty());
}

TEST_P(GoodPlace, isTheSamePlaceByItsOwnName)
{
    QString problem;
    const auto place = parsePlace(QString::fromLatin1(GetParam().typed), problem);
    const auto again = parsePlace(QString::fromLatin1(GetParam().shown), problem);
    ASSERT_TRUE(place && again) << problem.toStdString();
    EXPECT_EQ(again->area, place->area);
    EXPECT_EQ(again->number, place->number);
    EXPECT_EQ(again->elements, place->elements);
    EXPECT_EQ(again->values, place->values);
    EXPECT_EQ(again->format, place->format);
}

constexpr Element bit = Element::Bit;
constexpr Element contact = Element::Contact;
constexpr Element word = Element::Word;
constexpr Element twoWords = Element::DoubleWord;
constexpr Format b = Format::Bit;
constexpr Format u = Format::Unsigned;
constexpr Format s = Format::Signed;
constexpr Format d = Format::Double;
constexpr Format l = Format::Long;
constexpr Format h = Format::Hex;
constexpr Format f = Format::Float;
constexpr Format t = Format::Text;

// clang-format off
const GoodRow goodRows[] = {
    // name             typed            area text  elements read first units values
    {"word",            "DM100",          10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"lowerCase",       "dm100",          10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"spacesAround",    " DM100\t",       10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"leadingZeros",    "DM00000000100",  10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"longestAddress",  "DM00000000000000000000000000000000000001", 10, "1",    1,  10,   1,    1,  1, word, u, "DM1"},
    {"words",           "DM100:10",       10, "100",   10,  10, 100,   10, 10, word, u, "DM100:10"},
    {"countOfOne",      "DM100:1",        10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"range",           "DM100-DM109",    10, "100",   10,  10, 100,   10, 10, word, u, "DM100:10"},
    {"shortRange",      "DM100-109",      10, "100",   10,  10, 100,   10, 10, word, u, "DM100:10"},
    {"rangeOfOne",      "DM100-DM100",    10, "100",    1,  10, 100,    1,  1, word, u, "DM100"},
    {"signedRange",     "DM100-DM109.S",  10, "100",   10,  10, 100,   10, 10, word, s, "DM100.S:10"},
    {"formatKept",      "DM100.u",        10, "100",    1,  10, 100,    1,  1, word, u, "DM100.U"},
    {"firstDm",         "DM0",            10, "0",      1,  10,   0,    1,  1, word, u, "DM0"},
    {"lastDm",          "DM65534",        10, "65534",  1,  10, 65534,  1,  1, word, u, "DM65534"},
    {"lastTenDm",       "DM65525:10",     10, "65525", 10,  10, 65525, 10, 10, word, u, "DM65525:10"},
    {"lastDouble",      "DM65533.D",      10, "65533",  2,  10, 65533,  2,  1, word, d, "DM65533.D"},
    {"allDm",           "DM0:65535",      10, "0",  65535,  10,   0, 65535, 65535, word, u, "DM0:65535"},
    {"em",              "EM65534",        11, "65534",  1,  11, 65534,  1,  1, word, u, "EM65534"},
    {"fm",              "FM32767",        12, "32767",  1,  12, 32767,  1,  1, word, u, "FM32767"},
    {"zf",              "ZF524287",       13, "524287", 1,  13, 524287, 1,  1, word, u, "ZF524287"},
    {"manyZf",          "ZF0:65536",      13, "0",  65536,  13,   0, 65536, 65536, word, u, "ZF0:65536"},
    {"wHex",            "W1A",            14, "1A",     1,  14,  26,    1,  1, word, u, "W1A"},
    {"wLetters",        "WFF",            14, "FF",     1,  14, 255,    1,  1, word, u, "WFF"},
    {"wLast",           "w7fff",          14, "7FFF",   1,  14, 32767,  1,  1, word, u, "W7FFF"},
    {"wRange",          "W8-WB",          14, "8",      4,  14,   8,    4,  4, word, u, "W8:4"},
    {"wShortRange",     "W8-B",           14, "8",      4,  14,   8,    4,  4, word, u, "W8:4"},
    {"wShortRangeF",    "W8-BF",          14, "8",    184,  14,   8,  184, 184, word, u, "W8:184"},
    {"wShortRange2",    "W8-B5",          14, "8",    174,  14,   8,  174, 174, word, u, "W8:174"},
    {"tm",              "TM511",          15, "511",    1,  15, 511,    1,  1, word, u, "TM511"},
    {"cm",              "CM7599",         24, "7599",   1,  24, 7599,   1,  1, word, u, "CM7599"},
    {"vm",              "VM589823",       25, "589823", 1,  25, 589823, 1,  1, word, u, "VM589823"},

    {"relay",           "R1015",           0, "1015",   1,   0,  10,    1,  1, bit, b, "R1015"},
    {"relayShort",      "R5",              0, "5",      1,   0,   0,    1,  1, bit, b, "R5"},
    {"relayZeros",      "R00500",          0, "500",    1,   0,   5,    1,  1, bit, b, "R500"},
    {"relayLast",       "R199915",         0, "199915", 1,   0, 1999,   1,  1, bit, b, "R199915"},
    {"relaysInOne",     "R1000:16",        0, "1000",  16,   0,  10,    1, 16, bit, b, "R1000:16"},
    {"relaysJustAcross","R1000:17",        0, "1000",  17,   0,  10,    2, 17, bit, b, "R1000:17"},
    {"relaysAcross",    "R1015:2",         0, "1015",   2,   0,  10,    2,  2, bit, b, "R1015:2"},
    {"relayRange",      "R1000-R1115",     0, "1000",  32,   0,  10,    2, 32, bit, b, "R1000:32"},
    {"mr",              "MR399915",        2, "399915", 1,   2, 3999,   1,  1, bit, b, "MR399915"},
    {"lr",              "LR99915",         3, "99915",  1,   3, 999,    1,  1, bit, b, "LR99915"},
    {"cr",              "CR7915",          4, "7915",   1,   4,  79,    1,  1, bit, b, "CR7915"},
    {"bHex",            "B1F3",            1, "1F3",    1,   1,  31,    1,  1, bit, b, "B1F3"},
    {"bHexLetter",      "BE0",             1, "E0",     1,   1,  14,    1,  1, bit, b, "BE0"},
    {"bOfB",            "BB",              1, "B",      1,   1,   0,    1,  1, bit, b, "BB"},
    {"bLast",           "B7FFF",           1, "7FFF",   1,   1, 2047,   1,  1, bit, b, "B7FFF"},
    {"bRange",          "B10-B1F",         1, "10",    16,   1,   1,    1, 16, bit, b, "B10:16"},
    {"vbHex",           "VBA",             5, "A",      1,   5,   0,    1,  1, bit, b, "VBA"},
    {"vbLast",          "VBF9FF",          5, "F9FF",   1,   5, 3999,   1,  1, bit, b, "VBF9FF"},

    {"channel",         "R1000.U",        26, "1000",   1,   0,  10,    1,  1, word, u, "R1000.U"},
    {"channels",        "R1000.U:3",      26, "1000",   3,   0,  10,    3,  3, word, u, "R1000.U:3"},
    {"channelRange",    "R1000-R1200.U",  26, "1000",   3,   0,  10,    3,  3, word, u, "R1000.U:3"},
    {"channelRangeBits","R1000-R1215.U",  26, "1000",   3,   0,  10,    3,  3, word, u, "R1000.U:3"},
    {"lastChannel",     "R199900.U",      26, "199900", 1,   0, 1999,   1,  1, word, u, "R199900.U"},
    {"bWord",           "B1F0.H",         27, "1F0",    1,   1,  31,    1,  1, word, h, "B1F0.H"},
    {"mrDouble",        "MR100.D",        28, "100",    2,   2,   1,    2,  1, word, d, "MR100.D"},
    {"lrSigned",        "LR100.S",        29, "100",    1,   3,   1,    1,  1, word, s, "LR100.S"},
    {"crWord",          "CR2000.U",       30, "2000",   1,   4,  20,    1,  1, word, u, "CR2000.U"},
    {"vbWord",          "VB10.U",         31, "10",     1,   5,   1,    1,  1, word, u, "VB10.U"},
    {"lastVbWord",      "VBF9F0.U",       31, "F9F0",   1,   5, 3999,   1,  1, word, u, "VBF9F0.U"},

    {"bitOfDm",         "DM100.5",        32, "100.5",  1,  10, 100,    1,  1, bit, b, "DM100.5"},
    {"bitWithZero",     "DM100.05",       32, "100.5",  1,  10, 100,    1,  1, bit, b, "DM100.5"},
    {"lowestBit",       "DM0.0",          32, "0.0",    1,  10,   0,    1,  1, bit, b, "DM0.0"},
    {"highestBit",      "DM65534.15",     32, "65534.15", 1, 10, 65534, 1,  1, bit, b, "DM65534.15"},
    {"allBits",         "DM100.0:16",     32, "100.0", 16,  10, 100,    1, 16, bit, b, "DM100.0:16"},
    {"bitsAcross",      "DM100.15:2",     32, "100.15", 2,  10, 100,    2,  2, bit, b, "DM100.15:2"},
    {"bitOfEm",         "EM1.2",          33, "1.2",    1,  11,   1,    1,  1, bit, b, "EM1.2"},
    {"bitOfFm",         "FM1.2",          34, "1.2",    1,  12,   1,    1,  1, bit, b, "FM1.2"},
    {"bitOfZf",         "ZF1.2",          35, "1.2",    1,  13,   1,    1,  1, bit, b, "ZF1.2"},
    {"bitOfW",          "W1A.13",         36, "1A.13",  1,  14,  26,    1,  1, bit, b, "W1A.13"},
    {"bitOfTm",         "TM1.2",          37, "1.2",    1,  15,   1,    1,  1, bit, b, "TM1.2"},
    {"bitOfCm",         "CM1.2",          38, "1.2",    1,  24,   1,    1,  1, bit, b, "CM1.2"},
    {"bitOfVm",         "VM1.2",          39, "1.2",    1,  25,   1,    1,  1, bit, b, "VM1.2"},

    {"timer",           "T5",              6, "5",      1,   6,   5,    1,  1, contact, b, "T5"},
    {"timers",          "T0:100",          6, "0",    100,   6,   0,  100, 100, contact, b, "T0:100"},
    {"timerContact",    "T5.C",            6, "5",      1,   6,   5,    1,  1, contact, b, "T5.C"},
    {"counter",         "C3999",           7, "3999",   1,   7, 3999,   1,  1, contact, b, "C3999"},
    {"timerCurrent",    "TC5",            17, "5",      1,   6,   5,    1,  1, twoWords, d, "TC5"},
    {"timerSet",        "TS5",            18, "5",      1,   6,   5,    1,  1, twoWords, d, "TS5"},
    {"counterCurrent",  "CC5.L",          19, "5",      1,   7,   5,    1,  1, twoWords, l, "CC5.L"},
    {"counterSet",      "CS3999",         20, "3999",   1,   7, 3999,   1,  1, twoWords, d, "CS3999"},
    {"cth",             "CTH1",           21, "1",      1,  21,   1,    1,  1, twoWords, d, "CTH1"},
    {"cthContact",      "CTH0.C",          8, "0",      1,  21,   0,    1,  1, contact, b, "CTH0.C"},
    {"ctc",             "CTC3",           22, "3",      1,  22,   3,    1,  1, twoWords, d, "CTC3"},
    {"ctcContacts",     "CTC0.C:4",        9, "0",      4,  22,   0,    4,  4, contact, b, "CTC0.C:4"},
    {"index",           "Z1",             16, "1",      1,  16,   1,    1,  1, twoWords, d, "Z1"},
    {"allIndexes",      "Z1-Z12",         16, "1",     12,  16,   1,   12, 12, twoWords, d, "Z1:12"},
    {"trimmerHex",      "AT7.H",          23, "7",      1,  23,   7,    1,  1, twoWords, h, "AT7.H"},
    {"indexFloat",      "Z2.F",           16, "2",      1,  16,   2,    1,  1, twoWords, f, "Z2.F"},

    {"double",          "DM10.D:2",       10, "10",     4,  10,  10,    4,  2, word, d, "DM10.D:2"},
    {"doubleRange",     "DM10-DM13.D",    10, "10",     4,  10,  10,    4,  2, word, d, "DM10.D:2"},
    {"float",           "DM0.F",          10, "0",      2,  10,   0,    2,  1, word, f, "DM0.F"},
    {"text",            "DM10.STR:8",     10, "10",     4,  10,  10,    4,  1, word, t, "DM10.STR:8"},
    {"oddText",         "dm10.str:7",     10, "10",     4,  10,  10,    4,  1, word, t, "DM10.STR:7"},
    {"shortText",       "DM10.STR:1",     10, "10",     1,  10,  10,    1,  1, word, t, "DM10.STR:1"},
    {"longestText",     "DM0.STR:2000",   10, "0",   1000,  10,   0, 1000,  1, word, t, "DM0.STR:2000"},
    {"textInRelays",    "MR0.STR:4",      28, "0",      2,   2,   0,    2,  1, word, t, "MR0.STR:4"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, GoodPlace, testing::ValuesIn(goodRows), nameOfRow<GoodRow>);

// What is refused, and with what sentence.
struct BadRow {
    const char *name;
    const char *typed;
    const char *problem;
};

class BadPlace : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadPlace, isRefusedWithASentence)
{
    QString problem;
    EXPECT_FALSE(parsePlace(QString::fromUtf8(GetParam().typed), problem));
    EXPECT_EQ(problem.toStdString(), GetParam().problem);
}

// clang-format off
const BadRow badRows[] = {
    {"empty",           "",             "an address is missing; write one such as DM100, R1015 or T5"},
    {"spaces",          "  ",           "an address is missing; write one such as DM100, R1015 or T5"},
    {"spaceInside",     "DM 100",       "DM 100: an address has letters, digits, '.', ':' and '-' only, as in DM100.S:10"},
    {"umlaut",          "D\xC3\x84""1", "D\xC3\x84""1: an address has letters, digits, '.', ':' and '-' only, as in DM100.S:10"},
    {"delete",          "DM1\x7F",      "DM1\x7F: an address has letters, digits, '.', ':' and '-' only, as in DM100.S:10"},
    {"lastPrintable",   "DM1~",         "DM1~: '1~' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},
    {"firstPrintable",  "DM1!",         "DM1!: '1!' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},
    {"station",         "2/DM0",        "2/DM0: an address has no station, since each PLC has a link of its own; write DM0"},
    {"stationAlone",    "2/",           "2/: an address has no station, since each PLC has a link of its own; write DM0"},
    {"d",               "D100",         "D100: 'D' is not a device; did you mean DM100?"},
    {"dWithFormat",     "d100.s:3",     "d100.s:3: 'D' is not a device; did you mean DM100.S:3?"},
    {"dRange",          "D100-D109",    "D100-D109: 'D' is not a device; did you mean DM100?"},
    {"e",               "E7",           "E7: 'E' is not a device; did you mean EM7?"},
    {"f",               "F7",           "F7: 'F' is not a device; did you mean FM7?"},
    {"m",               "M100",         "M100: 'M' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"x",               "X100",         "X100: 'X' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"l",               "L100",         "L100: 'L' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"neighbourKey",    "DN100",        "DN100: 'DN' is not a device; did you mean DM100?"},
    {"beyondHexLetters","BG0",          "BG0: 'BG' is not a device; did you mean B0?"},
    {"nearButNoNumber", "MRR1016",      "MRR1016: 'MRR' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"word",            "CONVEYOR",     "CONVEYOR: 'CONVEYOR' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"numberAlone",     "100",          "100: '' is not a device; write a name and a number, as in DM100, R1015 or T5"},
    {"noNumber",        "DM",           "DM: DM needs a number, as in DM0"},
    {"noNumberHex",     "B",            "B: B needs a number, as in B0"},
    {"noNumberIndex",   "Z",            "Z: Z needs a number, as in Z1"},
    {"lettersInNumber", "DM10A",        "DM10A: '10A' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},
    {"notHex",          "W1G",          "W1G: '1G' is not a number of W: hexadecimal digits are expected (W0 to W7FFF)"},
    {"sign",            "DM+1",         "DM+1: '+1' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},

    {"bit16",           "R1016",        "R1016: the last two digits are the bit, 00 to 15; after R1015 comes R1100"},
    {"bit99",           "MR99",         "MR99: the last two digits are the bit, 00 to 15; after MR15 comes MR100"},
    {"bit16AtEnd",      "R1000-R1016",  "R1000-R1016: the last two digits are the bit, 00 to 15; after R1015 comes R1100"},
    {"bitOfRelay",      "R1000.5",      "R1000.5: a relay has no bits; did you mean R1005?"},
    {"bitOfRelay15",    "R1000.15",     "R1000.15: a relay has no bits; did you mean R1015?"},
    {"bitOfRelay16",    "R1000.16",     "R1000.16: a relay has no bits; write R1000"},
    {"bitOfRelay3",     "R1003.5",      "R1003.5: a relay has no bits; write R1003"},
    {"bitOfB",          "B10.10",       "B10.10: a relay has no bits; did you mean B1A?"},
    {"bitOfTimer",      "T5.1",         "T5.1: T has no single bits; words have, as in DM100.5"},
    {"bitOfIndex",      "Z1.5",         "Z1.5: Z has no single bits; words have, as in DM100.5"},
    {"bit16OfWord",     "DM100.16",     "DM100.16: a word has the bits 0 to 15, not 16"},
    {"rangeOfBits",     "DM100-DM101.3","DM100-DM101.3: single bits are counted, not ranged; write DM100.0:16"},
    {"rangeOfBits2",    "DM100.0-DM101.3","DM100.0-DM101.3: single bits are counted, not ranged; write DM100.0:16"},

    {"beyondDm",        "DM65535",      "DM65535: a KV-8000 has DM0 to DM65534"},
    {"endBeyondDm",     "DM65530:10",   "DM65530:10: it ends at DM65539, but a KV-8000 has DM0 to DM65534"},
    {"endJustBeyond",   "DM65525:11",   "DM65525:11: it ends at DM65535, but a KV-8000 has DM0 to DM65534"},
    {"rangeBeyond",     "DM65530-65535","DM65530-65535: it ends at DM65535, but a KV-8000 has DM0 to DM65534"},
    {"doubleBeyond",    "DM65534.D",    "DM65534.D: it ends at DM65535, but a KV-8000 has DM0 to DM65534"},
    {"textBeyond",      "DM65534.STR:3","DM65534.STR:3: it ends at DM65535, but a KV-8000 has DM0 to DM65534"},
    {"bitBeyond",       "DM65535.0",    "DM65535.0: a KV-8000 has DM0 to DM65534"},
    {"bitsBeyond",      "DM65534.15:2", "DM65534.15:2: it ends at DM65535.0, but a KV-8000 has DM0 to DM65534"},
    {"beyondR",         "R200000",      "R200000: a KV-8000 has R0 to R199915"},
    {"endBeyondR",      "R199915:2",    "R199915:2: it ends at R200000, but a KV-8000 has R0 to R199915"},
    {"channelBeyond",   "R200000.U",    "R200000.U: a KV-8000 has R0 to R199915"},
    {"channelsBeyond",  "R199900.D",    "R199900.D: it ends at R200000, but a KV-8000 has R0 to R199915"},
    {"beyondB",         "B8000",        "B8000: a KV-8000 has B0 to B7FFF"},
    {"beyondVb",        "VBFA00",       "VBFA00: a KV-8000 has VB0 to VBF9FF"},
    {"endBeyondVb",     "VBF9F0.U:2",   "VBF9F0.U:2: it ends at VBFA00, but a KV-8000 has VB0 to VBF9FF"},
    {"beyondW",         "W8000",        "W8000: a KV-8000 has W0 to W7FFF"},
    {"indexZero",       "Z0",           "Z0: a KV-8000 has Z1 to Z12"},
    {"indexZeroOn",     "Z0:3",         "Z0:3: a KV-8000 has Z1 to Z12"},
    {"index13",         "Z13",          "Z13: a KV-8000 has Z1 to Z12"},
    {"beyondT",         "T4000",        "T4000: a KV-8000 has T0 to T3999"},
    {"beyondCth",       "CTH2",         "CTH2: a KV-8000 has CTH0 to CTH1"},
    {"beyondCtc",       "CTC0.C:5",     "CTC0.C:5: it ends at CTC4, but a KV-8000 has CTC0 to CTC3"},
    {"beyondAt",        "AT8",          "AT8: a KV-8000 has AT0 to AT7"},
    {"beyondTm",        "TM512",        "TM512: a KV-8000 has TM0 to TM511"},
    {"beyondInt",       "DM4294967296", "DM4294967296: a KV-8000 has DM0 to DM65534"},
    {"beyondHalfInt",   "DM3000000000", "DM3000000000: a KV-8000 has DM0 to DM65534"},
    {"beyondLong",      "DM99999999999999999999", "DM99999999999999999999: a KV-8000 has DM0 to DM65534"},
    {"beyondHexInt",    "WFFFFFFFFF",   "WFFFFFFFFF: a KV-8000 has W0 to W7FFF"},

    {"countZero",       "DM0:0",        "DM0:0: '0' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"countEmpty",      "DM0:",         "DM0:: '' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"countNegative",   "DM0:-1",       "DM0:-1: '-1' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"countTooHigh",    "ZF0:65537",    "ZF0:65537: '65537' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"countText",       "DM0:ten",      "DM0:ten: 'TEN' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"twoCounts",       "DM0:1:2",      "DM0:1:2: '1:2' is not a valid count; write a number from 1 to 65536 after ':'"},
    {"rangeAndCount",   "DM0-DM9:2",    "DM0-DM9:2: a range has no count; write DM100-DM109 or DM100:10"},
    {"rangeNoEnd",      "DM0-",         "DM0-: the range has no end; write DM100-DM109"},
    {"rangeBackwards",  "DM9-DM0",      "DM9-DM0: the range ends before it begins"},
    {"rangeOther",      "DM0-EM9",      "DM0-EM9: the range ends in another device; write DM100-DM109"},
    {"rangeOtherHex",   "W0-DM9",       "W0-DM9: the range ends in another device; write DM100-DM109"},
    {"rangeOtherBad",   "DM0-EM",       "DM0-EM: 'EM' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},
    {"rangeOtherSwap",  "DM5-BE0",      "DM5-BE0: the range ends in another device; write DM100-DM109"},
    {"rangeTooLong",    "ZF0-ZF65536",  "ZF0-ZF65536: the range is longer than 65536"},
    {"rangeOdd",        "DM0-DM2.D",    "DM0-DM2.D: the range has 3 words, an odd number, and a 32-bit value takes two"},
    {"formatTwice",     "DM0.S-DM9.S",  "DM0.S-DM9.S: the format comes once, after the range; write DM100-DM109.S"},
    {"rangeNotANumber", "DM0-DMX",      "DM0-DMX: 'X' is not a number of DM: decimal digits are expected (DM0 to DM65534)"},

    {"noFormat",        "DM0.",         "DM0.: '.' is not a format; use .U .S .D .L .H .F .STR:20, or a bit from .0 to .15"},
    {"format",          "DM0.X",        "DM0.X: '.X' is not a format; use .U .S .D .L .H .F .STR:20, or a bit from .0 to .15"},
    {"twoFormats",      "DM0.D.L",      "DM0.D.L: '.D.L' is not a format; use .U .S .D .L .H .F .STR:20, or a bit from .0 to .15"},
    {"channelAtBit",    "R1005.U",      "R1005.U: a word of relays starts at bit 00; write R1000.U"},
    {"bWordAtBit",      "B1F3.U",       "B1F3.U: a word of relays starts at bit 0; write B1F0.U"},
    {"timerFormat",     "T5.D",         "T5.D: T5 is a contact, 0 or 1; its values are TC5 and TS5"},
    {"counterFormat",   "C7.L",         "C7.L: C7 is a contact, 0 or 1; its values are CC7 and CS7"},
    {"index16Bits",     "Z1.U",         "Z1.U: Z holds 32 bits; use .D, .L, .H or .F"},
    {"timerText",       "TC5.STR:4",    "TC5.STR:4: TC holds 32 bits; use .D, .L, .H or .F"},
    {"contactOfWord",   "DM0.C",        "DM0.C: DM has no contact; T, C, CTH and CTC have"},
    {"contactOfIndex",  "Z1.C",         "Z1.C: Z has no contact; T, C, CTH and CTC have"},
    {"textNoLength",    "DM100.STR",    "DM100.STR: a text needs its length in bytes; write DM100.STR:20"},
    {"textRange",       "DM0-DM9.STR",  "DM0-DM9.STR: a text needs its length in bytes; write DM0.STR:20"},
    {"textTooLong",     "DM0.STR:2001", "DM0.STR:2001: '2001' is not a valid count; write a number from 1 to 2000 after ':'"},
    {"textZero",        "DM0.STR:0",    "DM0.STR:0: '0' is not a valid count; write a number from 1 to 2000 after ':'"},
    {"tooLong",         "DM000000000000000000000000000000000000001", "DM000000000000000000000000000000000000001: too long for an address; write one such as DM100, R1015 or T5"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, BadPlace, testing::ValuesIn(badRows), nameOfRow<BadRow>);

// Each value of a place has an address of its own.
struct ValueRow {
    const char *name;
    const char *place;
    int value;
    const char *shown;
};

class NameOfValue : public testing::TestWithParam<ValueRow>
{
};

TEST_P(NameOfValue, isTheAddressOfThatValueAlone)
{
    QString problem;
    const auto place = parsePlace(QString::fromLatin1(GetParam().place), problem);
    ASSERT_TRUE(place) << problem.toStdString();
    EXPECT_EQ(place->nameOfValue(GetParam().value).toStdString(), GetParam().shown);
}

const ValueRow valueRows[] = {
    {"word", "DM100:3", 2, "DM102"},
    {"double", "DM100.D:2", 1, "DM102.D"},
    {"relay", "R1015:2", 1, "R1100"},
    {"channel", "R1000.U:2", 1, "R1100.U"},
    {"channelPair", "MR0.D:2", 1, "MR200.D"},
    {"bit", "DM100.15:2", 1, "DM101.0"},
    {"hexBit", "B1F:2", 1, "B20"},
    {"hexWord", "W9:2", 1, "WA"},
    {"bWord", "B0.U:3", 2, "B20.U"},
    {"text", "DM0.STR:5", 0, "DM0.STR:5"},
    {"index", "Z1.L:2", 1, "Z2.L"},
    {"contacts", "CTC0.C:2", 1, "CTC1.C"},
};

INSTANTIATE_TEST_SUITE_P(Rows, NameOfValue, testing::ValuesIn(valueRows), nameOfRow<ValueRow>);

} // namespace
} // namespace kvlink
