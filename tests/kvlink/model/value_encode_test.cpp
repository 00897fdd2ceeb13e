// SPDX-License-Identifier: MIT
// Values into the requests of a write, and the sentences of what is refused.
#include "model/value_codec.h"
#include "rows.h"

#include <gtest/gtest.h>

#include <limits>

namespace kvlink
{
namespace
{

constexpr int units = 128;

Place placeOf(const char *address)
{
    QString problem;
    const auto place = parsePlace(QString::fromLatin1(address), problem);
    EXPECT_TRUE(place) << problem.toStdString();
    return place.value_or(Place());
}

// "10 100 x1 7B00" for each request: area, address, count, data; or the sentence of a refusal.
std::string written(const char *address, const Value &value, double scale = 1.0, double offset = 0.0,
                    int maxUnits = units, const Coding &coding = {})
{
    QString problem;
    const auto requests = encode(placeOf(address), value, coding, scale, offset, maxUnits, problem);
    EXPECT_EQ(requests.has_value(), problem.isEmpty());
    if (!requests)
        return problem.toStdString();
    std::string all;
    for (const WriteUnits &one : *requests) {
        all += (all.empty() ? "" : "; ") + std::to_string(one.area) + ' ' + one.addressText.toStdString() +
               " x" + std::to_string(one.hostCount) + ' ' + one.data.toHex().toUpper().toStdString();
    }
    return all;
}

// As typed by people, with a scale and an offset.
struct TypedRow {
    const char *name;
    const char *place;
    const char *typed;
    double scale, offset;
    const char *written;
};

class Typed : public testing::TestWithParam<TypedRow>
{
};

TEST_P(Typed, isWrittenOrRefusedWithASentence)
{
    const TypedRow &row = GetParam();
    QString problem;
    const auto value =
        valueFromText(placeOf(row.place), QString::fromUtf8(row.typed), row.scale, row.offset, problem);
    EXPECT_EQ(value.has_value(), problem.isEmpty());
    EXPECT_EQ(value ? written(row.place, *value, row.scale, row.offset) : problem.toStdString(), row.written);
}

// clang-format off
const TypedRow typedRows[] = {
    // name            place        typed         scale offset written
    {"word",           "DM100",     "123",          1, 0, "10 100 x1 7B00"},
    {"wordLowest",     "DM100",     "0",            1, 0, "10 100 x1 0000"},
    {"wordHighest",    "DM100",     "65535",        1, 0, "10 100 x1 FFFF"},
    {"wordTooLarge",   "DM100",     "65536",        1, 0, "65536 is too large for DM100 (0 to 65535)"},
    {"wordTooSmall",   "DM100",     "-1",           1, 0, "-1 is too small for DM100 (0 to 65535)"},
    {"wordPlus",       "DM100",     "+5",           1, 0, "10 100 x1 0500"},
    {"wordSpaces",     "DM100",     " 5 ",          1, 0, "10 100 x1 0500"},
    {"wordHex",        "DM100",     "0x1F",         1, 0, "10 100 x1 1F00"},
    {"wordHexSigned",  "DM100",     "0x-1",         1, 0, "'0x-1' is not valid: DM100 takes a number, such as 15"},
    {"wordHexPlus",    "DM100",     "0x+1",         1, 0, "'0x+1' is not valid: DM100 takes a number, such as 15"},
    {"wordHexEmpty",   "DM100",     "0x",           1, 0, "'0x' is not valid: DM100 takes a number, such as 15"},
    {"wordWholeReal",  "DM100",     "5.0",          1, 0, "10 100 x1 0500"},
    {"wordFraction",   "DM100",     "1.5",          1, 0, "1.5 is not a whole number, and DM100 takes one (0 to 65535)"},
    {"wordHuge",       "DM100",     "99999999999999999999", 1, 0, "1e+20 is too large for DM100 (0 to 65535)"},
    {"wordText",       "DM100",     "five",         1, 0, "'five' is not valid: DM100 takes a number, such as 15"},
    {"wordEmpty",      "DM100",     "",             1, 0, "'' is not valid: DM100 takes a number, such as 15"},
    {"wordOn",         "DM100",     "on",           1, 0, "'on' is not valid: DM100 takes a number, such as 15"},
    {"wordNan",        "DM100",     "nan",          1, 0, "'nan' is not valid: DM100 takes a number, such as 15"},
    {"signedLowest",   "DM100.S",   "-32768",       1, 0, "10 100 x1 0080"},
    {"signedHighest",  "DM100.S",   "32767",        1, 0, "10 100 x1 FF7F"},
    {"signedMinusOne", "DM100.S",   "-1",           1, 0, "10 100 x1 FFFF"},
    {"signedTooSmall", "DM100.S",   "-32769",       1, 0, "-32769 is too small for DM100.S (-32768 to 32767)"},
    {"signedTooLarge", "DM100.S",   "32768",        1, 0, "32768 is too large for DM100.S (-32768 to 32767)"},
    {"double",         "DM100.D",   "131073",       1, 0, "10 100 x2 01000200"},
    {"doubleHighest",  "DM100.D",   "4294967295",   1, 0, "10 100 x2 FFFFFFFF"},
    {"doubleTooLarge", "DM100.D",   "4294967296",   1, 0, "4294967296 is too large for DM100.D (0 to 4294967295)"},
    {"longLowest",     "DM100.L",   "-2147483648",  1, 0, "10 100 x2 00000080"},
    {"longTooSmall",   "DM100.L",   "-2147483649",  1, 0, "-2147483649 is too small for DM100.L (-2147483648 to 2147483647)"},
    {"longTooLarge",   "DM100.L",   "2147483648",   1, 0, "2147483648 is too large for DM100.L (-2147483648 to 2147483647)"},
    {"hex",            "DM100.H",   "1f",           1, 0, "10 100 x1 1F00"},
    {"hexDecimalDigits","DM100.H",  "10",           1, 0, "10 100 x1 1000"},
    {"hexPrefixed",    "DM100.H",   "0x10",         1, 0, "10 100 x1 1000"},
    {"hexHighest",     "DM100.H",   "FFFF",         1, 0, "10 100 x1 FFFF"},
    {"hexTooLarge",    "DM100.H",   "10000",        1, 0, "10000 is too large for DM100.H (0 to FFFF)"},
    {"hexNotHex",      "DM100.H",   "1G",           1, 0, "'1G' is not valid: DM100.H takes hexadecimal digits, such as 1F"},
    {"float",          "DM0.F",     "1.5",          1, 0, "10 0 x2 0000C03F"},
    {"floatWhole",     "DM0.F",     "12345678",     1, 0, "10 0 x2 4E613C4B"},
    {"floatTenth",     "DM0.F",     "0.1",          1, 0, "10 0 x2 CDCCCC3D"},
    {"floatExponent",  "DM0.F",     "1e3",          1, 0, "10 0 x2 00007A44"},
    {"floatLargest",   "DM0.F",     "3.4028235e38", 1, 0, "10 0 x2 FFFF7F7F"},
    {"floatBeyond",    "DM0.F",     "3.4028236e38", 1, 0, "3.4028236e+38 is beyond what the 32-bit float DM0.F holds"},
    {"floatBetween",   "DM0.F",     "3.4028235677973366e38", 1, 0, "3.40282356779734e+38 is beyond what the 32-bit float DM0.F holds"},
    {"floatMinusZero", "DM0.F",     "-0.0",         1, 0, "10 0 x2 00000080"},
    {"floatTooLarge",  "DM0.F",     "-1e39",        1, 0, "-1e+39 is beyond what the 32-bit float DM0.F holds"},
    {"floatInfinity",  "DM0.F",     "inf",          1, 0, "'inf' is not valid: DM0.F takes a number, such as 1.5"},
    {"floatComma",     "DM0.F",     "1,5",          1, 0, "DM0.F takes 1 value, and 2 were given"},
    {"bitOn",          "R500",      "on",           1, 0, "0 500 x1 01"},
    {"bitOff",         "R500",      "OFF",          1, 0, "0 500 x1 00"},
    {"bitTrue",        "R500",      "True",         1, 0, "0 500 x1 01"},
    {"bitFalse",       "R500",      "false",        1, 0, "0 500 x1 00"},
    {"bitOne",         "R500",      "1",            1, 0, "0 500 x1 01"},
    {"bitZero",        "R500",      "0",            1, 0, "0 500 x1 00"},
    {"bitTwo",         "R500",      "2",            1, 0, "2 is neither 0 nor 1, and R500 is a bit"},
    {"bitHalf",        "R500",      "0.5",          1, 0, "0.5 is neither 0 nor 1, and R500 is a bit"},
    {"bitNegative",    "R500",      "-1",           1, 0, "-1 is neither 0 nor 1, and R500 is a bit"},
    {"bitText",        "R500",      "yes",          1, 0, "'yes' is not valid: R500 takes 0, 1, on or off"},
    {"bitUnscaled",    "R500",      "1",          0.5, 3, "0 500 x1 01"},
    {"bitOfWord",      "DM100.5",   "1",            1, 0, "32 100.5 x1 01"},
    {"bitOfW",         "W1A.13",    "1",            1, 0, "36 1A.13 x1 01"},
    {"hexRelay",       "B1F3",      "1",            1, 0, "1 1F3 x1 01"},
    {"channel",        "R1000.U",   "5",            1, 0, "26 1000 x1 0500"},
    {"relayDouble",    "MR100.D",   "65536",        1, 0, "28 100 x2 00000100"},
    {"index",          "Z1",        "2147483647",   1, 0, "16 1 x2 FFFFFF7F"},
    {"indexTooLarge",  "Z1",        "2147483648",   1, 0, "2147483648 cannot be written to Z1: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"indexBeyond",    "Z1",        "4294967296",   1, 0, "4294967296 is too large for Z1 (0 to 4294967295)"},
    {"indexNegative",  "Z1.L",      "-1",           1, 0, "-1 cannot be written to Z1.L: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"indexHex",       "Z1.H",      "80000000",     1, 0, "80000000 cannot be written to Z1.H: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"indexFloat",     "Z1.F",      "-1.5",         1, 0, "-1.5 cannot be written to Z1.F: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"trimmer",        "AT0",       "2147483648",   1, 0, "2147483648 cannot be written to AT0: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"timerSet",       "TS5",       "100",          1, 0, "18 5 x2 64000000"},
    {"timerCurrent",   "TC5",       "100",          1, 0, "17 5 x2 64000000"},
    {"counterSet",     "CS5",       "2147483648",   1, 0, "2147483648 cannot be written to CS5: the driver sends 32-bit numbers from 0 to 2147483647 only, others would get a minus sign"},
    {"counterCurrent", "CC5",       "7",            1, 0, "19 5 x2 07000000"},
    {"highSpeed",      "CTH1",      "7",            1, 0, "21 1 x2 07000000"},
    {"timerContact",   "T5",        "1",            1, 0, "T5 is a contact: only the PLC's program sets it"},
    {"counterContact", "CTH0.C",    "1",            1, 0, "CTH0.C is a contact: only the PLC's program sets it"},

    {"scaled",         "DM100",     "12.3",       0.1, 0, "10 100 x1 7B00"},
    {"scaledRounds",   "DM100",     "12.34",      0.1, 0, "10 100 x1 7B00"},
    {"scaledRoundsUp", "DM100",     "12.37",      0.1, 0, "10 100 x1 7C00"},
    {"offset",         "DM100",     "23",           1, 20, "10 100 x1 0300"},
    {"scaleAndOffset", "DM100",     "25",         0.5, 20, "10 100 x1 0A00"},
    {"scaledHighest",  "DM100",     "655.35",    0.01, 0, "10 100 x1 FFFF"},
    {"scaledTooLarge", "DM100",     "655.36",    0.01, 0, "655.36 is too large for DM100 (0 to 655.35)"},
    {"scaledTooSmall", "DM100",     "-0.01",     0.01, 0, "-0.01 is too small for DM100 (0 to 655.35)"},
    {"turnedTooLarge", "DM100",     "1",           -1, 0, "1 is too large for DM100 (-65535 to 0)"},
    {"turnedTooSmall", "DM100",     "-65536",      -1, 0, "-65536 is too small for DM100 (-65535 to 0)"},
    {"turnedHalf",     "DM100",     "1",         -0.5, 0, "1 is too large for DM100 (-32767.5 to 0)"},
    {"turned",         "DM100",     "-65535",      -1, 0, "10 100 x1 FFFF"},
    {"hexWithOffset",  "DM100.H",   "21",           1, 5, "10 100 x1 1000"},
    {"hexWithOffset2", "DM100.H",   "0x15",         1, 5, "10 100 x1 1000"},
    {"hexWithScale",   "DM100.H",   "1A",           2, 0, "'1A' is not valid: DM100.H takes a number, such as 1.5"},
    {"scaledFloat",    "DM0.F",     "3",            2, 0, "10 0 x2 0000C03F"},
    {"scaleZero",      "DM100",     "1",            0, 0, "DM100 has the scale 0: no number can be written with it"},

    {"words",          "DM100:3",   "1,2, 3",       1, 0, "10 100 x3 010002000300"},
    {"tooFew",         "DM100:3",   "1,2",          1, 0, "DM100:3 takes 3 values, and 2 were given"},
    {"tooMany",        "DM100:3",   "1,2,3,4",      1, 0, "DM100:3 takes 3 values, and 4 were given"},
    {"oneForThree",    "DM100:3",   "1",            1, 0, "DM100:3 takes 3 values, and 1 was given"},
    {"emptyOne",       "DM100:3",   "1,,3",         1, 0, "'' is not valid: DM100:3 takes a number, such as 15"},
    {"oneOfThree",     "DM100:3",   "1,70000,3",    1, 0, "70000 is too large for DM101 (0 to 65535)"},
    {"relays",         "R1015:2",   "1,0",          1, 0, "0 1015 x1 01; 0 1100 x1 00"},
    {"bits",           "DM100.15:2","1,1",          1, 0, "32 100.15 x1 01; 32 101.0 x1 01"},

    {"text",           "DM10.STR:4","AB",           1, 0, "10 10 x2 42410000"},
    {"textFull",       "DM10.STR:4","ABCD",         1, 0, "10 10 x2 42414443"},
    {"textOdd",        "DM10.STR:3","ABC",          1, 0, "10 10 x2 42410043"},
    {"textEmpty",      "DM10.STR:3","",             1, 0, "10 10 x2 00000000"},
    {"textCommas",     "DM10.STR:4","1,2",          1, 0, "10 10 x2 2C310032"},
    {"textSpaces",     "DM10.STR:4"," a ",          1, 0, "10 10 x2 61200020"},
    {"textTooLong",    "DM10.STR:4","ABCDE",        1, 0, "'ABCDE' takes 5 bytes in UTF-8, and DM10.STR:4 holds 4"},
    {"textTooLongOdd", "DM10.STR:3","ABCD",         1, 0, "'ABCD' takes 4 bytes in UTF-8, and DM10.STR:3 holds 3"},
    {"textUtf8",       "DM10.STR:4","\xE2\x82\xAC", 1, 0, "10 10 x2 82E200AC"},
    {"textUtf8TooLong","DM10.STR:2","\xE2\x82\xAC", 1, 0, "'\xE2\x82\xAC' takes 3 bytes in UTF-8, and DM10.STR:2 holds 2"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, Typed, testing::ValuesIn(typedRows), nameOfRow<TypedRow>);

TEST(ValueFromText, hasTheKindThatReadsHave)
{
    QString problem;
    const auto typed = [&](const char *place, const char *text, double scale = 1.0) {
        return valueFromText(placeOf(place), QString::fromLatin1(text), scale, 0.0, problem);
    };
    EXPECT_EQ(typed("R0", "1"), Value(true));
    for (const char *off : {"0", "off", "false"})
        EXPECT_EQ(typed("R0", off), Value(false)) << off;
    for (const char *on : {"1", "on", "true"})
        EXPECT_EQ(typed("R0", on), Value(true)) << on;
    EXPECT_EQ(typed("DM0", "7"), Value(qint64(7)));
    EXPECT_EQ(typed("DM0", "7", 0.5), Value(7.0));
    EXPECT_EQ(typed("DM0.F", "7"), Value(7.0));
    EXPECT_EQ(typed("R0", "1", 0.5), Value(true));
    EXPECT_EQ(typed("DM0.STR:2", "7"), Value(QStringLiteral("7")));
    EXPECT_EQ(typed("DM0:2", "1,2"), Value(std::vector<Scalar>{qint64(1), qint64(2)}));
}

TEST(Encode, takesWhateverKindOfNumberFits)
{
    EXPECT_EQ(written("DM0", true), "10 0 x1 0100");
    EXPECT_EQ(written("DM0", 7.0), "10 0 x1 0700");
    EXPECT_EQ(written("R0", qint64(1)), "0 0 x1 01");
    EXPECT_EQ(written("R0", 0.0), "0 0 x1 00");
    EXPECT_EQ(written("DM0.F", qint64(1)), "10 0 x2 0000803F");
    EXPECT_EQ(written("DM0", std::vector<Scalar>{qint64(7)}), "10 0 x1 0700");
}

TEST(Encode, refusesTheWrongKind)
{
    EXPECT_EQ(written("DM0", QStringLiteral("7")), "DM0 takes a number, not a text");
    EXPECT_EQ(written("DM0.STR:2", qint64(7)), "DM0.STR:2 takes a text, not a number");
    EXPECT_EQ(written("DM0", Value()), "DM0 takes 1 value, and none was given");
    EXPECT_EQ(written("DM0", std::vector<Scalar>()), "DM0 takes 1 value, and none was given");
    EXPECT_EQ(written("DM0", std::vector<Scalar>{Scalar()}), "DM0 takes a number, and none was given");
    EXPECT_EQ(written("DM0.F", std::numeric_limits<double>::quiet_NaN()), "DM0.F takes finite numbers only");
    EXPECT_EQ(written("DM0", std::numeric_limits<double>::infinity()), "DM0 takes finite numbers only");
}

TEST(Encode, writesTheHighWordFirstWhereThePlcHasItSo)
{
    const Coding highFirst{WordOrder::HighFirst, TextEncoding::Utf8};
    EXPECT_EQ(written("DM0.D", qint64(131073), 1, 0, units, highFirst), "10 0 x2 02000100");
    EXPECT_EQ(written("DM0.F", 1.0, 1, 0, units, highFirst), "10 0 x2 803F0000");
    EXPECT_EQ(written("DM0", qint64(258), 1, 0, units, highFirst), "10 0 x1 0201");
    EXPECT_EQ(written("Z1", qint64(131073), 1, 0, units, highFirst), "16 1 x2 01000200");
    EXPECT_EQ(written("DM0.STR:4", QStringLiteral("ABCD"), 1, 0, units, highFirst), "10 0 x2 42414443");
}

TEST(Encode, writesTextsInTheirEncoding)
{
    const Coding shiftJis{WordOrder::LowFirst, TextEncoding::ShiftJis};
    const Coding latin1{WordOrder::LowFirst, TextEncoding::Latin1};
    const QString katakana = QString::fromUtf8("\xE3\x83\x86\xE3\x83\x88"); // テト
    const QString umlaut = QString::fromUtf8("\xC3\xBC");                   // ü
    EXPECT_EQ(written("DM0.STR:4", katakana, 1, 0, units, shiftJis), "10 0 x2 65836783");
    EXPECT_EQ(written("DM0.STR:3", katakana, 1, 0, units, shiftJis),
              "'\xE3\x83\x86\xE3\x83\x88' takes 4 bytes in Shift-JIS, and DM0.STR:3 holds 3");
    EXPECT_EQ(written("DM0.STR:2", QStringLiteral("\\~"), 1, 0, units, shiftJis), "10 0 x1 7E5C");
    EXPECT_EQ(written("DM0.STR:4", umlaut, 1, 0, units, shiftJis),
              "'\xC3\xBC' has characters that Shift-JIS does not have");
    EXPECT_EQ(written("DM0.STR:2", umlaut, 1, 0, units, latin1), "10 0 x1 00FC");
    EXPECT_EQ(written("DM0.STR:4", katakana, 1, 0, units, latin1),
              "'\xE3\x83\x86\xE3\x83\x88' has characters that Latin-1 does not have");
    EXPECT_EQ(written("DM0.STR:4", QString(QChar(0xD800))).substr(0, 1), "'");
    EXPECT_EQ(written("DM0.STR:4", QString(QChar(0))),
              "a text for DM0.STR:4 cannot contain the character 0, which ends texts");
}

// Words of each request, and the address it starts at.
std::string pieces(const char *address, int maxUnits)
{
    const Place place = placeOf(address);
    const std::vector<Scalar> zeros(size_t(place.values), Scalar(qint64(0)));
    QString problem;
    const auto requests = encode(place, zeros, {}, 1.0, 0.0, maxUnits, problem);
    std::string all = problem.toStdString();
    for (const WriteUnits &one : requests.value_or(std::vector<WriteUnits>()))
        all += (all.empty() ? "" : " ") + one.addressText.toStdString() + '+' + std::to_string(one.hostCount);
    return all;
}

TEST(Pieces, areAtMost128Words)
{
    EXPECT_EQ(pieces("DM0:128", 128), "0+128");
    EXPECT_EQ(pieces("DM0:129", 128), "0+128 128+1");
    EXPECT_EQ(pieces("DM0:129", 1000), "0+128 128+1");
    EXPECT_EQ(pieces("DM0:129", 127), "0+127 127+2");
    EXPECT_EQ(pieces("DM0:3", 1), "0+1 1+1 2+1");
    EXPECT_EQ(pieces("DM0:2", 0), "0+1 1+1");
    EXPECT_EQ(pieces("R0.U:129", 128), "0+128 12800+1");
}

TEST(Pieces, neverParts32BitValues)
{
    EXPECT_EQ(pieces("DM0.D:3", 3), "0+2 2+2 4+2");
    EXPECT_EQ(pieces("DM0.D:3", 4), "0+4 4+2");
    EXPECT_EQ(pieces("DM1.F:65", 128), "1+128 129+2");
    EXPECT_EQ(pieces("DM1.L:64", 127), "1+126 127+2");
    EXPECT_EQ(pieces("DM0.F:2", 1), "0+2 2+2");
}

TEST(Pieces, areAtMost80DoubleWordsOfTwoRegistersEach)
{
    EXPECT_EQ(pieces("TS0:80", 128), "0+160");
    EXPECT_EQ(pieces("TS0:81", 128), "0+160 80+2");
    EXPECT_EQ(pieces("TS0:3", 2), "0+4 2+2");
    EXPECT_EQ(pieces("TS0:2", 0), "0+2 1+2");
    EXPECT_EQ(pieces("Z1:12", 128), "1+24");
}

TEST(Pieces, holdTheirOwnPartOfTheData)
{
    QString problem;
    const std::vector<Scalar> numbers = {qint64(1), qint64(2), qint64(3)};
    const auto words = encode(placeOf("W9:3"), numbers, {}, 1.0, 0.0, 2, problem);
    ASSERT_TRUE(words && words->size() == 2);
    EXPECT_EQ((*words)[0].addressText, QStringLiteral("9"));
    EXPECT_EQ((*words)[0].data, QByteArray::fromHex("01000200"));
    EXPECT_EQ((*words)[1].addressText, QStringLiteral("B"));
    EXPECT_EQ((*words)[1].data, QByteArray::fromHex("0300"));
    const auto doubles = encode(placeOf("TC7:3"), numbers, {}, 1.0, 0.0, 2, problem);
    ASSERT_TRUE(doubles && doubles->size() == 2);
    EXPECT_EQ((*doubles)[1].addressText, QStringLiteral("9"));
    EXPECT_EQ((*doubles)[1].data, QByteArray::fromHex("03000000"));
}

TEST(ScalarsOf, areTheValueItselfOrThoseOfAList)
{
    const struct {
        Value value;
        std::vector<Scalar> scalars;
    } rows[] = {
        {{}, {}},
        {true, {true}},
        {qint64(-5), {qint64(-5)}},
        {1.5, {1.5}},
        {QStringLiteral("AB"), {QStringLiteral("AB")}},
        {std::vector<Scalar>{}, {}},
        {std::vector<Scalar>{qint64(1), 2.5}, {qint64(1), 2.5}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(scalarsOf(row.value), row.scalars) << row.value.index();
}

TEST(CanWrite, isFalseForContactsOnly)
{
    QString problem;
    for (const char *address : {"R0", "DM0", "DM0.1", "R0.U", "TC0", "TS0", "CTH0", "AT0", "Z1"})
        EXPECT_TRUE(canWrite(placeOf(address), problem)) << address;
    EXPECT_TRUE(problem.isEmpty());
    for (const char *address : {"T0", "C0", "CTH0.C", "CTC0.C"})
        EXPECT_FALSE(canWrite(placeOf(address), problem)) << address;
    EXPECT_EQ(problem.toStdString(), "CTC0.C is a contact: only the PLC's program sets it");
}

} // namespace
} // namespace kvlink
