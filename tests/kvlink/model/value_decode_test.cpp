// SPDX-License-Identifier: MIT
// Raw units into values: bits, words, double words, floats and texts, worked out by hand.
#include "model/value_codec.h"
#include "rows.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

Place placeOf(const char *address)
{
    QString problem;
    const auto place = parsePlace(QString::fromLatin1(address), problem);
    EXPECT_TRUE(place) << problem.toStdString();
    return place.value_or(Place());
}

QByteArray bytes(const char *hexadecimal)
{
    return QByteArray::fromHex(hexadecimal);
}

// As shown, so that a row can state one value or several; "-" for not representable.
std::string decoded(const Place &place, const QByteArray &raw, const Coding &coding = {}, double scale = 1.0,
                    double offset = 0.0)
{
    EXPECT_EQ(raw.size(), rawSize(place));
    const auto value = decode(place, raw.constData(), coding, scale, offset);
    return value ? shown(place, *value).toStdString() : "-";
}

// Words: 1234h, 8001h, 0000h, FFFFh from word 10 on; the low byte comes first.
const char words[] = "3412"
                     "0180"
                     "0000"
                     "FFFF";

struct WordRow {
    const char *name;
    const char *place;
    const char *raw;
    const char *shown;
};

class OfWords : public testing::TestWithParam<WordRow>
{
};

TEST_P(OfWords, areWhatTheWordsHold)
{
    const WordRow &row = GetParam();
    const Place place = placeOf(row.place);
    const UnitBlock block{place.readArea(), 10, 4, bytes(words), {}, {}, {}};
    const QByteArray raw = rawOf(place, block);
    EXPECT_EQ(raw.toHex().toUpper().toStdString(), row.raw);
    EXPECT_EQ(decoded(place, raw), row.shown);
}

// clang-format off
const WordRow wordRows[] = {
    {"first",         "DM10",        "3412",      "4660"},
    {"second",        "DM11",        "0180",      "32769"},
    {"last",          "DM13",        "FFFF",      "65535"},
    {"all",           "DM10:4",      "34120180""0000FFFF", "4660,32769,0,65535"},
    {"signedValue",   "DM11.S",      "0180",      "-32767"},
    {"minusOne",      "DM13.S",      "FFFF",      "-1"},
    {"hexadecimal",   "DM11.H",      "0180",      "8001"},
    {"hexZero",       "DM12.H",      "0000",      "0000"},
    {"double",        "DM10.D",      "34120180",  "2147553844"},          // 80011234h
    {"doubleOdd",     "DM11.D",      "01800000",  "32769"},
    {"longValue",     "DM10.L",      "34120180",  "-2147413452"},         // 80011234h - 2^32
    {"longs",         "DM10.L:2",    "34120180""0000FFFF", "-2147413452,-65536"},
    {"bit0",          "DM11.0",      "01",        "1"},
    {"bit1",          "DM11.1",      "00",        "0"},
    {"bit15",         "DM11.15",     "01",        "1"},
    {"lowBits",       "DM10.0:5",    "0000010001","0,0,1,0,1"},           // 4h of 1234h, then the lowest bit of 3h
    {"bitsAcross",    "DM10.12:5",   "0100000001","1,0,0,0,1"},           // 1h of 1234h, then bit 0 of 8001h
    {"relay",         "R1002",       "01",        "1"},
    {"relayOff",      "R1003",       "00",        "0"},
    {"relayNext",     "R1100",       "01",        "1"},
    {"relaysAcross",  "R1015:3",     "000100",    "0,1,0"},
    {"relayWord",     "R1100.U",     "0180",      "32769"},
    {"relayWordHex",  "B0B0.H",      "0180",      "8001"},
    {"hexRelay",      "BB0",         "01",        "1"},
    {"hexRelayEnd",   "BBF",         "01",        "1"},
    {"w",             "WA",          "3412",      "4660"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, OfWords, testing::ValuesIn(wordRows), nameOfRow<WordRow>);

// Timers 5 and 6: contact, current value and set value of each come with one read unit.
const UnitBlock timers{6, 5, 2, {}, bytes("0100"), bytes("3200000000000080"), bytes("64000000FFFFFFFF")};

TEST(OfTimers, contactCurrentAndSetComeFromTheirOwnParts)
{
    EXPECT_EQ(decoded(placeOf("T5:2"), rawOf(placeOf("T5:2"), timers)), "1,0");
    EXPECT_EQ(decoded(placeOf("T6"), rawOf(placeOf("T6"), timers)), "0");
    EXPECT_EQ(decoded(placeOf("TC5"), rawOf(placeOf("TC5"), timers)), "50");
    EXPECT_EQ(decoded(placeOf("TS5:2"), rawOf(placeOf("TS5:2"), timers)), "100,4294967295");
    EXPECT_EQ(decoded(placeOf("TC6"), rawOf(placeOf("TC6"), timers)), "2147483648");
    EXPECT_EQ(decoded(placeOf("TC6.L"), rawOf(placeOf("TC6.L"), timers)), "-2147483648");
    EXPECT_EQ(decoded(placeOf("TS6.H"), rawOf(placeOf("TS6.H"), timers)), "FFFFFFFF");
    EXPECT_EQ(decoded(placeOf("TC5.H"), rawOf(placeOf("TC5.H"), timers)), "00000032");
}

TEST(OfTimers, theContactOfACounterIsTheContact)
{
    const UnitBlock counters{22, 0, 2, {}, bytes("0001"), {}, bytes("0700000008000000")};
    EXPECT_EQ(decoded(placeOf("CTC0.C:2"), rawOf(placeOf("CTC0.C:2"), counters)), "0,1");
    EXPECT_EQ(decoded(placeOf("CTC1"), rawOf(placeOf("CTC1"), counters)), "8");
}

TEST(OfDoubleWords, aTrimmerHasFourBytes)
{
    const UnitBlock block{23, 0, 2, bytes("0100000004030201"), {}, {}, {}};
    EXPECT_EQ(decoded(placeOf("AT0:2"), rawOf(placeOf("AT0:2"), block)), "1,16909060"); // 01020304h
    EXPECT_EQ(decoded(placeOf("AT1.H"), rawOf(placeOf("AT1.H"), block)), "01020304");
}

// A block that does not cover a place gives nothing, and writes nothing.
struct CoverRow {
    const char *name;
    const char *place;
    bool covered;
};

class Cover : public testing::TestWithParam<CoverRow>
{
};

TEST_P(Cover, isNeededForAllOfAPlace)
{
    const UnitBlock block{10, 100, 4, bytes("0000000000000000"), {}, {}, {}};
    const Place place = placeOf(GetParam().place);
    QByteArray room(64, 'x');
    const int written = copyRaw(place, block, room.data());
    EXPECT_EQ(written, GetParam().covered ? rawSize(place) : 0);
    EXPECT_EQ(room.mid(written), QByteArray(64 - written, 'x'));
    EXPECT_EQ(rawOf(place, block).isEmpty(), !GetParam().covered);
}

const CoverRow coverRows[] = {
    {"all", "DM100:4", true},        {"first", "DM100", true},          {"last", "DM103", true},
    {"before", "DM99", false},       {"startsBefore", "DM99:2", false}, {"after", "DM104", false},
    {"endsAfter", "DM103:2", false}, {"doubleInside", "DM102.D", true}, {"doubleAcross", "DM103.D", false},
    {"lastBit", "DM103.15", true},   {"bitAfter", "DM104.0", false},    {"bitsAcross", "DM103.15:2", false},
    {"otherDevice", "EM100", false}, {"text", "DM100.STR:8", true},     {"textAcross", "DM100.STR:9", false},
};

INSTANTIATE_TEST_SUITE_P(Rows, Cover, testing::ValuesIn(coverRows), nameOfRow<CoverRow>);

TEST(Cover, isNotThereWhenBytesAreMissing)
{
    const Place timer = placeOf("TC5");
    const UnitBlock noCurrent{6, 5, 1, {}, bytes("01"), bytes("320000"), bytes("64000000")};
    EXPECT_TRUE(rawOf(timer, noCurrent).isEmpty());
    EXPECT_EQ(rawOf(placeOf("TS5"), noCurrent), bytes("64000000"));
    const UnitBlock shortWords{10, 0, 2, bytes("010002"), {}, {}, {}};
    EXPECT_TRUE(rawOf(placeOf("DM1"), shortWords).isEmpty());
    EXPECT_TRUE(rawOf(placeOf("DM1.0"), shortWords).isEmpty());
    EXPECT_EQ(rawOf(placeOf("DM0"), shortWords), bytes("0100"));
}

// Floats: bit patterns as the standard has them, low word first.
struct FloatRow {
    const char *name;
    const char *lowFirst;
    const char *shown;
};

class Floats : public testing::TestWithParam<FloatRow>
{
};

TEST_P(Floats, haveTheDigitsThatBringThemBack)
{
    EXPECT_EQ(decoded(placeOf("DM0.F"), bytes(GetParam().lowFirst)), GetParam().shown);
}

TEST_P(Floats, comeFromEitherOrderOfWords)
{
    const QByteArray low = bytes(GetParam().lowFirst);
    const Coding highFirst{WordOrder::HighFirst, TextEncoding::Utf8};
    EXPECT_EQ(decoded(placeOf("DM0.F"), low.mid(2) + low.left(2), highFirst), GetParam().shown);
}

// clang-format off
const FloatRow floatRows[] = {
    {"zero",           "00000000", "0"},
    {"minusZero",      "00000080", "-0"},
    {"one",            "0000803F", "1"},
    {"oneAndAHalf",    "0000C03F", "1.5"},
    {"tenth",          "CDCCCC3D", "0.1"},                // 3DCCCCCDh
    {"minusTwo",       "000000C0", "-2"},
    {"eightDigits",    "4E613C4B", "12345678"},           // 4B3C614Eh = 0xBC614E
    {"hundredThousand","0050C347", "100000"},             // 47C35000h
    {"twoTo24",        "0000804B", "16777216"},
    {"third",          "ABAAAA3E", "0.33333334"},         // 3EAAAAABh
    {"largest",        "FFFF7F7F", "3.4028235e+38"},
    {"smallest",       "01000000", "1e-45"},
    {"infinity",       "0000807F", "-"},
    {"minusInfinity",  "000080FF", "-"},
    {"notANumber",     "0000C07F", "-"},
    {"signallingNan",  "0100807F", "-"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, Floats, testing::ValuesIn(floatRows), nameOfRow<FloatRow>);

TEST(Floats, oneThatIsNoNumberMakesTheWholeTagNotRepresentable)
{
    EXPECT_EQ(decoded(placeOf("DM0.F:2"), bytes("0000803F"
                                                "0000C07F")),
              "-");
    EXPECT_EQ(decoded(placeOf("DM0.F:2"), bytes("0000803F"
                                                "0000C03F")),
              "1,1.5");
}

TEST(WordOrder, swapsTheWordsOfThirtyTwoBitValuesInWordDevicesOnly)
{
    const Coding highFirst{WordOrder::HighFirst, TextEncoding::Utf8};
    EXPECT_EQ(decoded(placeOf("DM0.D"), bytes("01000200")), "131073");           // 00020001h
    EXPECT_EQ(decoded(placeOf("DM0.D"), bytes("01000200"), highFirst), "65538"); // 00010002h
    EXPECT_EQ(decoded(placeOf("DM0.L"), bytes("FFFFFEFF"), highFirst), "-2");    // FFFFFFFEh
    EXPECT_EQ(decoded(placeOf("DM0:2"), bytes("01000200"), highFirst), "1,2");
    EXPECT_EQ(decoded(placeOf("Z1"), bytes("01000200"), highFirst), "131073");
    EXPECT_EQ(decoded(placeOf("R0.D"), bytes("01000200"), highFirst), "65538");
}

// Scaled values are real numbers, whatever their raw value; bits are never scaled.
TEST(Scale, makesNumbersReal)
{
    const Place word = placeOf("DM0");
    EXPECT_EQ(decode(word, "\x7B\0", {}, 1.0, 0.0), Value(qint64(123)));
    EXPECT_EQ(decode(word, "\x7B\0", {}, 0.5, 0.0), Value(61.5));
    EXPECT_EQ(decode(word, "\x7B\0", {}, 1.0, -23.0), Value(100.0));
    EXPECT_EQ(decode(word, "\x7B\0", {}, -2.0, 6.0), Value(-240.0));
    EXPECT_EQ(decode(placeOf("R0"), "\1", {}, 0.5, 3.0), Value(true));
    EXPECT_EQ(decode(placeOf("DM0.F"), "\0\0\x80\x3F", {}, 1.0, 0.0), Value(1.0));
    EXPECT_EQ(decode(placeOf("DM0.F"), "\0\0\x80\x3F", {}, 10.0, 1.0), Value(11.0));
    const std::vector<Scalar> pair = {1.5, 2.0};
    EXPECT_EQ(decode(placeOf("DM0:2"), "\3\0\4\0", {}, 0.5, 0.0), Value(pair));
}

TEST(Scale, isShownWithoutTheTraceOfBinaryFractions)
{
    EXPECT_EQ(decoded(placeOf("DM0"), bytes("0300"), {}, 0.1, 0.0), "0.3"); // 3 * 0.1 is 0.30000000000000004
    EXPECT_EQ(decoded(placeOf("DM0"), bytes("FFFF"), {}, 0.01, 0.0), "655.35");
    EXPECT_EQ(decoded(placeOf("DM0.S"), bytes("FFFF"), {}, 0.1, 0.0), "-0.1");
    EXPECT_EQ(decoded(placeOf("DM0.D"), bytes("FFFFFFFF"), {}, 0.001, 0.0), "4294967.295");
}

TEST(Scale, makesHexadecimalPlacesDecimal)
{
    EXPECT_EQ(decoded(placeOf("DM0.H"), bytes("1000")), "0010");
    EXPECT_EQ(decoded(placeOf("DM0.H"), bytes("1000"), {}, 1.0, 5.0), "21");
}

TEST(Scale, thatLeadsBeyondAllNumbersIsNotRepresentable)
{
    EXPECT_EQ(decoded(placeOf("DM0.F"), bytes("FFFF7F7F"), {}, 1e300, 0.0), "-");
}

// Texts: the first character of a word is in its high byte.
struct TextRow {
    const char *name;
    const char *place;
    TextEncoding encoding;
    const char *raw;
    const char *utf8; // "-": not representable
};

class Texts : public testing::TestWithParam<TextRow>
{
};

TEST_P(Texts, areReadInTheirEncoding)
{
    const Coding coding{WordOrder::LowFirst, GetParam().encoding};
    EXPECT_EQ(decoded(placeOf(GetParam().place), bytes(GetParam().raw), coding), GetParam().utf8);
}

constexpr TextEncoding utf8 = TextEncoding::Utf8;
constexpr TextEncoding shiftJis = TextEncoding::ShiftJis;
constexpr TextEncoding latin1 = TextEncoding::Latin1;

// clang-format off
const TextRow textRows[] = {
    {"ascii",            "DM0.STR:4", utf8,     "4241" "4443",       "ABCD"},
    {"odd",              "DM0.STR:3", utf8,     "4241" "4443",       "ABC"},
    {"endsAtZero",       "DM0.STR:4", utf8,     "4241" "4400",       "AB"},
    {"endsAtZeroInside", "DM0.STR:6", utf8,     "4241" "0043" "4545","ABC"},
    {"empty",            "DM0.STR:4", utf8,     "0000" "4443",       ""},
    {"utf8",             "DM0.STR:4", utf8,     "BCC3" "0000",       "\xC3\xBC"},      // ü
    {"utf8Three",        "DM0.STR:4", utf8,     "82E2" "00AC",       "\xE2\x82\xAC"},  // €
    {"utf8Four",         "DM0.STR:4", utf8,     "9FF0" "8098",       "\xF0\x9F\x98\x80"},
    {"utf8Broken",       "DM0.STR:4", utf8,     "41FC" "0000",       "-"},
    {"utf8CutOff",       "DM0.STR:2", utf8,     "82E2",              "-"},
    {"utf8Overlong",     "DM0.STR:2", utf8,     "80C0",              "-"},
    {"utf8Surrogate",    "DM0.STR:4", utf8,     "A0ED" "0080",       "-"},
    {"latin1",           "DM0.STR:2", latin1,   "41FC",              "\xC3\xBC" "A"},
    {"latin1AllBytes",   "DM0.STR:2", latin1,   "FF80",              "\xC2\x80\xC3\xBF"},
    {"shiftJisAscii",    "DM0.STR:2", shiftJis, "4241",              "AB"},
    {"shiftJisBackslash","DM0.STR:2", shiftJis, "7E5C",              "\\~"},
    {"shiftJisKatakana", "DM0.STR:4", shiftJis, "6583" "6783",       "\xE3\x83\x86\xE3\x83\x88"}, // テト
    {"shiftJisHalfWidth","DM0.STR:2", shiftJis, "C4C3",              "\xEF\xBE\x83\xEF\xBE\x84"}, // ﾃﾄ
    {"shiftJisKanji",    "DM0.STR:4", shiftJis, "FA93" "7B96",       "\xE6\x97\xA5\xE6\x9C\xAC"}, // 日本
    {"shiftJisCutOff",   "DM0.STR:3", shiftJis, "FA93" "4196",       "-"},
    {"shiftJisBroken",   "DM0.STR:2", shiftJis, "FFFF",              "-"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, Texts, testing::ValuesIn(textRows), nameOfRow<TextRow>);

TEST(Texts, areStillReadAfterABrokenOne)
{
    const Coding coding{WordOrder::LowFirst, TextEncoding::ShiftJis};
    EXPECT_EQ(decoded(placeOf("DM0.STR:2"), bytes("9341"), coding), "-") << "half a character";
    EXPECT_EQ(decoded(placeOf("DM0.STR:2"), bytes("4241"), coding), "AB");
}

} // namespace
} // namespace kvlink
