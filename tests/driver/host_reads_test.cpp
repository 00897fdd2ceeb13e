// SPDX-License-Identifier: MIT
// The host's reads out of the store: GetRegisterData.
#include "driver_test.h"

#include <chrono>
#include <future>
#include <limits>
#include <ostream>

namespace
{
class HostReads : public DriverTest
{
protected:
    // GetRegisterData into a buffer that is not empty beforehand; the answer as hexadecimal is
    // left in `read`.
    int get(int area, const char *addressText, int count, int station = 1)
    {
        QByteArray out("before");
        const int served = GetRegisterData(-1, area, QString::fromLatin1(addressText), station, &out, count);
        read = hex(out.left(64));
        readBytes = qint64(out.size());
        return served;
    }

    static qint64 imageSize(int station, int key) { return DataStorage.value(station).value(key).size(); }

    std::string read;
    qint64 readBytes = 0;
};

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row> &row)
{
    return row.param.name;
}

// ------------------------------------------------------------------------------------------------
// Every area: out of which image, and in which layout
// -------------------------------------------------------------------------------------------------

struct AreaRow {
    const char *name;
    int area;
    const char *address;
    int count;
    const char *out;
};

void PrintTo(const AreaRow &row, std::ostream *out)
{
    *out << row.name;
}

class ReadArea : public HostReads, public testing::WithParamInterface<AreaRow>
{
protected:
    // Station 1 holds eight bytes under every key: byte i of key k is 8 * k + i, so no two
    // bytes are alike.
    ReadArea()
    {
        for (int key = 0; key <= 25; ++key)
            for (int i = 0; i < 8; ++i)
                DataStorage[1][key].append(char(8 * key + i));
    }
};

TEST_P(ReadArea, comesFromItsImage)
{
    EXPECT_EQ(get(GetParam().area, GetParam().address, GetParam().count), 1);
    EXPECT_EQ(read, GetParam().out);
    EXPECT_EQ(DataStorage.keys(), QList<int>{1});
    EXPECT_EQ(DataStorage.value(1).size(), 26);
}

// Words 1 and 2: bytes 2 to 5 of the image.
INSTANTIATE_TEST_SUITE_P(
    Words, ReadArea,
    testing::Values(
        AreaRow{"DM", 10, "1", 2, "52 53 54 55"}, AreaRow{"EM", 11, "1", 2, "5A 5B 5C 5D"},
        AreaRow{"FM", 12, "1", 2, "62 63 64 65"}, AreaRow{"ZF", 13, "1", 2, "6A 6B 6C 6D"},
        AreaRow{"W", 14, "1", 2, "72 73 74 75"}, AreaRow{"TM", 15, "1", 2, "7A 7B 7C 7D"},
        AreaRow{"CM", 24, "1", 2, "C2 C3 C4 C5"}, AreaRow{"VM", 25, "1", 2, "CA CB CC CD"},
        AreaRow{"R_word", 26, "100", 2, "02 03 04 05"}, AreaRow{"B_word", 27, "10", 2, "0A 0B 0C 0D"},
        AreaRow{"MR_word", 28, "100", 2, "12 13 14 15"}, AreaRow{"LR_word", 29, "115", 2, "1A 1B 1C 1D"},
        AreaRow{"CR_word", 30, "100", 2, "22 23 24 25"}, AreaRow{"VB_word", 31, "1F", 2, "2A 2B 2C 2D"}),
    rowName<AreaRow>);

// Double word 1: bytes 4 to 7 of the image of the code itself.
INSTANTIATE_TEST_SUITE_P(
    DoubleWords, ReadArea,
    testing::Values(AreaRow{"Z", 16, "1", 1, "84 85 86 87"}, AreaRow{"T_dword", 17, "1", 1, "8C 8D 8E 8F"},
                    AreaRow{"TS", 18, "1", 1, "94 95 96 97"}, AreaRow{"C_dword", 19, "1", 1, "9C 9D 9E 9F"},
                    AreaRow{"CS", 20, "1", 1, "A4 A5 A6 A7"}, AreaRow{"CTH_dword", 21, "1", 1, "AC AD AE AF"},
                    AreaRow{"CTC_dword", 22, "1", 1, "B4 B5 B6 B7"}, AreaRow{"AT", 23, "1", 1, "BC BD BE BF"},
                    AreaRow{"two", 16, "0", 2, "80 81 82 83 84 85 86 87"}),
    rowName<AreaRow>);

// Contacts 1 to 3: bytes 1 to 3 of the image of the code itself, as they are.
INSTANTIATE_TEST_SUITE_P(Contacts, ReadArea,
                         testing::Values(AreaRow{"T", 6, "1", 3, "31 32 33"},
                                         AreaRow{"C", 7, "1", 3, "39 3A 3B"},
                                         AreaRow{"CTH", 8, "1", 3, "41 42 43"},
                                         AreaRow{"CTC", 9, "1", 3, "49 4A 4B"}),
                         rowName<AreaRow>);

// Bits 11 to 17. Byte 1 is 8 * key + 1, so its bits 3 to 7 are the key in binary, lowest digit
// first; byte 2 is 8 * key + 2, so its bits 0 and 1 are 0 and 1.
INSTANTIATE_TEST_SUITE_P(Bits, ReadArea,
                         testing::Values(AreaRow{"R", 0, "11", 7, "00 00 00 00 00 00 01"},
                                         AreaRow{"B", 1, "B", 7, "01 00 00 00 00 00 01"},
                                         AreaRow{"MR", 2, "11", 7, "00 01 00 00 00 00 01"},
                                         AreaRow{"LR", 3, "11", 7, "01 01 00 00 00 00 01"},
                                         AreaRow{"CR", 4, "11", 7, "00 00 01 00 00 00 01"},
                                         AreaRow{"VB", 5, "B", 7, "01 00 01 00 00 00 01"},
                                         AreaRow{"DM_bit", 32, "0.11", 7, "00 01 00 01 00 00 01"},
                                         AreaRow{"EM_bit", 33, "0.11", 7, "01 01 00 01 00 00 01"},
                                         AreaRow{"FM_bit", 34, "0.11", 7, "00 00 01 01 00 00 01"},
                                         AreaRow{"ZF_bit", 35, "0.11", 7, "01 00 01 01 00 00 01"},
                                         AreaRow{"W_bit", 36, "0.11", 7, "00 01 01 01 00 00 01"},
                                         AreaRow{"TM_bit", 37, "0.11", 7, "01 01 01 01 00 00 01"},
                                         AreaRow{"CM_bit", 38, "0.11", 7, "00 00 00 01 01 00 01"},
                                         AreaRow{"VM_bit", 39, "0.11", 7, "01 00 00 01 01 00 01"}),
                         rowName<AreaRow>);

// Nothing is copied and nothing is wrong.
INSTANTIATE_TEST_SUITE_P(
    NoElements, ReadArea,
    testing::Values(AreaRow{"bits", 0, "11", 0, ""}, AreaRow{"contacts", 6, "1", 0, ""},
                    AreaRow{"words", 10, "1", 0, ""}, AreaRow{"doubleWords", 16, "1", 0, ""},
                    AreaRow{"minusOneWord", 10, "1", -1, ""}, AreaRow{"minusOneDoubleWord", 16, "1", -1, ""},
                    AreaRow{"minusFiveBits", 32, "0.1", -5, ""},
                    AreaRow{"lowestCount", 10, "1", std::numeric_limits<int>::min(), ""}),
    rowName<AreaRow>);

class HostReadOfNoArea : public HostReads, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(HostReadOfNoArea, isLoggedWithTheChosenStationAndServedEmpty)
{
    settings.multiStation = 0;
    settings.defaultStation = 4;
    EXPECT_EQ(get(GetParam().area, GetParam().address, GetParam().count, 9), 1);
    EXPECT_EQ(read, "");
    EXPECT_EQ(takeLines(), Lines{GetParam().out});
    EXPECT_TRUE(DataStorage.isEmpty());
}

// The text is not parsed: one that no area would take brings no further line.
INSTANTIATE_TEST_SUITE_P(
    Codes, HostReadOfNoArea,
    testing::Values(AreaRow{"firstAfterTheLast", 40, "100", 2, "GetRegisterData default 40 \"100\" 4"},
                    AreaRow{"minusOne", -1, "7", 1, "GetRegisterData default -1 \"7\" 4"},
                    AreaRow{"large", 100000, "x y", 1, "GetRegisterData default 100000 \"x y\" 4"},
                    AreaRow{"emptyText", 41, "", 1, "GetRegisterData default 41 \"\" 4"},
                    AreaRow{"quotesAreNotEscaped", 40, "\"\\", 1, "GetRegisterData default 40 \"\"\\\" 4"},
                    AreaRow{"countZero", 40, "1", 0, "GetRegisterData default 40 \"1\" 4"},
                    AreaRow{"hugeCount", 40, "1", 2147483647, "GetRegisterData default 40 \"1\" 4"}),
    rowName<AreaRow>);

TEST_F(HostReads, anAreaThatIsNoneIsLoggedWithTheGivenStation)
{
    EXPECT_EQ(get(40, "100", 2, 9), 1);
    EXPECT_EQ(takeLines(), Lines{"GetRegisterData default 40 \"100\" 9"});
}

// ------------------------------------------------------------------------------------------------
// What was never read is 0, and its range exists from then on
// -------------------------------------------------------------------------------------------------

struct BlankRow {
    const char *name;
    int area;
    const char *address;
    int count;
    const char *out;
    int key;
    int bytes;
};

void PrintTo(const BlankRow &row, std::ostream *out)
{
    *out << row.name;
}

class BlankStore : public HostReads, public testing::WithParamInterface<BlankRow>
{
};

TEST_P(BlankStore, readsAsZeroAndIsSized)
{
    const BlankRow &row = GetParam();
    EXPECT_EQ(get(row.area, row.address, row.count, 3), 1);
    EXPECT_EQ(read, row.out);
    EXPECT_EQ(DataStorage.keys(), QList<int>{3});
    EXPECT_EQ(DataStorage.value(3).keys(), QList<int>{row.key});
    EXPECT_EQ(imageSize(3, row.key), row.bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, BlankStore,
    testing::Values(BlankRow{"DM", 10, "100", 2, "00 00 00 00", 10, 204},
                    BlankRow{"DM_noElements", 10, "100", 0, "", 10, 200},
                    BlankRow{"DM_minusOneElement", 10, "100", -1, "", 10, 198},
                    BlankRow{"R_word", 26, "100", 2, "00 00 00 00", 0, 6},
                    BlankRow{"Z", 16, "100", 1, "00 00 00 00", 16, 404},
                    BlankRow{"TS", 18, "2", 1, "00 00 00 00", 18, 12},
                    BlankRow{"T_contactsAreSizedLikeWords", 6, "3", 2, "00 00", 6, 10},
                    BlankRow{"CTH_contacts", 8, "0", 1, "00", 8, 2},
                    // Relays are sized as if the bit number were a word number.
                    BlankRow{"R_bits", 0, "103", 2, "00 00", 0, 42},
                    BlankRow{"DM_bits", 32, "1.3", 2, "00 00", 10, 4},
                    // The range of these two bits comes out one word short; the second one is 0
                    // all the same.
                    BlankRow{"DM_bitsPastTheImage", 32, "0.15", 2, "00 00", 10, 2},
                    BlankRow{"DM_bitsNoElements", 32, "0.0", 0, "", 10, 2}),
    rowName<BlankRow>);

// ------------------------------------------------------------------------------------------------
// Elements past the end of an image
// -------------------------------------------------------------------------------------------------

TEST_F(HostReads, aRangeThatIsLongerThanItsImageGrowsItWithZeros)
{
    DataStorage[1][10] = bytes("01 02 03");
    EXPECT_EQ(get(AREA_DM, "0", 3), 1);
    EXPECT_EQ(read, "01 02 03 00 00 00");
    EXPECT_EQ(image(1, 10), "01 02 03 00 00 00");
}

// The image has one byte of two words: the read waits for the other one who makes an image
// grow just now.
TEST_F(HostReads, whatIsWrittenWhileTheRangeIsMadeIsRead)
{
    DataStorage[1][10] = bytes("00");
    PLC_driver.storageControlMutex.lock();
    std::future<int> served = std::async(std::launch::async, [this] { return get(AREA_DM, "0", 2); });
    EXPECT_EQ(served.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    // From a thread of its own: whoever makes images grow takes no other lock.
    RW_VAR var = write(AREA_DM, 0, 2, "34 12 78 56");
    std::async(std::launch::async, [&var] { WriteDataToLocal(&var); }).get();
    PLC_driver.storageControlMutex.unlock();
    EXPECT_EQ(served.get(), 1);
    EXPECT_EQ(read, "34 12 78 56");
}

TEST_F(HostReads, aBitPastTheImageIsZero)
{
    DataStorage[1][10] = bytes("00 FF");
    EXPECT_EQ(get(AREA_DM_BIT, "0.15", 2), 1);
    EXPECT_EQ(read, "01 00");
    EXPECT_EQ(image(1, 10), "00 FF");
}

TEST_F(HostReads, bitsOfABlockAreReadAcrossWords)
{
    DataStorage[1][0] = bytes("00 00 08 00");
    EXPECT_EQ(get(AREA_R, "103", 1), 1);
    EXPECT_EQ(read, "01");
    EXPECT_EQ(get(AREA_R, "102", 3), 1);
    EXPECT_EQ(read, "00 01 00");
}

// Bit digits are not range-checked: bit 99 of channel 10 is bit 3 of channel 16.
TEST_F(HostReads, aBitNumberAboveFifteenCarriesIntoTheNextChannels)
{
    DataStorage[1][0] = QByteArray(64, '\0');
    DataStorage[1][0][32] = 0x08;
    EXPECT_EQ(get(AREA_R, "1099", 1), 1);
    EXPECT_EQ(read, "01");
}

// ------------------------------------------------------------------------------------------------
// Texts that are no address
// -------------------------------------------------------------------------------------------------

struct TextRow {
    const char *name;
    int area;
    const char *address;
    int count;
    const char *out;
    Lines lines;
};

void PrintTo(const TextRow &row, std::ostream *out)
{
    *out << row.name;
}

class NoAddress : public HostReads, public testing::WithParamInterface<TextRow>
{
};

// Two zero bytes an element, whatever the element is.
TEST_P(NoAddress, givesZerosAndIsNotServed)
{
    EXPECT_EQ(get(GetParam().area, GetParam().address, GetParam().count), 0);
    EXPECT_EQ(read, GetParam().out);
    EXPECT_EQ(takeLines(), GetParam().lines);
    EXPECT_TRUE(DataStorage.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, NoAddress,
    testing::Values(TextRow{"word", 10, "x", 2, "00 00 00 00", {"StringAddressToInt 10 \"x\" "}},
                    TextRow{"doubleWord", 16, "", 1, "00 00", {"StringAddressToInt 16 \"\" "}},
                    TextRow{"relay", 0, "1x", 3, "00 00 00 00 00 00", {"StringAddressToInt 0 \"001x\" "}},
                    TextRow{"bitOfWord", 32, "100", 1, "00 00", {"StringAddressToInt 32 \"100\" "}},
                    TextRow{"contact", 6, "1.5", 1, "00 00", {"StringAddressToInt 6 \"1.5\" "}},
                    TextRow{"minusOneIsLogged", 10, "-1", 1, "00 00", {"StringAddressToInt 10 \"-1\" "}},
                    TextRow{"otherNegativesAreNot", 10, "-5", 1, "00 00", {}},
                    TextRow{"negativeBit", 32, "-2.3", 1, "00 00", {}},
                    TextRow{"noElements", 10, "x", 0, "", {"StringAddressToInt 10 \"x\" "}},
                    TextRow{"minusOneElement", 10, "x", -1, "", {"StringAddressToInt 10 \"x\" "}}),
    rowName<TextRow>);

TEST_F(HostReads, bitsBehindTheLastOneAreNotHandedOut)
{
    DataStorage[1][0] = bytes("FF FF");
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, AREA_R, QStringLiteral("0"), 1, &out, 3), 1);
    EXPECT_EQ(hex(out), "01 01 01");
    EXPECT_EQ(out.constData()[3], '\0') << "the byte that ends every byte array";
}

// ------------------------------------------------------------------------------------------------
// Station
// -------------------------------------------------------------------------------------------------

TEST_F(HostReads, withSeveralStationsTheGivenOneIsRead)
{
    DataStorage[1][10] = bytes("01 00");
    DataStorage[5][10] = bytes("05 00");
    EXPECT_EQ(get(AREA_DM, "0", 1, 5), 1);
    EXPECT_EQ(read, "05 00");
}

TEST_F(HostReads, withOneStationTheDefaultIsRead)
{
    settings.multiStation = 0;
    settings.defaultStation = 1;
    DataStorage[1][10] = bytes("01 00");
    DataStorage[5][10] = bytes("05 00");
    EXPECT_EQ(get(AREA_DM, "0", 1, 5), 1);
    EXPECT_EQ(read, "01 00");
    EXPECT_EQ(get(AREA_EM, "0", 1, 6), 1);
    EXPECT_EQ(DataStorage.keys(), (QList<int>{1, 5}));
}

TEST_F(HostReads, anyValueButZeroMeansSeveralStations)
{
    settings.multiStation = -1;
    DataStorage[5][10] = bytes("05 00");
    EXPECT_EQ(get(AREA_DM, "0", 1, 5), 1);
    EXPECT_EQ(read, "05 00");
}

// ------------------------------------------------------------------------------------------------
// The ceiling of 64 MiB
// -------------------------------------------------------------------------------------------------

TEST_F(HostReads, theLastWordBelowTheCeiling)
{
    EXPECT_EQ(get(AREA_DM, "33554431", 1), 1);
    EXPECT_EQ(read, "00 00");
    EXPECT_EQ(imageSize(1, 10), 67108864);
    DataStorage[1][10][67108862] = 0x0C;
    EXPECT_EQ(get(AREA_DM, "33554431", 1), 1);
    EXPECT_EQ(read, "0C 00");
}

// The range would pass the ceiling, so the image stays as it is; what it holds is still read.
TEST_F(HostReads, aRangeAcrossTheCeilingReadsZeroPastIt)
{
    DataStorage[1][10] = QByteArray(67108864, '\x11');
    EXPECT_EQ(get(AREA_DM, "33554431", 2), 1);
    EXPECT_EQ(read, "11 11 00 00");
    EXPECT_EQ(imageSize(1, 10), 67108864);
}

struct PastRow {
    const char *name;
    int area;
    const char *address;
    int count;
    const char *out;
    int key;
};

void PrintTo(const PastRow &row, std::ostream *out)
{
    *out << row.name;
}

class PastTheCeiling : public HostReads, public testing::WithParamInterface<PastRow>
{
};

TEST_P(PastTheCeiling, readsAsZeroAndGrowsNothing)
{
    const PastRow &row = GetParam();
    DataStorage[1][row.key] = bytes("FF FF FF FF");
    EXPECT_EQ(get(row.area, row.address, row.count), 1);
    EXPECT_EQ(read, row.out);
    EXPECT_EQ(imageSize(1, row.key), 4);
    EXPECT_EQ(image(1, row.key, 0, 4), "FF FF FF FF");
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, PastTheCeiling,
    testing::Values(PastRow{"words", 10, "33554432", 2, "00 00 00 00", 10},
                    PastRow{"wordsHighest", 10, "2147483647", 3, "00 00 00 00 00 00", 10},
                    PastRow{"channels", 26, "3355443200", 1, "00 00", 0},
                    PastRow{"doubleWords", 16, "16777216", 1, "00 00 00 00", 16},
                    PastRow{"doubleWordsWrap", 17, "1073741824", 1, "00 00 00 00", 17},
                    PastRow{"doubleWordsHighest", 16, "2147483647", 2, "00 00 00 00 00 00 00 00", 16},
                    PastRow{"contacts", 6, "67108864", 1, "00", 6},
                    PastRow{"contactsHighest", 7, "2147483647", 2, "00 00", 7},
                    PastRow{"bits", 32, "33554432.0", 1, "00", 10},
                    PastRow{"bitsHighest", 32, "134217727.15", 2, "00 00", 10},
                    PastRow{"hexadecimalBitsHighest", 1, "7FFFFFFF", 2, "00 00", 1}),
    rowName<PastRow>);

// A range of a few elements that is past the ceiling only at its end still gives what
// its image holds.
TEST_F(HostReads, aRangeThatEndsPastTheCeilingGivesWhatIsThere)
{
    DataStorage[1][10] = bytes("01 02 03 04");
    EXPECT_EQ(get(AREA_DM, "0", 33554432), 1);
    EXPECT_EQ(readBytes, 67108864);
    EXPECT_EQ(read.substr(0, 17), "01 02 03 04 00 00");
}

struct HugeRow {
    const char *name;
    int area;
    const char *address;
    int count;
};

void PrintTo(const HugeRow &row, std::ostream *out)
{
    *out << row.name;
}

class HugeAnswer : public HostReads, public testing::WithParamInterface<HugeRow>
{
};

TEST_P(HugeAnswer, isRefused)
{
    EXPECT_EQ(get(GetParam().area, GetParam().address, GetParam().count), 0);
    EXPECT_EQ(read, "");
}

INSTANTIATE_TEST_SUITE_P(OneElementTooMany, HugeAnswer,
                         testing::Values(HugeRow{"bits", 0, "0", 67108865},
                                         HugeRow{"bitsOfWords", 32, "0.0", 67108865},
                                         HugeRow{"contacts", 6, "0", 67108865},
                                         HugeRow{"words", 10, "0", 33554433},
                                         HugeRow{"doubleWords", 16, "0", 16777217},
                                         HugeRow{"highestCountOfBits", 1, "0", 2147483647},
                                         HugeRow{"highestCountOfWords", 10, "0", 2147483647},
                                         HugeRow{"highestCountOfDoubleWords", 23, "0", 2147483647},
                                         // 1073741824 double words are 4 GiB, which wraps to 0
                                         // in 32 bits.
                                         HugeRow{"doubleWordsThatWrapToNothing", 16, "0", 1073741824}),
                         rowName<HugeRow>);

TEST_F(HostReads, aHugeAnswerForATextThatIsNoAddressIsEmpty)
{
    EXPECT_EQ(get(AREA_DM, "x", 2147483647), 0);
    EXPECT_EQ(read, "");
    EXPECT_EQ(takeLines(), Lines{"StringAddressToInt 10 \"x\" "});
}

TEST_F(HostReads, theLargestAnswerForATextThatIsNoAddressIsZeros)
{
    EXPECT_EQ(get(AREA_DM, "x", 33554432), 0); // two bytes each: 64 MiB
    EXPECT_EQ(readBytes, 67108864);
    EXPECT_EQ(read.substr(0, 11), "00 00 00 00");
    EXPECT_EQ(takeLines(), Lines{"StringAddressToInt 10 \"x\" "});
}

// Sized by words as if each bit were one, the range would pass 64 MiB: the image stays as it is.
TEST_F(HostReads, bitsBehindAnImageThatCannotGrowAreZero)
{
    DataStorage[1][0] = QByteArray(800, '\xFF');
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, AREA_R, QStringLiteral("0"), 1, &out, 33554433), 1);
    EXPECT_EQ(imageSize(1, 0), 800);
    EXPECT_EQ(out.left(6400), QByteArray(6400, '\1'));
    EXPECT_EQ(out.mid(6400, 6400), QByteArray(6400, '\0'));
}

TEST_F(HostReads, theLargestAnswersAreServed)
{
    DataStorage[1][16] = bytes("01 02 03 04 05");
    EXPECT_EQ(get(AREA_Z, "0", 16777216), 1);
    EXPECT_EQ(readBytes, 67108864);
    EXPECT_EQ(read.substr(0, 23), "01 02 03 04 05 00 00 00");
}

// ------------------------------------------------------------------------------------------------
// Something is missing
// -------------------------------------------------------------------------------------------------

// The range exists after the call, although nothing of it was asked for and it needs no bytes.
TEST_F(HostReads, aReadOfNothingMakesTheImage)
{
    EXPECT_EQ(get(AREA_DM, "0", 0), 1);
    EXPECT_EQ(read, "");
    EXPECT_EQ(image(1, 10), "");
}

// Not even an array of no bytes, which would come from the heap.
TEST_F(HostReads, aReadOfNothingClearsTheBuffer)
{
    QByteArray out("before");
    EXPECT_EQ(GetRegisterData(0, AREA_DM, QStringLiteral("0"), 1, &out, 0), 1);
    EXPECT_TRUE(out.isNull());

    out = "before";
    EXPECT_EQ(GetRegisterData(0, AREA_DM, QStringLiteral("-5"), 1, &out, 0), 0);
    EXPECT_TRUE(out.isNull());
}

TEST_F(HostReads, withoutABufferNothingIsDone)
{
    EXPECT_EQ(GetRegisterData(0, AREA_DM, "100", 1, nullptr, 2), 0);
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_F(HostReads, withoutASettingsBlockNothingIsServed)
{
    PLC_driver.comInfo = nullptr;
    EXPECT_EQ(get(AREA_DM, "100", 2), 0);
    EXPECT_EQ(get(40, "100", 2), 0);
    EXPECT_TRUE(DataStorage.isEmpty());
}

// ------------------------------------------------------------------------------------------------
// Together with what fills the store
// -------------------------------------------------------------------------------------------------

TEST_F(HostReads, aDecodedTimerIsReadByItsThreeViews)
{
    Protocol frame;
    frame.var = variable(AREA_T, 3, 1);
    frame.payloadLength = 23;
    PLC_driver.frameQueue.append(frame);
    QByteArray reply("1,0000001234,0000005000\r\n");
    SaveToLocalDataErea(&reply);

    EXPECT_EQ(get(AREA_T, "3", 1), 1);
    EXPECT_EQ(read, "01");
    EXPECT_EQ(get(AREA_T_DWORD, "3", 1), 1);
    EXPECT_EQ(read, "D2 04 00 00");
    EXPECT_EQ(get(AREA_TS, "3", 1), 1);
    EXPECT_EQ(read, "88 13 00 00");
}

TEST_F(HostReads, aWrittenBitIsReadInItsWord)
{
    RW_VAR var = write(AREA_DM_BIT, 175, 1, "01");
    WriteDataToLocal(&var);
    EXPECT_EQ(get(AREA_DM, "10", 1), 1);
    EXPECT_EQ(read, "00 80");
    EXPECT_EQ(get(AREA_DM_BIT, "10.15", 1), 1);
    EXPECT_EQ(read, "01");
}
} // namespace
