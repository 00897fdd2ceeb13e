// SPDX-License-Identifier: MIT
// Requests to a remote area: the binary frame byte by byte, its length byte and its check byte.
#include "queued_frames.h"

namespace
{
// Bytes of a request:
//   0 length (writes)   1 ownerType   2 accessMode   3 linkId   4 station   5-6 area   7-10 address
//   11-12 count   13-16 preReadMark   17-20 field13   21.. data (writes)
//   last: low byte of the sum of all bytes before
class RemoteFrameTest : public FrameTest
{
protected:
    // A record with nothing in it but what the frame's variable needs.
    static RW_VAR plain(int station, int area, int address, int count)
    {
        RW_VAR var;
        var.station = station;
        var.area = area;
        var.address = address;
        var.count = count;
        return var;
    }

    // The only frame in the queue, as hexadecimal, with these announcements and all of \a var.
    void expectOnlyBytes(const std::string &frame, int replyLength, int payloadLength,
                         const RW_VAR &var) const
    {
        ASSERT_EQ(PLC_driver.frameQueue.size(), 1);
        const Protocol found = entry(0);
        EXPECT_EQ(hex(found.frame), frame);
        EXPECT_EQ(found.frameLength, int(frame.size() + 1) / 3);
        EXPECT_EQ(found.replyLength, replyLength);
        EXPECT_EQ(found.replyOffset, 0);
        EXPECT_EQ(found.payloadLength, payloadLength);
        EXPECT_EQ(found.extra1, 0);
        EXPECT_EQ(found.extra2, 0);
        EXPECT_EQ(found.extra3, 0);
        EXPECT_EQ(text(found.var), text(var));
        EXPECT_EQ(counters(), "0 of 1");
    }
};

template <typename Row>
std::string rowArea(const testing::TestParamInfo<Row> &info)
{
    return areaName(info.param.area);
}

// --- the fields and the check byte ---

struct FieldsRow {
    const char *name;
    int ownerType, accessMode, linkId, station, area, address, count, preReadMark, field13;
    const char *frame;
    int replyLength, payloadLength;

    friend void PrintTo(const FieldsRow &row, std::ostream *out) { *out << row.name; }
};

class RemoteRead : public RemoteFrameTest, public testing::WithParamInterface<FieldsRow>
{
protected:
    static RW_VAR record()
    {
        const FieldsRow &row = GetParam();
        RW_VAR var = marked(row.area, row.address, row.count);
        var.ownerType = row.ownerType;
        var.accessMode = row.accessMode;
        var.linkId = row.linkId;
        var.station = row.station;
        var.preReadMark = row.preReadMark;
        var.field13 = row.field13;
        return var;
    }
};

TEST_P(RemoteRead, isPackedByteByByte)
{
    RW_VAR var = record();
    Remote_ReadVar(&var);
    expectOnlyBytes(GetParam().frame, GetParam().replyLength, GetParam().payloadLength, record());
    EXPECT_EQ(entry(0).frameLength, 22);
    EXPECT_EQ(text(var), text(record())) << "the caller's record has changed";
    EXPECT_TRUE(DataStorage.isEmpty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Fields, RemoteRead, testing::Values(
    // 02 + 0A + 01 + 02 + 03 + 04 + 05 = 1B
    FieldsRow{"addressHighByteFirst", 0, 0, 0, 2, AREA_DM, 0x01020304, 5, 0, 0,
              "00 00 00 00 02 00 0A 01 02 03 04 00 05 00 00 00 00 00 00 00 00 1B", 31, 29},
    // AA ownerType to station, 10 area, 1E6 address, 03 count, 28A mark, 32 field13: 55F
    FieldsRow{"everyFieldDifferent", 0x11, 0x22, 0x33, 0x44, AREA_Z, 0x60718293, 0x0102, -1583176796, 0x0B0C0D0E,
              "00 11 22 33 44 00 10 60 71 82 93 01 02 A1 A2 A3 A4 0B 0C 0D 0E 5F", 2839, 2837},
    // 20 times FF: 13EC
    FieldsRow{"allMinus1", -1, -1, -1, -1, -1, -1, -1, -1, -1,
              "00 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF EC", -5, -7},
    // 01 + 02 + 03 + 04 + 0A + 01 = 15
    FieldsRow{"lowBytesOnly", 0x101, 0x202, 0x303, 0x404, 0x1000A, 0, 0x10001, 0, 0,
              "00 01 02 03 04 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 15", 393223, 393221},
    // three times 80, and 01: 181
    FieldsRow{"smallest", INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, 1, INT_MIN, INT_MIN,
              "00 00 00 00 00 00 00 80 00 00 00 00 01 80 00 00 00 80 00 00 00 81", 7, 5},
    // six times FF, three times 7F FF FF FF (37C), and 01: 106F
    FieldsRow{"largest", INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, 1, INT_MAX, INT_MAX,
              "00 FF FF FF FF FF FF 7F FF FF FF 00 01 7F FF FF FF 7F FF FF FF 6F", 7, 5},
    // 0A + 01: station 0 is answered when it is read
    FieldsRow{"station0", 0, 0, 0, 0, AREA_DM, 0, 1, 0, 0,
              "00 00 00 00 00 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 0B", 7, 5},
    FieldsRow{"allZero", 0, 0, 0, 0, AREA_R, 0, 0, 0, 0,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", 1, -1},
    // FF + FF + 01 + 01 + 0A + F6 = 300: the check byte is 0 again
    FieldsRow{"sumWrapsToZero", 0xFF, 0xFF, 1, 1, AREA_DM, 0xF6, 0, 0, 0,
              "00 FF FF 01 01 00 0A 00 00 00 F6 00 00 00 00 00 00 00 00 00 00 00", 1, -1},
    // the whole area number decides about the reply: 65552 is not Z, though both pack as 00 10
    FieldsRow{"areaIsComparedWhole", 0, 0, 0, 0, 65552, 0, 2, 0, 0,
              "00 00 00 00 00 00 10 00 00 00 00 00 02 00 00 00 00 00 00 00 00 12", 13, 11},
    // 01 + FF + FF + FF + FF + 01 = 3FE
    FieldsRow{"preReadOfABit", 0, 0, 0, 1, AREA_R, 0, 1, -1, 0,
              "00 00 00 00 01 00 00 00 00 00 00 00 01 FF FF FF FF 00 00 00 00 FE", 7, 5}),
    rowName<FieldsRow>);
// clang-format on

// --- the reply of every area ---

struct ReplyRow {
    int area;
    const char *areaBytes;
    const char *check; // 01 station + area bytes + 02 count
    int replyLength, payloadLength;

    friend void PrintTo(const ReplyRow &row, std::ostream *out) { *out << areaName(row.area); }
};

class RemoteReadOfArea : public RemoteFrameTest, public testing::WithParamInterface<ReplyRow>
{
};

TEST_P(RemoteReadOfArea, announcesItsReply)
{
    RW_VAR var = plain(1, GetParam().area, 0, 2);
    const RW_VAR given = var;
    Remote_ReadVar(&var);
    expectOnlyBytes(std::string("00 00 00 00 01 ") + GetParam().areaBytes +
                        " 00 00 00 00 00 02 00 00 00 00 00 00 00 00 " + GetParam().check,
                    GetParam().replyLength, GetParam().payloadLength, given);
}

// clang-format off
// Two elements: words 5 + 1 + 5, double words 10 + 1 + 10, timers 23 + 1 + 23 characters.
INSTANTIATE_TEST_SUITE_P(Areas, RemoteReadOfArea, testing::Values(
    ReplyRow{ 0, "00 00", "03", 13, 11}, ReplyRow{ 1, "00 01", "04", 13, 11},
    ReplyRow{ 2, "00 02", "05", 13, 11}, ReplyRow{ 3, "00 03", "06", 13, 11},
    ReplyRow{ 4, "00 04", "07", 13, 11}, ReplyRow{ 5, "00 05", "08", 13, 11},
    ReplyRow{ 6, "00 06", "09", 49, 47}, ReplyRow{ 7, "00 07", "0A", 49, 47},
    ReplyRow{ 8, "00 08", "0B", 13, 11}, ReplyRow{ 9, "00 09", "0C", 13, 11},
    ReplyRow{10, "00 0A", "0D", 13, 11}, ReplyRow{11, "00 0B", "0E", 13, 11},
    ReplyRow{12, "00 0C", "0F", 13, 11}, ReplyRow{13, "00 0D", "10", 13, 11},
    ReplyRow{14, "00 0E", "11", 13, 11}, ReplyRow{15, "00 0F", "12", 13, 11},
    ReplyRow{16, "00 10", "13", 23, 21}, ReplyRow{17, "00 11", "14", 13, 11},
    ReplyRow{18, "00 12", "15", 13, 11}, ReplyRow{19, "00 13", "16", 13, 11},
    ReplyRow{20, "00 14", "17", 13, 11}, ReplyRow{21, "00 15", "18", 49, 47},
    ReplyRow{22, "00 16", "19", 49, 47}, ReplyRow{23, "00 17", "1A", 23, 21},
    ReplyRow{24, "00 18", "1B", 13, 11}, ReplyRow{25, "00 19", "1C", 13, 11},
    ReplyRow{26, "00 1A", "1D", 13, 11}, ReplyRow{27, "00 1B", "1E", 13, 11},
    ReplyRow{28, "00 1C", "1F", 13, 11}, ReplyRow{29, "00 1D", "20", 13, 11},
    ReplyRow{30, "00 1E", "21", 13, 11}, ReplyRow{31, "00 1F", "22", 13, 11},
    ReplyRow{32, "00 20", "23", 13, 11}, ReplyRow{33, "00 21", "24", 13, 11},
    ReplyRow{34, "00 22", "25", 13, 11}, ReplyRow{35, "00 23", "26", 13, 11},
    ReplyRow{36, "00 24", "27", 13, 11}, ReplyRow{37, "00 25", "28", 13, 11},
    ReplyRow{38, "00 26", "29", 13, 11}, ReplyRow{39, "00 27", "2A", 13, 11},
    ReplyRow{     40, "00 28", "2B", 13, 11}, ReplyRow{     41, "00 29", "2C", 13, 11},
    ReplyRow{    255, "00 FF", "02", 13, 11}, ReplyRow{     -1, "FF FF", "01", 13, 11},
    ReplyRow{INT_MIN, "00 00", "03", 13, 11}, ReplyRow{INT_MAX, "FF FF", "01", 13, 11}),
    rowArea<ReplyRow>);
// clang-format on

TEST_F(RemoteFrameTest, readsOfNoElementsAreNotRefused)
{
    for (const int area : {AREA_DM, AREA_Z, AREA_T}) {
        PLC_driver.frameQueue.clear();
        RW_VAR var = plain(1, area, 0, 0);
        Remote_ReadVar(&var);
        EXPECT_EQ(entry(0).payloadLength, -1) << area;
        EXPECT_EQ(entry(0).replyLength, 1) << area;
    }
}

TEST_F(RemoteFrameTest, readsOfFewerThanNoElementsAreNotRefused)
{
    struct Row {
        int area, replyLength, payloadLength;
    };
    for (const Row &row : {Row{AREA_AT, -10, -12}, Row{AREA_CTC_DWORD, -23, -25}}) {
        PLC_driver.frameQueue.clear();
        RW_VAR var = plain(1, row.area, 0, -1);
        Remote_ReadVar(&var);
        EXPECT_EQ(entry(0).payloadLength, row.payloadLength) << row.area;
        EXPECT_EQ(entry(0).replyLength, row.replyLength) << row.area;
        EXPECT_EQ(hex(entry(0).frame.mid(11, 2)), "FF FF") << row.area;
    }
}

// --- writes ---

struct WriteRow {
    const char *name;
    int ownerType, accessMode, linkId, station, area, address, count, preReadMark, field13;
    const char *data;
    const char *frame;
    int replyLength;
    int key, position;
    const char *stored; // from the position to the image's end

    friend void PrintTo(const WriteRow &row, std::ostream *out) { *out << row.name; }
};

class RemoteWrite : public RemoteFrameTest, public testing::WithParamInterface<WriteRow>
{
protected:
    static RW_VAR record()
    {
        const WriteRow &row = GetParam();
        RW_VAR var = marked(row.area, row.address, row.count, row.data);
        var.ownerType = row.ownerType;
        var.accessMode = row.accessMode;
        var.linkId = row.linkId;
        var.station = row.station;
        var.preReadMark = row.preReadMark;
        var.field13 = row.field13;
        return var;
    }
};

TEST_P(RemoteWrite, isPackedByteByByteAndStored)
{
    RW_VAR var = record();
    Remote_WriteVar(&var);
    expectOnlyBytes(GetParam().frame, GetParam().replyLength, 0, record());
    EXPECT_EQ(text(var), text(record())) << "the caller's record has changed";
    EXPECT_EQ(image(GetParam().station, GetParam().key, GetParam().position, 99), GetParam().stored);
}

TEST_P(RemoteWrite, isStoredAfterAFailureToo)
{
    PLC_driver.lastFailed = 1;
    RW_VAR var = record();
    Remote_WriteVar(&var);
    expectOnlyBytes(GetParam().frame, GetParam().replyLength, 0, record());
    EXPECT_EQ(image(GetParam().station, GetParam().key, GetParam().position, 99), GetParam().stored);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Fields, RemoteWrite, testing::Values(
    // 1A + 05 + 01 + 01 + 0A + 64 + 02 + 34 + 12 + 01 = D8
    WriteRow{"fourDataBytes", 5, 1, 0, 1, AREA_DM, 100, 2, 0, 0, "34 12 01 00",
             "1A 05 01 00 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 34 12 01 00 D8", 4,
             10, 200, "34 12 01 00"},
    // 18 length, AA owner to station, 0E area, 15 address, 01 count, 28A mark, 32 field13, FD data
    WriteRow{"everyFieldDifferent", 0x11, 0x22, 0x33, 0x44, AREA_W, 0x00000A0B, 1, -1583176796, 0x0B0C0D0E, "7E 7F",
             "18 11 22 33 44 00 0E 00 00 0A 0B 00 01 A1 A2 A3 A4 0B 0C 0D 0E 7E 7F 9F", 4,
             14, 5142, "7E 7F"},
    // 16 + 01 + 0A = 21
    WriteRow{"noData", 0, 0, 0, 1, AREA_DM, 0, 0, 0, 0, "",
             "16 00 00 00 01 00 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 21", 4,
             10, 0, "absent"},
    // 1A + 01 + 10 + 05 + 01 + four times FF (3FC) = 42D
    WriteRow{"doubleWord", 0, 1, 0, 0, AREA_Z, 5, 1, 0, 0, "FF FF FF FF",
             "1A 00 01 00 00 00 10 00 00 00 05 00 01 00 00 00 00 00 00 00 00 FF FF FF FF 2D", 0,
             16, 20, "FF FF FF FF"},
    // station 0 expects no answer: 18 + 01 + 0A + 01 + 2A
    WriteRow{"station0", 0, 1, 0, 0, AREA_DM, 0, 1, 0, 0, "2A 00",
             "18 00 01 00 00 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 2A 00 4E", 0,
             10, 0, "2A 00"},
    // station 256 goes out as 00 too, but is another station
    WriteRow{"station256", 0, 1, 0, 256, AREA_DM, 0, 1, 0, 0, "2A 00",
             "18 00 01 00 00 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 2A 00 4E", 4,
             10, 0, "2A 00"},
    // 4E + FF
    WriteRow{"stationMinus1", 0, 1, 0, -1, AREA_DM, 0, 1, 0, 0, "2A 00",
             "18 00 01 00 FF 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 2A 00 4D", 4,
             10, 0, "2A 00"},
    // 19 + 01 + 01 + AF + 03 + 01 + 01 = CF; bits 175, 176, 177
    WriteRow{"relays", 0, 1, 0, 1, AREA_R, 175, 3, 0, 0, "01 00 01",
             "19 00 01 00 01 00 00 00 00 00 AF 00 03 00 00 00 00 00 00 00 00 01 00 01 CF", 4,
             0, 21, "80 02"},
    // data shorter than count is not filled up: 18 + 01 + 01 + 0A + 05 + 03 + 34 + 12 = 72
    WriteRow{"dataShort", 0, 1, 0, 1, AREA_DM, 5, 3, 0, 0, "34 12",
             "18 00 01 00 01 00 0A 00 00 00 05 00 03 00 00 00 00 00 00 00 00 34 12 72", 4,
             10, 10, "34 12"},
    // data longer than count goes out whole, but only count elements are stored
    WriteRow{"dataLong", 0, 1, 0, 1, AREA_DM, 5, 1, 0, 0, "01 00 05 00",
             "1A 00 01 00 01 00 0A 00 00 00 05 00 01 00 00 00 00 00 00 00 00 01 00 05 00 32", 4,
             10, 10, "01 00"},
    // 18 + 01 + 02 + 03 + 04 + 0A + 01 + 2A = 57
    WriteRow{"lowBytesOnly", 0x101, 0x202, 0x303, 0x404, AREA_DM, 0, 1, 0, 0, "2A 00",
             "18 01 02 03 04 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 2A 00 57", 4,
             10, 0, "2A 00"}),
    rowName<WriteRow>);
// clang-format on

// --- every area written ---

struct StoreRow {
    int area;
    const char *areaBytes;
    const char *check; // 1A length + 01 station + area bytes + 02 address + 01 count + 01 data
    int key, position;
    const char *stored; // from the position to the image's end; "" when the value is refused

    friend void PrintTo(const StoreRow &row, std::ostream *out) { *out << areaName(row.area); }
};

class RemoteWriteOfArea : public RemoteFrameTest, public testing::WithParamInterface<StoreRow>
{
};

TEST_P(RemoteWriteOfArea, isSentAndStored)
{
    const StoreRow &row = GetParam();
    RW_VAR var = plain(1, row.area, 2, 1);
    var.data = bytes("01 00 00 00");
    const RW_VAR given = var;
    Remote_WriteVar(&var);
    expectOnlyBytes(std::string("1A 00 00 00 01 ") + row.areaBytes +
                        " 00 00 00 02 00 01 00 00 00 00 00 00 00 00 01 00 00 00 " + row.check,
                    4, 0, given);
    if (*row.stored != '\0') {
        EXPECT_EQ(image(1, row.key, row.position, 99), row.stored);
    } else {
        EXPECT_EQ(takeLines(), Lines{"WriteDataToLocal default 1 " + std::to_string(row.area) + " 2"});
        EXPECT_TRUE(DataStorage.isEmpty());
    }
}

// clang-format off
// Element 2: bit 2 of byte 0, byte 2, bytes 4 and 5, bytes 8 to 11.
INSTANTIATE_TEST_SUITE_P(Areas, RemoteWriteOfArea, testing::Values(
    StoreRow{ 0, "00 00", "1F",  0, 0, "04"},    StoreRow{ 1, "00 01", "20",  1, 0, "04"},
    StoreRow{ 2, "00 02", "21",  2, 0, "04"},    StoreRow{ 3, "00 03", "22",  3, 0, "04"},
    StoreRow{ 4, "00 04", "23",  4, 0, "04"},    StoreRow{ 5, "00 05", "24",  5, 0, "04"},
    StoreRow{ 6, "00 06", "25",  6, 2, "01"},    StoreRow{ 7, "00 07", "26",  7, 2, "01"},
    StoreRow{ 8, "00 08", "27",  0, 0, ""},      StoreRow{ 9, "00 09", "28",  0, 0, ""},
    StoreRow{10, "00 0A", "29", 10, 4, "01 00"}, StoreRow{11, "00 0B", "2A", 11, 4, "01 00"},
    StoreRow{12, "00 0C", "2B", 12, 4, "01 00"}, StoreRow{13, "00 0D", "2C", 13, 4, "01 00"},
    StoreRow{14, "00 0E", "2D", 14, 4, "01 00"}, StoreRow{15, "00 0F", "2E", 15, 4, "01 00"},
    StoreRow{16, "00 10", "2F", 16, 8, "01 00 00 00"}, StoreRow{17, "00 11", "30", 17, 8, "01 00 00 00"},
    StoreRow{18, "00 12", "31", 18, 8, "01 00 00 00"}, StoreRow{19, "00 13", "32", 19, 8, "01 00 00 00"},
    StoreRow{20, "00 14", "33", 20, 8, "01 00 00 00"}, StoreRow{21, "00 15", "34", 21, 8, "01 00 00 00"},
    StoreRow{22, "00 16", "35", 22, 8, "01 00 00 00"}, StoreRow{23, "00 17", "36", 23, 8, "01 00 00 00"},
    StoreRow{24, "00 18", "37", 24, 4, "01 00"}, StoreRow{25, "00 19", "38", 25, 4, "01 00"},
    StoreRow{26, "00 1A", "39",  0, 4, "01 00"}, StoreRow{27, "00 1B", "3A",  1, 4, "01 00"},
    StoreRow{28, "00 1C", "3B",  2, 4, "01 00"}, StoreRow{29, "00 1D", "3C",  3, 4, "01 00"},
    StoreRow{30, "00 1E", "3D",  4, 4, "01 00"}, StoreRow{31, "00 1F", "3E",  5, 4, "01 00"},
    StoreRow{32, "00 20", "3F", 10, 0, "04"},    StoreRow{33, "00 21", "40", 11, 0, "04"},
    StoreRow{34, "00 22", "41", 12, 0, "04"},    StoreRow{35, "00 23", "42", 13, 0, "04"},
    StoreRow{36, "00 24", "43", 14, 0, "04"},    StoreRow{37, "00 25", "44", 15, 0, "04"},
    StoreRow{38, "00 26", "45", 24, 0, "04"},    StoreRow{39, "00 27", "46", 25, 0, "04"},
    StoreRow{     40, "00 28", "47", 0, 0, ""},  StoreRow{     41, "00 29", "48", 0, 0, ""},
    StoreRow{    255, "00 FF", "1E", 0, 0, ""},  StoreRow{     -1, "FF FF", "1D", 0, 0, ""},
    StoreRow{  65546, "00 0A", "29", 0, 0, ""},
    StoreRow{INT_MIN, "00 00", "1F", 0, 0, ""},  StoreRow{INT_MAX, "FF FF", "1D", 0, 0, ""}),
    rowArea<StoreRow>);
// clang-format on

// --- the length byte and the check byte of long frames ---

struct LengthRow {
    const char *name;
    int dataLength;
    char dataByte;
    int frameLength;
    const char *lengthByte;
    const char *check;

    friend void PrintTo(const LengthRow &row, std::ostream *out) { *out << row.name; }
};

class RemoteWriteLength : public RemoteFrameTest, public testing::WithParamInterface<LengthRow>
{
};

TEST_P(RemoteWriteLength, wrapsAsItsBytesDo)
{
    RW_VAR var = plain(1, AREA_DM, 0, 1);
    var.data = QByteArray(GetParam().dataLength, GetParam().dataByte);
    Remote_WriteVar(&var);
    ASSERT_EQ(PLC_driver.frameQueue.size(), 1);
    const Protocol found = entry(0);
    EXPECT_EQ(found.frame.size(), GetParam().frameLength);
    EXPECT_EQ(found.frameLength, GetParam().frameLength);
    EXPECT_EQ(hex(found.frame.left(1)), GetParam().lengthByte);
    EXPECT_EQ(hex(found.frame.mid(1, 20)), "00 00 00 01 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00");
    EXPECT_TRUE(found.frame.mid(21, GetParam().dataLength) == var.data);
    EXPECT_EQ(hex(found.frame.right(1)), GetParam().check);
    EXPECT_EQ(found.replyLength, 4);
    EXPECT_EQ(found.payloadLength, 0);
}

// Without data the bytes 1 to 20 sum up to 0C. The check runs over a 16-bit number of bytes, so
// that a frame of 65536 bytes and its check byte is checked over none, one byte more over its
// length byte alone.
INSTANTIATE_TEST_SUITE_P(Bytes, RemoteWriteLength,
                         testing::Values(LengthRow{"frame22", 0, '\0', 22, "16", "22"},
                                         LengthRow{"frame254", 232, '\0', 254, "FE", "0A"},
                                         LengthRow{"frame255", 233, '\0', 255, "FF", "0B"},
                                         LengthRow{"frame256", 234, '\0', 256, "00", "0C"},
                                         LengthRow{"frame257", 235, '\0', 257, "01", "0D"},
                                         LengthRow{"frame512", 490, '\0', 512, "00", "0C"},
                                         // 15 + 0C + 255 times FF (FE01)
                                         LengthRow{"frame277full", 255, '\xFF', 277, "15", "22"},
                                         // 16 + 0C + 256 times FF (FF00)
                                         LengthRow{"frame278full", 256, '\xFF', 278, "16", "22"},
                                         LengthRow{"frame1046", 1024, '\0', 1046, "16", "22"},
                                         // 00 + 0C + 65514 times 01 (FFEA)
                                         LengthRow{"frame65536", 65514, '\x01', 65536, "00", "F6"},
                                         LengthRow{"frame65537", 65515, '\x01', 65537, "01", "00"},
                                         LengthRow{"frame65538", 65516, '\x01', 65538, "02", "02"}),
                         rowName<LengthRow>);

// --- what both have in common ---

TEST_F(RemoteFrameTest, doNotAskForTheLink)
{
    handshake.clear();
    RW_VAR read = plain(3, AREA_DM, 0, 1);
    RW_VAR written = plain(3, AREA_DM, 0, 0);
    Remote_ReadVar(&read);
    Remote_WriteVar(&written);
    EXPECT_TRUE(handshake.isEmpty());
    ASSERT_EQ(PLC_driver.frameQueue.size(), 2);
    // 03 + 0A + 01, then 16 + 03 + 0A
    EXPECT_EQ(hex(entry(0).frame), "00 00 00 00 03 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 0E");
    EXPECT_EQ(hex(entry(1).frame), "16 00 00 00 03 00 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 23");
}

TEST_F(RemoteFrameTest, keepACopyOfTheirRecord)
{
    RW_VAR var = marked(AREA_DM, 5, 1, "01 00");
    const RW_VAR given = var;
    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    var.extraText = "other";
    var.addressText[0] = 'X';
    var.data[0] = '\x7F';
    EXPECT_EQ(text(entry(0).var), text(given));
    EXPECT_EQ(text(entry(1).var), text(given));
    EXPECT_EQ(hex(entry(1).frame.mid(21, 2)), "01 00");
}

TEST_F(RemoteFrameTest, leaveTheListsAlone)
{
    RW_VAR var = write(AREA_CTH, 5, 1, "01");
    PLC_driver.writeList.append(var);
    Remote_WriteVar(&var);
    EXPECT_EQ(takeLines(), Lines{"WriteDataToLocal default 1 8 5"});
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
}

TEST_F(RemoteFrameTest, keepNeighboursInTheStore)
{
    DataStorage[1][10] = bytes("11 11 22 22 33 33");
    RW_VAR var = write(AREA_DM, 1, 2, "44");
    Remote_WriteVar(&var);
    EXPECT_EQ(image(1, 10), "11 11 44 00 33 33"); // half a word given, the second not at all
}

TEST_F(RemoteFrameTest, ofNoRecordDoNothing)
{
    Remote_ReadVar(nullptr);
    Remote_WriteVar(nullptr);
    EXPECT_EQ(frames(), Lines());
    EXPECT_TRUE(DataStorage.isEmpty());
    EXPECT_EQ(counters(), untouched);
}

TEST_F(RemoteFrameTest, withoutSettingsQueueNoOtherFrames)
{
    PLC_driver.comInfo = nullptr;
    RW_VAR var = plain(1, AREA_DM, 0, 0);
    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    EXPECT_LE(PLC_driver.frameQueue.size(), 2);
    for (const Protocol &found : std::as_const(PLC_driver.frameQueue)) {
        // 01 + 0A, and 16 + 01 + 0A
        const std::string frame = hex(found.frame);
        EXPECT_TRUE(frame == "00 00 00 00 01 00 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0B" ||
                    frame == "16 00 00 00 01 00 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 21")
            << frame;
    }
    EXPECT_EQ(counters(), untouched);
}

TEST_F(RemoteFrameTest, serveEveryListInRemoteMode)
{
    settings.remoteMode = 1;
    handshake.clear();
    RW_VAR read = plain(3, AREA_DM, 100, 3);
    read.linkId = 2;
    RW_VAR written = plain(3, AREA_DM, 5, 1);
    written.linkId = 2;
    written.data = bytes("01 00");
    PLC_driver.readList.append(read);
    PLC_driver.writeList.append(written);

    // 18 + 02 + 03 + 0A + 05 + 01 + 01 = 2E
    EXPECT_EQ(hex(QByteArray::fromStdString(send())),
              "18 00 00 02 03 00 0A 00 00 00 05 00 01 00 00 00 00 00 00 00 00 01 00 2E");
    EXPECT_EQ(image(3, 10, 10, 2), "01 00");
    EXPECT_EQ(answer("OK\r\n"), 100);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 0 0 1"});
    // 02 + 03 + 0A + 64 + 03 = 76
    EXPECT_EQ(hex(QByteArray::fromStdString(send())),
              "00 00 00 02 03 00 0A 00 00 00 64 00 03 00 00 00 00 00 00 00 00 76");
}
} // namespace
