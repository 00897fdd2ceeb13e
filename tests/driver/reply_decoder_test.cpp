// SPDX-License-Identifier: MIT
// Decoding of replies into the store: SaveToLocalDataErea.
#include "driver_test.h"

#include <limits>
#include <ostream>

namespace
{
class ReplyDecoder : public DriverTest
{
protected:
    // A frame in flight whose reply has its data part at \a offset, \a length bytes long.
    static void flying(const RW_VAR &var, int offset, int length)
    {
        Protocol frame;
        frame.frame = QByteArray("RDS");
        frame.frameLength = 3;
        frame.replyOffset = offset;
        frame.payloadLength = length;
        frame.var = var;
        PLC_driver.frameQueue.clear();
        PLC_driver.frameQueue.append(frame);
    }

    // Decodes a data part, followed by the line end that every reply has, for a variable
    // of station 1.
    static void decode(int area, int address, int count, const char *data)
    {
        QByteArray reply(data);
        flying(variable(area, address, count), 0, int(reply.size()));
        reply.append("\r\n");
        const QByteArray before = reply;
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(reply, before);
    }

    // The images that hold bytes: "station/key: bytes", in the order of station and key.
    static Lines store()
    {
        Lines images;
        for (const int station : DataStorage.keys())
            for (const int key : DataStorage.value(station).keys())
                if (imageSize(station, key) > 0)
                    images.push_back(std::to_string(station) + "/" + std::to_string(key) + ": " +
                                     image(station, key));
        return images;
    }

    static qint64 imageSize(int station, int key) { return DataStorage.value(station).value(key).size(); }
};

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row> &row)
{
    return row.param.name;
}

// ------------------------------------------------------------------------------------------------
// Every area: where one record goes and how large the images are afterwards
// -------------------------------------------------------------------------------------------------

struct AreaRow {
    const char *name;
    int area;
    const char *data;
    Lines store;
    Lines lines;
};

void PrintTo(const AreaRow &row, std::ostream *out)
{
    *out << row.name;
}

class DecodedArea : public ReplyDecoder, public testing::WithParamInterface<AreaRow>
{
};

// One element, number 1, of an empty store.
TEST_P(DecodedArea, goesToItsImages)
{
    decode(GetParam().area, 1, 1, GetParam().data);
    EXPECT_EQ(store(), GetParam().store);
    EXPECT_EQ(takeLines(), GetParam().lines);
}

AreaRow word(const char *name, int area, const char *stored)
{
    return AreaRow{name, area, "00258", {stored}, {}};
}

// 258 is 02 01, 772 is 04 03.
const char *const triple = "1,0000000258,0000000772";

INSTANTIATE_TEST_SUITE_P(
    Words, DecodedArea,
    testing::Values(word("R", 0, "1/0: 00 00 02 01"), word("B", 1, "1/1: 00 00 02 01"),
                    word("MR", 2, "1/2: 00 00 02 01"), word("LR", 3, "1/3: 00 00 02 01"),
                    word("CR", 4, "1/4: 00 00 02 01"), word("VB", 5, "1/5: 00 00 02 01"),
                    word("DM", 10, "1/10: 00 00 02 01"), word("EM", 11, "1/11: 00 00 02 01"),
                    word("FM", 12, "1/12: 00 00 02 01"), word("ZF", 13, "1/13: 00 00 02 01"),
                    word("W", 14, "1/14: 00 00 02 01"), word("TM", 15, "1/15: 00 00 02 01"),
                    word("CM", 24, "1/24: 00 00 02 01"), word("VM", 25, "1/25: 00 00 02 01")),
    rowName<AreaRow>);

INSTANTIATE_TEST_SUITE_P(
    DoubleWords, DecodedArea,
    testing::Values(AreaRow{"Z", 16, "0000000258", {"1/16: 00 00 00 00 02 01 00 00"}, {}},
                    AreaRow{"AT", 23, "0000000258", {"1/23: 00 00 00 00 02 01 00 00"}, {}}),
    rowName<AreaRow>);

// The image of the code that was asked for is sized beforehand (contacts like words); the others
// grow to reach what is written.
INSTANTIATE_TEST_SUITE_P(
    Triples, DecodedArea,
    testing::Values(
        AreaRow{"T",
                6,
                triple,
                {"1/6: 00 01 00 00", "1/17: 00 00 00 00 02 01 00 00", "1/18: 00 00 00 00 04 03 00 00"},
                {}},
        AreaRow{"T_dword",
                17,
                triple,
                {"1/6: 00 01", "1/17: 00 00 00 00 02 01 00 00", "1/18: 00 00 00 00 04 03 00 00"},
                {}},
        AreaRow{"TS",
                18,
                triple,
                {"1/6: 00 01", "1/17: 00 00 00 00 02 01 00 00", "1/18: 00 00 00 00 04 03 00 00"},
                {}},
        AreaRow{"C",
                7,
                triple,
                {"1/7: 00 01 00 00", "1/19: 00 00 00 00 02 01 00 00", "1/20: 00 00 00 00 04 03 00 00"},
                {}},
        AreaRow{"C_dword",
                19,
                triple,
                {"1/7: 00 01", "1/19: 00 00 00 00 02 01 00 00", "1/20: 00 00 00 00 04 03 00 00"},
                {}},
        AreaRow{"CS",
                20,
                triple,
                {"1/7: 00 01", "1/19: 00 00 00 00 02 01 00 00", "1/20: 00 00 00 00 04 03 00 00"},
                {}},
        // On purpose: CTH keeps the first value of the record, CTC the second.
        AreaRow{"CTH_keepsTheFirst", 21, triple, {"1/8: 00 01", "1/21: 00 00 00 00 02 01 00 00"}, {}},
        AreaRow{"CTC_keepsTheSecond", 22, triple, {"1/9: 00 01", "1/22: 00 00 00 00 04 03 00 00"}, {}}),
    rowName<AreaRow>);

AreaRow refused(const char *name, int area, const char *sized, const char *line)
{
    return AreaRow{name, area, "00258", {sized}, {line}};
}

// Never asked for by the driver itself: the range is sized, nothing is stored.
INSTANTIATE_TEST_SUITE_P(
    Refused, DecodedArea,
    testing::Values(refused("CTH_contact", 8, "1/8: 00 00 00 00", "SaveToLocalDataErea default 1 8"),
                    refused("CTC_contact", 9, "1/9: 00 00 00 00", "SaveToLocalDataErea default 1 9"),
                    refused("R_word", 26, "1/0: 00 00 00 00", "SaveToLocalDataErea default 1 26"),
                    refused("B_word", 27, "1/1: 00 00 00 00", "SaveToLocalDataErea default 1 27"),
                    refused("MR_word", 28, "1/2: 00 00 00 00", "SaveToLocalDataErea default 1 28"),
                    refused("LR_word", 29, "1/3: 00 00 00 00", "SaveToLocalDataErea default 1 29"),
                    refused("CR_word", 30, "1/4: 00 00 00 00", "SaveToLocalDataErea default 1 30"),
                    refused("VB_word", 31, "1/5: 00 00 00 00", "SaveToLocalDataErea default 1 31"),
                    refused("DM_bit", 32, "1/10: 00 00", "SaveToLocalDataErea default 1 32"),
                    refused("EM_bit", 33, "1/11: 00 00", "SaveToLocalDataErea default 1 33"),
                    refused("FM_bit", 34, "1/12: 00 00", "SaveToLocalDataErea default 1 34"),
                    refused("ZF_bit", 35, "1/13: 00 00", "SaveToLocalDataErea default 1 35"),
                    refused("W_bit", 36, "1/14: 00 00", "SaveToLocalDataErea default 1 36"),
                    refused("TM_bit", 37, "1/15: 00 00", "SaveToLocalDataErea default 1 37"),
                    refused("CM_bit", 38, "1/24: 00 00", "SaveToLocalDataErea default 1 38"),
                    refused("VM_bit", 39, "1/25: 00 00", "SaveToLocalDataErea default 1 39")),
    rowName<AreaRow>);

INSTANTIATE_TEST_SUITE_P(
    NoAreas, DecodedArea,
    testing::Values(AreaRow{"firstAfterTheLast",
                            40,
                            "00258",
                            {"1/40: 00 00 00 00"},
                            {"**** ERROR checkTheStorage default", "SaveToLocalDataErea default 1 40"}},
                    AreaRow{"large",
                            1000,
                            "00258",
                            {"1/1000: 00 00 00 00"},
                            {"**** ERROR checkTheStorage default", "SaveToLocalDataErea default 1 1000"}},
                    AreaRow{"minusOne",
                            -1,
                            "00258",
                            {"1/-1: 00 00 00 00"},
                            {"**** ERROR checkTheStorage default", "SaveToLocalDataErea default 1 -1"}}),
    rowName<AreaRow>);

// ------------------------------------------------------------------------------------------------
// One field: what its text is worth
// -------------------------------------------------------------------------------------------------

struct FieldRow {
    const char *name;
    const char *text;
    const char *stored;
};

void PrintTo(const FieldRow &row, std::ostream *out)
{
    *out << row.name;
}

class WordField : public ReplyDecoder, public testing::WithParamInterface<FieldRow>
{
};

TEST_P(WordField, isStoredLowByteFirst)
{
    decode(AREA_DM, 0, 1, GetParam().text);
    EXPECT_EQ(image(1, 10), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WordField,
    testing::Values(FieldRow{"zero", "00000", "00 00"}, FieldRow{"one", "00001", "01 00"},
                    FieldRow{"lowByteFull", "00255", "FF 00"}, FieldRow{"highByte", "00256", "00 01"},
                    FieldRow{"highest", "65535", "FF FF"}, FieldRow{"overSixteenBits", "65536", "00 00"},
                    FieldRow{"fiveNines", "99999", "9F 86"}, FieldRow{"minusOne", "-0001", "FF FF"},
                    FieldRow{"minus9999", "-9999", "F1 D8"}, FieldRow{"plusSign", "+0012", "0C 00"},
                    FieldRow{"signAlone", "-    ", "00 00"}, FieldRow{"blank", "     ", "00 00"},
                    FieldRow{"leadingBlanks", "   12", "0C 00"}, FieldRow{"trailingBlanks", "12   ", "0C 00"},
                    FieldRow{"blankInside", "12 34", "00 00"}, FieldRow{"letters", "abcde", "00 00"},
                    FieldRow{"hexadecimalDigit", "0001A", "00 00"}, FieldRow{"prefix", "0x012", "00 00"},
                    FieldRow{"point", "1.000", "00 00"}, FieldRow{"comma", "1,000", "00 00"},
                    FieldRow{"fourCharacters", "1234", "D2 04"}, FieldRow{"oneCharacter", "7", "07 00"}),
    rowName<FieldRow>);

class DoubleWordField : public ReplyDecoder, public testing::WithParamInterface<FieldRow>
{
};

TEST_P(DoubleWordField, isStoredLeastSignificantByteFirst)
{
    decode(AREA_Z, 0, 1, GetParam().text);
    EXPECT_EQ(image(1, 16), GetParam().stored);
}

// What does not fit a signed 32-bit number counts as 0.
INSTANTIATE_TEST_SUITE_P(Texts, DoubleWordField,
                         testing::Values(FieldRow{"zero", "0000000000", "00 00 00 00"},
                                         FieldRow{"everyByteItsOwn", "0067305985", "01 02 03 04"},
                                         FieldRow{"thirdByte", "0000065536", "00 00 01 00"},
                                         FieldRow{"highestSigned", "2147483647", "FF FF FF 7F"},
                                         FieldRow{"oneOverSigned", "2147483648", "00 00 00 00"},
                                         FieldRow{"highestUnsigned", "4294967295", "00 00 00 00"},
                                         FieldRow{"tenNines", "9999999999", "00 00 00 00"},
                                         FieldRow{"minusOne", "-000000001", "FF FF FF FF"},
                                         FieldRow{"largeNegative", "-214748364", "34 33 33 F3"},
                                         FieldRow{"blank", "          ", "00 00 00 00"},
                                         FieldRow{"letters", "12345678AB", "00 00 00 00"},
                                         FieldRow{"short", "12", "0C 00 00 00"}),
                         rowName<FieldRow>);

class ContactField : public ReplyDecoder, public testing::WithParamInterface<FieldRow>
{
};

TEST_P(ContactField, isOneUnlessItIsZero)
{
    QByteArray data = GetParam().text;
    data.append(",0000000000,0000000000");
    decode(AREA_T_DWORD, 0, 1, data.constData());
    EXPECT_EQ(image(1, 6), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(Digits, ContactField,
                         testing::Values(FieldRow{"zero", "0", "00"}, FieldRow{"one", "1", "01"},
                                         FieldRow{"nine", "9", "01"}, FieldRow{"blank", " ", "00"},
                                         FieldRow{"letter", "x", "00"}, FieldRow{"minus", "-", "00"}),
                         rowName<FieldRow>);

// ------------------------------------------------------------------------------------------------
// Several records
// -------------------------------------------------------------------------------------------------

TEST_F(ReplyDecoder, wordsStandSixCharactersApart)
{
    decode(AREA_DM, 10, 3, "00012 65535 00300");
    EXPECT_EQ(image(1, 10, 20, 6), "0C 00 FF FF 2C 01");
    EXPECT_EQ(imageSize(1, 10), 26);
}

TEST_F(ReplyDecoder, theCharacterBetweenWordsIsNotLookedAt)
{
    decode(AREA_DM, 0, 3, "00012x00034900056");
    EXPECT_EQ(image(1, 10), "0C 00 22 00 38 00");
}

TEST_F(ReplyDecoder, doubleWordsStandElevenCharactersApart)
{
    decode(AREA_AT, 1, 2, "0000000001 0000000002");
    EXPECT_EQ(image(1, 23), "00 00 00 00 01 00 00 00 02 00 00 00");
}

TEST_F(ReplyDecoder, oneTimerFillsThreeImages)
{
    decode(AREA_T, 3, 1, "1 0000001234 0000005000");
    EXPECT_EQ(store(),
              (Lines{"1/6: 00 00 00 01 00 00 00 00", "1/17: 00 00 00 00 00 00 00 00 00 00 00 00 D2 04 00 00",
                     "1/18: 00 00 00 00 00 00 00 00 00 00 00 00 88 13 00 00"}));
}

TEST_F(ReplyDecoder, triplesStandTwentyFourCharactersApart)
{
    decode(AREA_C, 0, 2, "1,0000000001,0000000002 0,0000000003,0000000004");
    EXPECT_EQ(store(),
              (Lines{"1/7: 01 00 00 00", "1/19: 01 00 00 00 03 00 00 00", "1/20: 02 00 00 00 04 00 00 00"}));
}

TEST_F(ReplyDecoder, theCharactersBetweenTheFieldsOfATripleAreNotLookedAt)
{
    decode(AREA_T, 0, 2,
           "19"
           "0000000001"
           "9"
           "0000000002"
           "9"
           "03"
           "0000000003"
           "8"
           "0000000000");
    EXPECT_EQ(image(1, 17), "01 00 00 00 03 00 00 00");
    EXPECT_EQ(image(1, 18), "02 00 00 00 00 00 00 00");
}

TEST_F(ReplyDecoder, severalCthAndCtc)
{
    decode(AREA_CTH_DWORD, 0, 2, "0,0000000001,0000000002 1,0000000003,0000000004");
    decode(AREA_CTC_DWORD, 0, 2, "1,0000000005,0000000006 0,0000000007,0000000008");
    EXPECT_EQ(store(), (Lines{"1/8: 00 01", "1/9: 01 00", "1/21: 01 00 00 00 03 00 00 00",
                              "1/22: 06 00 00 00 08 00 00 00"}));
}

TEST_F(ReplyDecoder, moreRecordsThanAskedForAreAllStored)
{
    decode(AREA_DM, 1, 1, "00001 00002 00003");
    EXPECT_EQ(image(1, 10), "00 00 01 00 02 00 03 00");
}

TEST_F(ReplyDecoder, fewerRecordsThanAskedForLeaveTheRest)
{
    DataStorage[1][10] = bytes("AA AA AA AA");
    decode(AREA_DM, 0, 3, "00001");
    EXPECT_EQ(image(1, 10), "01 00 AA AA 00 00");
}

TEST_F(ReplyDecoder, aShortLastWordIsConvertedFromWhatIsThere)
{
    decode(AREA_DM, 0, 2, "00012 653");
    EXPECT_EQ(image(1, 10), "0C 00 8D 02");
}

TEST_F(ReplyDecoder, aLastSeparatorStartsNoRecord)
{
    DataStorage[1][10] = bytes("AA AA BB BB");
    decode(AREA_DM, 0, 1, "00012 ");
    EXPECT_EQ(image(1, 10), "0C 00 BB BB");
}

TEST_F(ReplyDecoder, oneCharacterAfterTheLastSeparatorIsARecord)
{
    DataStorage[1][10] = bytes("AA AA BB BB");
    decode(AREA_DM, 0, 1, "00012  ");
    EXPECT_EQ(image(1, 10), "0C 00 00 00");
}

TEST_F(ReplyDecoder, aShortLastDoubleWordIsConvertedFromWhatIsThere)
{
    decode(AREA_Z, 0, 2, "0000000001 0002");
    EXPECT_EQ(image(1, 16), "01 00 00 00 02 00 00 00");
}

TEST_F(ReplyDecoder, aTripleCutInItsFirstValue)
{
    DataStorage[1][18] = bytes("AA AA AA AA");
    decode(AREA_T, 0, 1, "1,123");
    EXPECT_EQ(store(), (Lines{"1/6: 01 00", "1/17: 7B 00 00 00", "1/18: 00 00 00 00"}));
}

TEST_F(ReplyDecoder, aTripleCutInItsSecondValue)
{
    decode(AREA_C, 0, 1, "0,0000000009,00000001");
    EXPECT_EQ(store(), (Lines{"1/7: 00 00", "1/19: 09 00 00 00", "1/20: 01 00 00 00"}));
}

TEST_F(ReplyDecoder, aTripleCutAfterItsContact)
{
    decode(AREA_T, 0, 1, "1");
    EXPECT_EQ(store(), (Lines{"1/6: 01 00", "1/17: 00 00 00 00", "1/18: 00 00 00 00"}));
}

TEST_F(ReplyDecoder, aCtcTripleCutBeforeItsSecondValue)
{
    DataStorage[1][22] = bytes("AA AA AA AA");
    decode(AREA_CTC_DWORD, 0, 1, "1,0000000005");
    EXPECT_EQ(store(), (Lines{"1/9: 01", "1/22: 00 00 00 00"}));
}

// The most that is decoded without heap: a value too many would lie behind it.
TEST_F(ReplyDecoder, aBlockOf256Words)
{
    decode(AREA_DM, 0, 256, QByteArray("00772 ").repeated(256).chopped(1).constData());
    EXPECT_EQ(DataStorage[1][10], bytes("04 03").repeated(256));
}

TEST_F(ReplyDecoder, aBlockOf128DoubleWords)
{
    decode(AREA_Z, 0, 128, QByteArray("0067305985 ").repeated(128).chopped(1).constData());
    EXPECT_EQ(DataStorage[1][16], bytes("01 02 03 04").repeated(128));
}

TEST_F(ReplyDecoder, aBlockOf512Timers)
{
    decode(AREA_T, 0, 512, QByteArray("1,0067305985,0000000772 ").repeated(512).chopped(1).constData());
    EXPECT_EQ(DataStorage[1][6].left(512), QByteArray(512, '\1'));
    EXPECT_EQ(DataStorage[1][17], bytes("01 02 03 04").repeated(512));
    EXPECT_EQ(DataStorage[1][18], bytes("04 03 00 00").repeated(512));
}

// ------------------------------------------------------------------------------------------------
// Where the data part lies
// -------------------------------------------------------------------------------------------------

TEST_F(ReplyDecoder, theDataPartBeginsAtTheOffset)
{
    QByteArray reply("##00012 00034\r\n");
    flying(variable(AREA_DM, 0, 2), 2, 11);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "0C 00 22 00");
}

TEST_F(ReplyDecoder, theDataPartEndsAfterItsLength)
{
    QByteArray reply("00012 00034 00056\r\n");
    flying(variable(AREA_DM, 0, 1), 0, 8);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "0C 00 00 00");
}

TEST_F(ReplyDecoder, aDataPartLongerThanTheReplyEndsWithIt)
{
    QByteArray reply("00012 00034");
    flying(variable(AREA_DM, 0, 2), 0, 1000);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "0C 00 22 00");
}

TEST_F(ReplyDecoder, anOffsetBehindTheReplyStoresNothing)
{
    QByteArray reply("00012\r\n");
    flying(variable(AREA_DM, 1, 1), 8, 5);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "00 00 00 00");
}

// No builder sets such an offset, but a host may see the record.
TEST_F(ReplyDecoder, anOffsetBeforeTheReplyShortensTheDataPart)
{
    QByteArray reply("00129\r\n");
    flying(variable(AREA_DM, 0, 1), -2, 6); // leaves "0012"
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "0C 00");
}

TEST_F(ReplyDecoder, aDataPartThatEndsBeforeTheReplyStoresNothing)
{
    QByteArray reply("00012\r\n");
    flying(variable(AREA_DM, 0, 1), -6, 6);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(image(1, 10), "00 00");
}

TEST_F(ReplyDecoder, aDataPartOfMinusOneFromBeforeTheReplyIsTheWholeReply)
{
    QByteArray reply("00012");
    flying(variable(AREA_DM, 0, 0), -3, -1);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: 0C 00"});
}

TEST_F(ReplyDecoder, anEmptyDataPartStoresNothingButTheRangeIsSized)
{
    DataStorage[1][10] = bytes("AA");
    QByteArray reply("00012\r\n");
    flying(variable(AREA_DM, 1, 1), 0, 0);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: AA 00 00 00"});
}

TEST_F(ReplyDecoder, anEmptyDataPartOfATimerMakesNoFurtherImages)
{
    decode(AREA_T, 0, 1, "");
    EXPECT_EQ(DataStorage.value(1).keys(), QList<int>{AREA_T}); // of the range that was asked for
}

TEST_F(ReplyDecoder, anEmptyDataPartMakesNoRoomBelowItsAddress)
{
    decode(AREA_DM, 10, -10, "");
    decode(AREA_Z, 10, -10, "");
    EXPECT_EQ(imageSize(1, 10), 0); // (10 - 10) * 2
    EXPECT_EQ(imageSize(1, 16), 0);
}

TEST_F(ReplyDecoder, anEmptyReplyStoresNothingButTheRangeIsSized)
{
    QByteArray reply;
    flying(variable(AREA_T, 1, 1), 0, 23);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/6: 00 00 00 00"});
}

// A read of no elements announces a data part of -1 bytes, which takes the whole reply, line
// end included: here "00012\r", whose last character is a separator, and the record "\n", which
// is worth 0.
TEST_F(ReplyDecoder, aDataPartOfMinusOneIsTheWholeReply)
{
    QByteArray reply("00012\r\n");
    flying(variable(AREA_DM, 1, 0), 0, -1);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: 00 00 0C 00 00 00"});
}

TEST_F(ReplyDecoder, aDataPartOfMinusOneBeginsAtTheOffset)
{
    QByteArray reply("abc00012");
    flying(variable(AREA_DM, 0, 0), 3, -1);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: 0C 00"});
}

// ------------------------------------------------------------------------------------------------
// What is left alone
// -------------------------------------------------------------------------------------------------

TEST_F(ReplyDecoder, onlyTheDecodedElementsChange)
{
    DataStorage[1][10] = bytes("A0 A1 A2 A3 A4 A5 A6 A7");
    DataStorage[1][11] = bytes("B0 B1 B2 B3");
    DataStorage[2][10] = bytes("C0 C1 C2 C3");
    decode(AREA_DM, 1, 2, "00001 00002");
    EXPECT_EQ(store(), (Lines{"1/10: A0 A1 01 00 02 00 A6 A7", "1/11: B0 B1 B2 B3", "2/10: C0 C1 C2 C3"}));
}

TEST_F(ReplyDecoder, theStationOfTheVariableCounts)
{
    QByteArray reply("00007\r\n");
    flying(variable(AREA_DM, 0, 1, 12), 0, 5);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"12/10: 07 00"});
}

TEST_F(ReplyDecoder, theVariableOfTheFirstFrameCounts)
{
    Protocol second;
    second.var = variable(AREA_EM, 5, 1, 9);
    flying(variable(AREA_DM, 0, 1), 0, 5);
    PLC_driver.frameQueue.append(second);
    QByteArray reply("00007\r\n");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: 07 00"});
    EXPECT_EQ(PLC_driver.frameQueue.size(), 2);
}

TEST_F(ReplyDecoder, aPreReadIsNotStored)
{
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.preReadMark = -1;
    QByteArray reply("00007\r\n");
    flying(var, 0, 5);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines());
}

TEST_F(ReplyDecoder, onlyMinusOneMarksAPreRead)
{
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.preReadMark = -2;
    QByteArray reply("00007\r\n");
    flying(var, 0, 5);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines{"1/10: 07 00"});
}

TEST_F(ReplyDecoder, withNothingInFlightNothingIsDecoded)
{
    QByteArray reply("00007\r\n");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(store(), Lines());
}

TEST_F(ReplyDecoder, withoutAReplyNothingIsDecoded)
{
    flying(variable(AREA_DM, 0, 1), 0, 5);
    SaveToLocalDataErea(nullptr);
    EXPECT_EQ(store(), Lines());
}

// ------------------------------------------------------------------------------------------------
// Negative addresses and the ceiling of 64 MiB
// -------------------------------------------------------------------------------------------------

TEST_F(ReplyDecoder, wordsBeforeZeroArePassedOver)
{
    decode(AREA_DM, -1, 2, "00001 00002");
    EXPECT_EQ(store(), Lines{"1/10: 02 00"});
}

TEST_F(ReplyDecoder, doubleWordsBeforeZeroArePassedOver)
{
    decode(AREA_Z, -2, 3, "0000000001 0000000002 0000000003");
    EXPECT_EQ(store(), Lines{"1/16: 03 00 00 00"});
}

TEST_F(ReplyDecoder, triplesBeforeZeroArePassedOver)
{
    decode(AREA_T, -1, 2, "1,0000000001,0000000002 1,0000000003,0000000004");
    EXPECT_EQ(store(), (Lines{"1/6: 01 00", "1/17: 03 00 00 00", "1/18: 04 00 00 00"}));
}

TEST_F(ReplyDecoder, aReplyThatEndsBeforeZeroStoresNothing)
{
    DataStorage[1][10] = bytes("AA BB CC DD");
    decode(AREA_DM, -5, 2, "00001 00002");
    decode(AREA_DM, std::numeric_limits<int>::min(), 1, "00001");
    EXPECT_EQ(store(), Lines{"1/10: AA BB CC DD"});
}

TEST_F(ReplyDecoder, theLastWordBelowTheCeilingIsStored)
{
    decode(AREA_DM, 33554431, 1, "00258");
    EXPECT_EQ(imageSize(1, 10), 67108864);
    EXPECT_EQ(image(1, 10, 67108860, 8), "00 00 02 01");
}

TEST_F(ReplyDecoder, wordsPastTheCeilingAreDropped)
{
    DataStorage[1][10] = bytes("AA BB");
    decode(AREA_DM, 33554432, 2, "00001 00002");
    EXPECT_EQ(store(), Lines{"1/10: AA BB"});
}

TEST_F(ReplyDecoder, moreWordsThanFitStopAtTheCeiling)
{
    decode(AREA_DM, 33554431, 1, "00258 00001 00002");
    EXPECT_EQ(imageSize(1, 10), 67108864);
    EXPECT_EQ(image(1, 10, 67108860, 8), "00 00 02 01");
}

TEST_F(ReplyDecoder, doubleWordsPastTheCeilingAreDropped)
{
    DataStorage[1][16] = bytes("AA BB");
    decode(AREA_Z, 16777216, 1, "0000000001");
    EXPECT_EQ(store(), Lines{"1/16: AA BB"});
}

// The contact of this timer lies at 16 MiB, its values would lie past 64 MiB.
TEST_F(ReplyDecoder, aTimerWhoseValuesLiePastTheCeilingKeepsItsContact)
{
    decode(AREA_T, 16777216, 1, "1,0000000001,0000000002");
    EXPECT_EQ(image(1, 6, 16777215, 3), "00 01 00");
    EXPECT_EQ(imageSize(1, 17), 0);
    EXPECT_EQ(imageSize(1, 18), 0);
}

TEST_F(ReplyDecoder, theHighestAddressesDoNotWrapAround)
{
    DataStorage[1][6] = bytes("AA");
    DataStorage[1][10] = bytes("BB CC");
    DataStorage[1][16] = bytes("DD");
    decode(AREA_T_DWORD, 2147483647, 2, "1,0000000001,0000000002 1,0000000003,0000000004");
    decode(AREA_DM, 2147483647, 3, "00001 00002 00003");
    decode(AREA_Z, 1073741824, 1, "0000000001");
    EXPECT_EQ(image(1, 6), "AA");
    EXPECT_EQ(image(1, 10), "BB CC");
    EXPECT_EQ(image(1, 16), "DD");
    EXPECT_EQ(imageSize(1, 17), 0);
    EXPECT_EQ(imageSize(1, 18), 0);
}
} // namespace
