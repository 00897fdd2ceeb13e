// SPDX-License-Identifier: MIT
// Both sides of the limits that more than one part of the driver has to keep: the longest write
// frame of every device, the block length in all three calls that read it, lists at and past their
// bound up to the last answer, the first address and the one before it, the last element of an
// image and the first past it.
#include "list_test.h"

#include <ostream>

namespace
{
class Limits : public ListTest
{
};

// --- the longest write frame of every device, and one value more --------------------------------

// Text up to 1024 bytes is what a PLC's line buffer is made for; a count that passes it is a slip
// of the caller, and then the frame is built whole all the same.
struct FrameRow {
    const char *name;
    int area, address;
    const char *begin; // of the frame, up to the count
    int most;          // values in the longest frame of at most 1024 bytes
    int length, lengthWithOneMore;
};

void PrintTo(const FrameRow &row, std::ostream *out)
{
    *out << row.name;
}

class LongestWrite : public Limits, public testing::WithParamInterface<FrameRow>
{
protected:
    static constexpr bool isDouble(int area) { return area >= AREA_Z && area <= AREA_AT; }

    // Queues the write as a host does, and answers it. \return the frame
    std::string written(int count, const QByteArray &value)
    {
        RW_VAR var = write(GetParam().area, GetParam().address, count, "");
        var.data = value.repeated(count);
        AddListWriteVar(&var, 1);
        const std::string frame = send();
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
        EXPECT_TRUE(PLC_driver.writeList.isEmpty());
        return frame;
    }

    static std::string expected(int count)
    {
        std::string frame = GetParam().begin + std::to_string(count);
        for (int i = 0; i < count; ++i)
            frame += isDouble(GetParam().area) ? " 0000065535" : " 65535";
        return frame + "\r";
    }

    static QByteArray value() { return isDouble(GetParam().area) ? bytes("FF FF 00 00") : bytes("FF FF"); }
};

TEST_P(LongestWrite, isBuiltWholeAndSoIsALongerOne)
{
    const FrameRow &row = GetParam();
    link(1);
    for (const int count : {row.most, row.most + 1}) {
        const std::string frame = written(count, value());
        EXPECT_EQ(frame, expected(count));
        EXPECT_EQ(int(frame.size()), count == row.most ? row.length : row.lengthWithOneMore);
    }
    // What was written can be read: the last element of the longer one.
    const int size = int(value().size());
    const int key = row.area >= AREA_R_WORD ? row.area - AREA_R_WORD : row.area;
    const int last = (row.address + row.most) * size;
    EXPECT_EQ(image(1, key, last, size), hex(value()));
}

// clang-format off
// The head, 6 characters a word or 11 a double word, the CR. Addresses are the last of the largest
// model with such a device.
INSTANTIATE_TEST_SUITE_P(Words, LongestWrite, testing::Values(
    FrameRow{"DM",      AREA_DM,       65534, "WRS DM65534.U ",   167, 17 + 1002 + 1, 1026},
    FrameRow{"EM",      AREA_EM,       65534, "WRS EM65534.U ",   167, 17 + 1002 + 1, 1026},
    FrameRow{"FM",      AREA_FM,       32767, "WRS FM32767.U ",   167, 17 + 1002 + 1, 1026},
    FrameRow{"ZF",      AREA_ZF,      524287, "WRS ZF524287.U ",  167, 18 + 1002 + 1, 1027},
    FrameRow{"W",       AREA_W,        32767, "WRS W7FFF.U ",     168, 15 + 1008 + 1, 1030},
    FrameRow{"TM",      AREA_TM,         511, "WRS TM511.U ",     168, 15 + 1008 + 1, 1030},
    FrameRow{"CM",      AREA_CM,        7599, "WRS CM7599.U ",    167, 16 + 1002 + 1, 1025},
    FrameRow{"VM",      AREA_VM,      589823, "WRS VM589823.U ",  167, 18 + 1002 + 1, 1027},
    FrameRow{"R_word",  AREA_R_WORD,    1999, "WRS R199900.U ",   167, 17 + 1002 + 1, 1026},
    FrameRow{"B_word",  AREA_B_WORD,    2047, "WRS B7FF0.U ",     168, 15 + 1008 + 1, 1030},
    FrameRow{"MR_word", AREA_MR_WORD,   3999, "WRS MR399900.U ",  167, 18 + 1002 + 1, 1027},
    FrameRow{"LR_word", AREA_LR_WORD,    999, "WRS LR99900.U ",   167, 17 + 1002 + 1, 1026},
    FrameRow{"CR_word", AREA_CR_WORD,     79, "WRS CR7900.U ",    167, 16 + 1002 + 1, 1025},
    FrameRow{"VB_word", AREA_VB_WORD,   3999, "WRS VBF9F0.U ",    167, 16 + 1002 + 1, 1025}),
    [](const auto &test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(DoubleWords, LongestWrite, testing::Values(
    FrameRow{"Z",   AREA_Z,           12, "WRS Z12.D ",    91, 12 + 1001 + 1, 1025},
    FrameRow{"T",   AREA_T_DWORD,   3999, "WRS T3999.D ",  91, 14 + 1001 + 1, 1027},
    FrameRow{"TS",  AREA_TS,        3999, "WRS TS3999.D ", 91, 15 + 1001 + 1, 1028},
    FrameRow{"C",   AREA_C_DWORD,   3999, "WRS C3999.D ",  91, 14 + 1001 + 1, 1027},
    FrameRow{"CS",  AREA_CS,        3999, "WRS CS3999.D ", 91, 15 + 1001 + 1, 1028},
    FrameRow{"CTH", AREA_CTH_DWORD,    1, "WRS CTH1.D ",   91, 13 + 1001 + 1, 1026},
    FrameRow{"CTC", AREA_CTC_DWORD,    3, "WRS CTC3.D ",   91, 13 + 1001 + 1, 1026},
    FrameRow{"AT",  AREA_AT,           7, "WRS AT7.D ",    91, 12 + 1001 + 1, 1025}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// The lowest value has ten digits and a sign, one character more than the others.
class LongestSignedWrite : public Limits
{
};

TEST_F(LongestSignedWrite, hasFewerValues)
{
    link(1);
    for (const int count : {84, 85}) {
        RW_VAR var = write(AREA_T_DWORD, 3999, count, "");
        var.data = bytes("00 00 00 80").repeated(count);
        AddListWriteVar(&var, 1);
        std::string frame = "WRS T3999.D " + std::to_string(count);
        for (int i = 0; i < count; ++i)
            frame += " -2147483648";
        EXPECT_EQ(send(), frame + "\r");
        EXPECT_EQ(frame.size() + 1, count == 84 ? 1023U : 1035U); // 14 + 12 * count + 1
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    }
}

// A host's write is cut at 128 elements: words stay below 1024 bytes, 128 double words are 1421.
TEST_F(Limits, theLongestPieceOfAHostsWriteIsBuiltWhole)
{
    link(1);
    settings.maxBlockLength = 129;
    const QByteArray data = bytes("FF FF 00 00").repeated(129);
    EXPECT_EQ(SetRegisterData("", AREA_Z, "0", 1, data, 258, 5, 50), 2);
    std::string frame = "WRS Z0.D 128";
    for (int i = 0; i < 128; ++i)
        frame += " 0000065535";
    EXPECT_EQ(send(), frame + "\r");
    EXPECT_EQ(frame.size() + 1, 1421U); // 12 + 1408 + 1
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(send(), "WRS Z128.D 1 0000065535\r");
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

struct RelayRow {
    const char *name;
    int area, address;
    const char *frame;
};

void PrintTo(const RelayRow &row, std::ostream *out)
{
    *out << row.name;
}

class RelayWrite : public Limits, public testing::WithParamInterface<RelayRow>
{
};

// One relay is all that a relay frame can write; more elements make it no longer.
TEST_P(RelayWrite, takesOneElementAndNoMore)
{
    link(1);
    for (const int count : {1, 2}) {
        RW_VAR var = write(GetParam().area, GetParam().address, count, "01 01");
        AddListWriteVar(&var, 1);
        EXPECT_EQ(send(), GetParam().frame);
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    }
}

INSTANTIATE_TEST_SUITE_P(Devices, RelayWrite,
                         testing::Values(RelayRow{"R", AREA_R, 31999, "ST R199915\r"},
                                         RelayRow{"B", AREA_B, 32767, "ST B7fff\r"},
                                         RelayRow{"MR", AREA_MR, 63999, "ST MR399915\r"},
                                         RelayRow{"LR", AREA_LR, 15999, "ST LR99915\r"},
                                         RelayRow{"CR", AREA_CR, 1279, "ST CR7915\r"},
                                         RelayRow{"VB", AREA_VB, 63999, "ST VBf9ff\r"}),
                         [](const auto &test) { return std::string(test.param.name); });

struct BitRow {
    const char *name;
    int area, address;
    const char *read, *write;
};

void PrintTo(const BitRow &row, std::ostream *out)
{
    *out << row.name;
}

class WordBitWrite : public Limits, public testing::WithParamInterface<BitRow>
{
};

// Bit 15 of the last word; the word's other bits come from the PLC.
TEST_P(WordBitWrite, takesOneElementAndNoMore)
{
    link(1);
    for (const int count : {1, 2}) {
        RW_VAR var = write(GetParam().area, GetParam().address, count, "01 01");
        AddListWriteVar(&var, 1);
        EXPECT_EQ(send(), GetParam().read);
        EXPECT_EQ(answer("32767\r\n"), 1);
        EXPECT_EQ(send(), GetParam().write);
        EXPECT_EQ(answer("OK\r\n"), 1);
        EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Devices, WordBitWrite, testing::Values(
    BitRow{"DM", AREA_DM_BIT, 1048559, "RDS DM65534.U 1\r",  "WRS DM65534.U 1 65535\r"},
    BitRow{"EM", AREA_EM_BIT, 1048559, "RDS EM65534.U 1\r",  "WRS EM65534.U 1 65535\r"},
    BitRow{"FM", AREA_FM_BIT,  524287, "RDS FM32767.U 1\r",  "WRS FM32767.U 1 65535\r"},
    BitRow{"ZF", AREA_ZF_BIT, 8388607, "RDS ZF524287.U 1\r", "WRS ZF524287.U 1 65535\r"},
    BitRow{"W",  AREA_W_BIT,   524287, "RDS W7FFF.U 1\r",    "WRS W7FFF.U 1 65535\r"},
    BitRow{"TM", AREA_TM_BIT,    8191, "RDS TM511.U 1\r",    "WRS TM511.U 1 65535\r"},
    BitRow{"CM", AREA_CM_BIT,  121599, "RDS CM7599.U 1\r",   "WRS CM7599.U 1 65535\r"},
    BitRow{"VM", AREA_VM_BIT, 9437183, "RDS VM589823.U 1\r", "WRS VM589823.U 1 65535\r"}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// --- block length 0, 1, 128, 129 in every call that reads it ------------------------------------

struct BlockRow {
    const char *name;
    int length, count;
    const char *reads;  // blocks from address 0 on, in the read list and in the list of one-shot reads
    const char *writes; // pieces of a host's write
    int lengthAfterWrite;
};

void PrintTo(const BlockRow &row, std::ostream *out)
{
    *out << row.name;
}

class BlockLength : public Limits, public testing::WithParamInterface<BlockRow>
{
protected:
    void SetUp() override { settings.maxBlockLength = GetParam().length; }

    // "0 +128, 128 +1"
    static std::string blocks(const QList<RW_VAR> &list, int area)
    {
        std::string text;
        for (int i = 0; i < list.size(); ++i) {
            EXPECT_EQ(list.at(i).area, area);
            text += (i == 0 ? "" : ", ") + std::to_string(list.at(i).address) + " +" +
                    std::to_string(list.at(i).count);
        }
        return text;
    }
};

TEST_P(BlockLength, cutsTheReadList)
{
    HOSTVAR shown;
    shown.area = AREA_DM;
    shown.station = 1;
    shown.addressText = "0";
    shown.count = GetParam().count;
    QList<HOSTVAR> screen{shown};
    ReCreatReadVarList(&screen);
    EXPECT_EQ(blocks(PLC_driver.readList, AREA_DM), GetParam().reads);
    EXPECT_EQ(settings.maxBlockLength, GetParam().length);
    EXPECT_EQ(takeLines().size(), std::size_t(PLC_driver.readList.size()) + 1); // the listing and its title
}

TEST_P(BlockLength, cutsAOneShotRead)
{
    RW_VAR var = variable(AREA_DM, 0, GetParam().count);
    var.addressText = "0";
    const int size = AddListOnceReadVar(&var, 0);
    EXPECT_EQ(size, PLC_driver.onceReadList.size());
    EXPECT_EQ(blocks(PLC_driver.onceReadList, AREA_DM), GetParam().reads);
    EXPECT_EQ(settings.maxBlockLength, GetParam().length);
}

TEST_P(BlockLength, cutsAHostsWrite)
{
    const QByteArray data(2 * GetParam().count, '\x11');
    const int size = SetRegisterData("", AREA_DM, "0", 1, data, GetParam().count, 5, 50);
    EXPECT_EQ(size, PLC_driver.writeList.size());
    EXPECT_EQ(blocks(PLC_driver.writeList, AREA_DM), GetParam().writes);
    EXPECT_EQ(settings.maxBlockLength, GetParam().lengthAfterWrite);
}

TEST_P(BlockLength, cutsAHostsWriteOfDoubleWords)
{
    const QByteArray data(4 * GetParam().count, '\x11');
    SetRegisterData("", AREA_Z, "0", 1, data, 2 * GetParam().count, 5, 50);
    EXPECT_EQ(blocks(PLC_driver.writeList, AREA_Z), GetParam().writes);
    EXPECT_EQ(settings.maxBlockLength, GetParam().lengthAfterWrite);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Of, BlockLength, testing::Values(
    BlockRow{"length0",          0,   2, "0 +1, 1 +1",       "0 +1, 1 +1",       0},
    BlockRow{"length1",          1,   2, "0 +1, 1 +1",       "0 +1, 1 +1",       1},
    BlockRow{"length127",      127, 129, "0 +127, 127 +2",   "0 +127, 127 +2",   127},
    BlockRow{"length128full",  128, 128, "0 +128",              "0 +128",              128},
    BlockRow{"length128",      128, 129, "0 +128, 128 +1",   "0 +128, 128 +1",   128},
    BlockRow{"length129full",  129, 129, "0 +129",              "0 +128, 128 +1",   128},
    BlockRow{"length129",      129, 130, "0 +129, 129 +1",   "0 +128, 128 +2",   128}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// --- lists of 1023, 1024 and 1025 entries, up to the last answer --------------------------------

struct ListRow {
    const char *name;
    int entries; // before
    int added;   // list size that a further one finds
    int forced;  // and one that is appended whatever the size
};

void PrintTo(const ListRow &row, std::ostream *out)
{
    *out << row.name;
}

class ListLength : public Limits, public testing::WithParamInterface<ListRow>
{
protected:
    void SetUp() override { link(1); }

    // The exchanges until nothing is left. \return frames sent
    static std::vector<std::string> drained(const char *reply)
    {
        std::vector<std::string> sent;
        for (int i = 0; i < 3000; ++i) {
            const std::string frame = send();
            if (!frame.empty()) {
                sent.push_back(frame);
                EXPECT_EQ(answer(reply), 1);
            }
        }
        return sent;
    }

    static std::vector<std::string> framesTo(int last, const std::string &begin, const std::string &end)
    {
        std::vector<std::string> all;
        for (int i = 0; i <= last; ++i)
            all.push_back(begin + std::to_string(i) + end);
        return all;
    }

    // As many reports as entries: each has an owner of its own.
    Lines toldTo(int last) { return framesTo(last, "notify 77 5 ", " 1"); }
};

TEST_P(ListLength, ofWritesIsServedToTheLast)
{
    const int before = GetParam().entries;
    RW_VAR var = write(AREA_DM, 0, 1, "07 00");
    const auto add = [&var](int address, int mode) {
        var.address = var.ownerId = address;
        return AddListWriteVar(&var, mode);
    };
    for (int i = 0; i < before; ++i)
        EXPECT_EQ(add(i, 1), i + 1);
    EXPECT_EQ(add(before, 0), GetParam().added);
    const bool taken = GetParam().added > before;
    EXPECT_EQ(add(taken ? before + 1 : before, 1), GetParam().forced);
    const int last = GetParam().forced - 1;
    EXPECT_EQ(drained("OK\r\n"), framesTo(last, "WRS DM", ".U 1 00007\r"));
    EXPECT_EQ(takeCallbacks(), toldTo(last));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_P(ListLength, ofOneShotReadsIsServedToTheLast)
{
    const int before = GetParam().entries;
    RW_VAR var = variable(AREA_DM, 0, 1);
    const auto add = [&var](int address, int mode) {
        var.address = var.ownerId = address;
        var.addressText = QString::number(address);
        return AddListOnceReadVar(&var, mode);
    };
    for (int i = 0; i < before; ++i)
        EXPECT_EQ(add(i, 1), i + 1);
    EXPECT_EQ(add(before, 0), GetParam().added);
    const bool taken = GetParam().added > before;
    EXPECT_EQ(add(taken ? before + 1 : before, 1), GetParam().forced);
    const int last = GetParam().forced - 1;
    EXPECT_EQ(drained("00007\r\n"), framesTo(last, "RDS DM", ".U 1\r"));
    EXPECT_EQ(takeCallbacks(), toldTo(last));
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Of, ListLength, testing::Values(
    ListRow{"1022", 1022, 1023, 1024},
    ListRow{"1023", 1023, 1024, 1025},
    ListRow{"1024", 1024, 1024, 1025},
    ListRow{"1025", 1025, 1025, 1026}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// The list of cyclic reads has no bound, and none is needed: it is the screens' own.
TEST_F(Limits, theReadListPasses1025)
{
    QList<HOSTVAR> screen;
    for (int i = 0; i < 1025; ++i) {
        HOSTVAR shown;
        shown.area = AREA_T; // each timer is a block of its own
        shown.station = 1;
        shown.addressText = QString::number(i);
        shown.count = 2;
        screen.append(shown);
        if (i >= 1022) {
            EXPECT_EQ(ReCreatReadVarList(&screen), i + 1);
        }
    }
    EXPECT_EQ(PLC_driver.readList.last().address, 1024);
    EXPECT_EQ(takeLines().size(), 3U + 1023 + 1024 + 1025);
}

// --- address 0 and the one before it ------------------------------------------------------------

struct EdgeRow {
    const char *name;
    int area;
    const char *reply; // two elements from -1 on, or one from 0 on
    const char *second;
    std::vector<const char *> images; // afterwards: "key: bytes"
};

void PrintTo(const EdgeRow &row, std::ostream *out)
{
    *out << row.name;
}

class FirstAddress : public Limits, public testing::WithParamInterface<EdgeRow>
{
protected:
    static void read(int address, int count, const std::string &reply)
    {
        link(1);
        RW_VAR var = variable(GetParam().area, address, count);
        AddListReadVar(&var);
        EXPECT_NE(send(), "");
        EXPECT_EQ(answer((reply + "\r\n").c_str()), 1);
        PLC_driver.readList.clear();
    }

    static Lines images()
    {
        Lines all;
        const QMap<int, QByteArray> keys = DataStorage.value(1);
        for (auto range = keys.constBegin(); range != keys.constEnd(); ++range) {
            if (range->size() > 0 && range->count('\0') < range->size())
                all.push_back(std::to_string(range.key()) + ": " + hex(*range));
        }
        return all;
    }

    static Lines expected() { return Lines(GetParam().images.begin(), GetParam().images.end()); }
};

// Elements before 0 are nowhere; the first one keeps its place.
TEST_P(FirstAddress, isReadAsTheSecondOfTwoFromMinus1On)
{
    read(-1, 2, std::string(GetParam().reply) + " " + GetParam().second);
    EXPECT_EQ(images(), expected());
}

TEST_P(FirstAddress, isReadAlone)
{
    read(0, 1, GetParam().second);
    EXPECT_EQ(images(), expected());
}

TEST_P(FirstAddress, isLeftAloneByTheOneBefore)
{
    read(-1, 1, GetParam().second);
    EXPECT_EQ(images(), Lines());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Words, FirstAddress, testing::Values(
    EdgeRow{"R",  AREA_R,  "00001", "00258", {"0: 02 01"}},
    EdgeRow{"B",  AREA_B,  "00001", "00258", {"1: 02 01"}},
    EdgeRow{"MR", AREA_MR, "00001", "00258", {"2: 02 01"}},
    EdgeRow{"LR", AREA_LR, "00001", "00258", {"3: 02 01"}},
    EdgeRow{"CR", AREA_CR, "00001", "00258", {"4: 02 01"}},
    EdgeRow{"VB", AREA_VB, "00001", "00258", {"5: 02 01"}},
    EdgeRow{"DM", AREA_DM, "00001", "00258", {"10: 02 01"}},
    EdgeRow{"EM", AREA_EM, "00001", "00258", {"11: 02 01"}},
    EdgeRow{"FM", AREA_FM, "00001", "00258", {"12: 02 01"}},
    EdgeRow{"ZF", AREA_ZF, "00001", "00258", {"13: 02 01"}},
    EdgeRow{"W",  AREA_W,  "00001", "00258", {"14: 02 01"}},
    EdgeRow{"TM", AREA_TM, "00001", "00258", {"15: 02 01"}},
    EdgeRow{"CM", AREA_CM, "00001", "00258", {"24: 02 01"}},
    EdgeRow{"VM", AREA_VM, "00001", "00258", {"25: 02 01"}}),
    [](const auto &test) { return std::string(test.param.name); });

// A read of T or C sizes 2 bytes for each contact.
INSTANTIATE_TEST_SUITE_P(DoubleWords, FirstAddress, testing::Values(
    EdgeRow{"Z",   AREA_Z,  "0000000001", "0000000258", {"16: 02 01 00 00"}},
    EdgeRow{"AT",  AREA_AT, "0000000001", "0000000258", {"23: 02 01 00 00"}},
    EdgeRow{"T",   AREA_T, "1,0000000001,0000000002", "1,0000000003,0000000004",
            {"6: 01 00", "17: 03 00 00 00", "18: 04 00 00 00"}},
    EdgeRow{"C",   AREA_C, "1,0000000001,0000000002", "1,0000000003,0000000004",
            {"7: 01 00", "19: 03 00 00 00", "20: 04 00 00 00"}},
    EdgeRow{"CTH", AREA_CTH_DWORD, "1,0000000001,0000000002", "1,0000000003,0000000004",
            {"8: 01", "21: 03 00 00 00"}},
    EdgeRow{"CTC", AREA_CTC_DWORD, "1,0000000001,0000000002", "1,0000000003,0000000004",
            {"9: 01", "22: 04 00 00 00"}}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

struct TextRow {
    const char *name;
    int area;
    const char *zero, *before; // address texts of element 0 and of the one before it
    const char *logged;        // text in the parser's line about the latter
    int bytes;                 // of one element
    const char *queued;        // the write to element 0, as area, address and count
};

void PrintTo(const TextRow &row, std::ostream *out)
{
    *out << row.name;
}

class AddressBeforeZero : public Limits, public testing::WithParamInterface<TextRow>
{
protected:
    void expectLogged()
    {
        EXPECT_EQ(takeLines(), Lines{"StringAddressToInt " + std::to_string(GetParam().area) + " \"" +
                                     GetParam().logged + "\" "});
    }
};

TEST_P(AddressBeforeZero, isRefusedByEveryCall)
{
    const TextRow &row = GetParam();
    QByteArray out("old");
    EXPECT_EQ(GetRegisterData(0, row.area, row.before, 1, &out, 3), 0);
    EXPECT_EQ(hex(out), "00 00 00 00 00 00") << "two bytes an element, whatever the area";
    expectLogged();
    EXPECT_EQ(SetRegisterData("", row.area, row.before, 1, bytes("01 00 00 00"), 1, 5, 50), 0);
    expectLogged();
    RW_VAR var = variable(row.area, 0, 1);
    var.addressText = row.before;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 0);
    expectLogged();
    HOSTVAR shown;
    shown.area = quint8(row.area);
    shown.addressText = row.before;
    shown.count = 1;
    QList<HOSTVAR> screen{shown};
    EXPECT_EQ(ReCreatReadVarList(&screen), 0);
    takeLines();
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST_P(AddressBeforeZero, leavesElement0ToBeWrittenAndRead)
{
    const TextRow &row = GetParam();
    EXPECT_EQ(SetRegisterData("", row.area, row.zero, 1, bytes("01 00 00 00"), 1, 5, 50), 1);
    EXPECT_EQ(entries(PLC_driver.writeList), row.queued);
    settings.commMode = 0;
    EXPECT_EQ(SetRegisterData("", row.area, row.zero, 1, bytes("01 00 00 00"), 1, 5, 50), 1);
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, row.area, row.zero, 1, &out, 1), 1);
    EXPECT_EQ(hex(out), hex(bytes("01 00 00 00").left(row.bytes)));
}

// clang-format off
// "-1" of a decimal relay is bit -1 of channel 0; "-1" of a hexadecimal word has the word "0-".
INSTANTIATE_TEST_SUITE_P(Texts, AddressBeforeZero, testing::Values(
    TextRow{"R",       AREA_R,         "0",   "-1",    "00-1", 1, "0 0 +1"},
    TextRow{"B",       AREA_B,         "0",   "-1",    "-1",   1, "1 0 +1"},
    TextRow{"DM",      AREA_DM,        "0",   "-1",    "-1",   2, "10 0 +1"},
    TextRow{"W",       AREA_W,         "0",   "-1",    "-1",   2, "14 0 +1"},
    TextRow{"Z",       AREA_Z,         "0",   "-1",    "-1",   4, "16 0 +1"},
    TextRow{"TS",      AREA_TS,        "0",   "-1",    "-1",   4, "18 0 +1"},
    TextRow{"R_word",  AREA_R_WORD,    "0",   "-100",  "00-100", 2, "26 0 +1"},
    TextRow{"B_word",  AREA_B_WORD,    "0",   "-1",    "0-1",  2, "27 0 +1"},
    TextRow{"DM_bit",  AREA_DM_BIT,    "0.0", "0.-1",  "0.-1", 1, "32 0 +1"},
    TextRow{"DM_word", AREA_DM_BIT,    "0.0", "-1.15", "-1.15", 1, "32 0 +1"},
    TextRow{"W_bit",   AREA_W_BIT,     "0.0", "-1.15", "-1.15", 1, "36 0 +1"}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// --- the last element of an image of 64 MiB, and the first past it ------------------------------

struct CeilingRow {
    const char *name;
    int area, last;
    const char *reply;
    int key;
    const char *lastFour;
};

void PrintTo(const CeilingRow &row, std::ostream *out)
{
    *out << row.name;
}

class ReadAtTheCeiling : public Limits, public testing::WithParamInterface<CeilingRow>
{
protected:
    static void read(int address)
    {
        RW_VAR var = variable(GetParam().area, address, 1);
        AddListReadVar(&var);
        EXPECT_NE(send(), "");
        EXPECT_EQ(answer((std::string(GetParam().reply) + "\r\n").c_str()), 1);
        PLC_driver.readList.clear();
    }

    static qint64 size(int key) { return DataStorage.value(1).value(key).size(); }
};

TEST_P(ReadAtTheCeiling, theLastElementIsStoredAndTheNextIsDropped)
{
    link(1);
    read(GetParam().last + 1);
    EXPECT_EQ(size(GetParam().key), 0);
    read(GetParam().last);
    EXPECT_EQ(size(GetParam().key), 67108864);
    EXPECT_EQ(image(1, GetParam().key, 67108860, 4), GetParam().lastFour);
    read(GetParam().last + 1);
    EXPECT_EQ(size(GetParam().key), 67108864);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Of, ReadAtTheCeiling, testing::Values(
    CeilingRow{"words",        AREA_DM, 33554431, "00258",      10, "00 00 02 01"},
    CeilingRow{"channels",     AREA_R,  33554431, "00258",       0, "00 00 02 01"},
    CeilingRow{"doubleWords",  AREA_Z,  16777215, "0016909060", 16, "04 03 02 01"},
    CeilingRow{"timerValues",  AREA_T,  16777215, "1,0016909060,0000000000", 17, "04 03 02 01"},
    CeilingRow{"setValues",    AREA_C,  16777215, "1,0000000000,0016909060", 20, "04 03 02 01"},
    CeilingRow{"counters",     AREA_CTH_DWORD, 16777215, "1,0016909060,0000000000", 21, "04 03 02 01"}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

struct LastReadRow {
    const char *name;
    int area, key;
    const char *last, *next; // address texts
    const char *value;
    qint64 sized; // the image that a read of the last element makes, where there was none
};

void PrintTo(const LastReadRow &row, std::ostream *out)
{
    *out << row.name;
}

class HostReadAtTheCeiling : public Limits, public testing::WithParamInterface<LastReadRow>
{
};

TEST_P(HostReadAtTheCeiling, theLastElementIsThereAndTheNextIs0)
{
    const LastReadRow &row = GetParam();
    DataStorage[1][row.key] = bytes("FF");
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, row.area, row.next, 1, &out, 1), 1);
    EXPECT_EQ(out.count('\0'), out.size());
    EXPECT_EQ(DataStorage[1][row.key].size(), 1) << "not grown";
    EXPECT_EQ(GetRegisterData(0, row.area, row.last, 1, &out, 1), 1);
    EXPECT_EQ(out.count('\0'), out.size());
    EXPECT_EQ(DataStorage[1][row.key].size(), row.sized);
    DataStorage[1][row.key] = QByteArray(67108864, '\xFF');
    EXPECT_EQ(GetRegisterData(0, row.area, row.last, 1, &out, 1), 1);
    EXPECT_EQ(hex(out), row.value);
    EXPECT_EQ(GetRegisterData(0, row.area, row.next, 1, &out, 1), 1);
    EXPECT_EQ(out.count('\0'), out.size());
}

// clang-format off
// Bits of relays and contacts are sized with 2 bytes each, so they pass the ceiling far too early.
INSTANTIATE_TEST_SUITE_P(Of, HostReadAtTheCeiling, testing::Values(
    LastReadRow{"words",       AREA_DM,      10, "33554431",     "33554432",     "FF FF", 67108864},
    LastReadRow{"channels",    AREA_R_WORD,   0, "3355443100",   "3355443200",   "FF FF", 67108864},
    LastReadRow{"doubleWords", AREA_Z,       16, "16777215",     "16777216",     "FF FF FF FF", 67108864},
    LastReadRow{"timers",      AREA_T_DWORD, 17, "16777215",     "16777216",     "FF FF FF FF", 67108864},
    LastReadRow{"bitsOfWords", AREA_DM_BIT,  10, "33554431.15",  "33554432.0",   "01", 67108864},
    LastReadRow{"relays",      AREA_B,        1, "1FFFFFFF",     "20000000",     "01", 1},
    LastReadRow{"contacts",    AREA_T,        6, "67108863",     "67108864",     "FF", 1}),
    [](const auto &test) { return std::string(test.param.name); });
// clang-format on

// The longest answers that a screen can get, element by element size; one element more is refused.
TEST_F(Limits, theLongestHostReads)
{
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, AREA_DM, "0", 1, &out, 33554432), 1);
    EXPECT_EQ(out.size(), 67108864);
    EXPECT_EQ(GetRegisterData(0, AREA_DM, "0", 1, &out, 33554433), 0);
    EXPECT_EQ(out.size(), 0);
}
} // namespace
