// SPDX-License-Identifier: MIT
#include "bench.h"
#include "requests/remote_request.h"

#include <gtest/gtest.h>

namespace
{

// "1A 00 FF" to its bytes.
std::string bytes(std::string_view hex)
{
    std::string result;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
        result.push_back(char(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return result;
}

std::string bigEndian(std::uint32_t value, int count)
{
    std::string text;
    for (int i = count - 1; i >= 0; --i)
        text.push_back(char(value >> (8 * i) & 0xFFU));
    return text;
}

std::string withSum(std::string request)
{
    unsigned sum = 0;
    for (const char c : request)
        sum += static_cast<unsigned char>(c);
    return request + char(sum & 0xFFU);
}

std::string readRequest(std::uint32_t area, std::uint32_t address, std::uint32_t count, unsigned station = 2)
{
    return withSum(std::string(4, '\0') + char(station) + bigEndian(area, 2) + bigEndian(address, 4) +
                   bigEndian(count, 2) + std::string(8, '\0'));
}

std::string writeRequest(std::uint32_t area, std::uint32_t address, std::uint32_t count,
                         const std::string &data, unsigned station = 2)
{
    std::string request(1, char((22 + data.size()) % 256));
    request += bytes("00 01 00") + char(station) + bigEndian(area, 2) + bigEndian(address, 4);
    return withSum(request + bigEndian(count, 2) + std::string(8, '\0') + data);
}

class Remote : public testing::Test
{
protected:
    std::string answerOf(const kvsim::RemoteRequest &request)
    {
        std::string received;
        for (const kvsim::Step &step : bench.simulator.serveRemote(request).steps)
            received += step.bytes;
        return received;
    }

    // Answers to all complete requests in the bytes.
    std::string send(std::string_view sent)
    {
        std::string received;
        while (const auto request = reader.next(sent))
            received += answerOf(*request);
        return received;
    }

    std::string silence()
    {
        const auto request = reader.silence();
        return request ? answerOf(*request) : "";
    }

    std::string text(const char *line) { return bench.opened().send(std::string(line) + "\r"); }

    Bench bench;
    kvsim::RemoteReader reader;
};

TEST_F(Remote, readsWords)
{
    text("WRS DM100 3 1 2 65535");
    EXPECT_EQ(send(bytes("00 00 00 00 02 00 0A 00 00 00 64 00 03 00 00 00 00 00 00 00 00 73")),
              "00001 00002 65535\r\n");
}

TEST_F(Remote, writesWords)
{
    EXPECT_EQ(send(bytes("1A 00 01 00 02 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 01 00 02 00 90")),
              "OK\r\n");
    EXPECT_EQ(text("RDS DM100 3"), "00001 00002 00000\r\n");
}

TEST_F(Remote, refusesAWrongChecksumAfterASilence)
{
    EXPECT_EQ(send(bytes("1A 00 01 00 02 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 01 00 02 00 91")),
              "");
    EXPECT_EQ(silence(), "E1\r\n");
    EXPECT_EQ(text("RDS DM100 2"), "00000 00000\r\n");
}

TEST_F(Remote, refusesAWrongLengthAfterASilence)
{
    // Byte 0 says one byte more than area and count do.
    EXPECT_EQ(send(bytes("1B 00 01 00 02 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 01 00 02 00 91")),
              "");
    EXPECT_EQ(silence(), "E1\r\n");
    EXPECT_EQ(text("RDS DM100 2"), "00000 00000\r\n");
}

TEST_F(Remote, refusesAnUnfinishedRequestAfterASilence)
{
    EXPECT_EQ(send(readRequest(10, 0, 1).substr(0, 21)), "");
    EXPECT_EQ(silence(), "E1\r\n");
    EXPECT_EQ(send(readRequest(10, 0, 1)), "00000\r\n");
}

TEST_F(Remote, takesNothingFromTheSameBurstAfterABrokenRequest)
{
    std::string broken = writeRequest(10, 0, 1, bytes("05 00"));
    broken.back() = char(broken.back() + 1);
    EXPECT_EQ(send(broken + writeRequest(10, 1, 1, bytes("06 00"))), "");
    EXPECT_EQ(silence(), "E1\r\n");
    EXPECT_EQ(silence(), "");
    EXPECT_EQ(text("RDS DM0 2"), "00000 00000\r\n");
}

TEST_F(Remote, isSilentAboutSilence)
{
    EXPECT_EQ(silence(), "");
    EXPECT_EQ(send(readRequest(10, 0, 1)), "00000\r\n");
    EXPECT_EQ(silence(), "");
}

TEST_F(Remote, joinsRequestsCutAnywhere)
{
    const std::string both = writeRequest(10, 7, 2, bytes("34 12 FF FF")) + readRequest(10, 7, 2);
    for (std::size_t cut = 1; cut < both.size(); ++cut) {
        text("WRS DM7 2 0 0");
        const std::string first = send(both.substr(0, cut));
        EXPECT_EQ(first + send(both.substr(cut)), "OK\r\n04660 65535\r\n") << "cut after byte " << cut;
    }
}

TEST_F(Remote, joinsSingleBytes)
{
    std::string received;
    for (const char byte : readRequest(10, 0, 2) + readRequest(23, 0, 1))
        received += send(std::string(1, byte));
    EXPECT_EQ(received, "00000 00000\r\n0000000000\r\n");
}

TEST_F(Remote, takesWritesOfEveryLengthBeyondOneByte)
{
    // 117 words make 256 bytes: byte 0 is 0, as in a read. 118 words make 258, 245 make 512.
    for (const unsigned count : {116U, 117U, 118U, 245U, 1000U}) {
        std::string data;
        for (unsigned i = 0; i < count; ++i)
            data += {char(i + 1), 0};
        EXPECT_EQ(send(writeRequest(10, 0, count, data)), "OK\r\n") << count;
        EXPECT_EQ(text("RDS DM114 3"), count > 116 ? "00115 00116 00117\r\n" : "00115 00116 00000\r\n");
        text(("WRS DM0.U 117" +
              [] {
                  std::string zeros;
                  for (int i = 0; i < 117; ++i)
                      zeros += " 0";
                  return zeros;
              }())
                 .c_str());
    }
}

TEST_F(Remote, takesAReadOf117WordsForARead)
{
    EXPECT_EQ(send(readRequest(10, 0, 117)).size(), 117U * 6 + 1);
}

TEST_F(Remote, keepsQuietAboutWritesToStation0)
{
    EXPECT_EQ(send(writeRequest(10, 3, 1, bytes("07 00"), 0)), "");
    EXPECT_EQ(text("RD DM3"), "00007\r\n");
    EXPECT_EQ(send(writeRequest(10, 65535, 1, bytes("07 00"), 0)), "");
    EXPECT_EQ(send(readRequest(10, 3, 1, 0)), "00007\r\n");
}

TEST_F(Remote, isStruckByFaults)
{
    ASSERT_NE(bench.fault("error:E5 cmd remote-read dev DM10"), 0);
    ASSERT_NE(bench.fault("silent cmd remote-write"), 0);
    ASSERT_NE(bench.fault("forget"), 0);
    EXPECT_EQ(send(readRequest(10, 9, 1)), "00000\r\n");
    EXPECT_EQ(send(readRequest(10, 9, 2)), "E5\r\n");
    EXPECT_EQ(send(writeRequest(10, 9, 1, bytes("07 00"))), "");
    EXPECT_EQ(send(readRequest(10, 9, 1)), "00007\r\n");
    EXPECT_EQ(bench.simulator.faults().done().count("forget"), 0U);
}

TEST_F(Remote, isWriteProtected)
{
    bench.simulator.plc().setWriteProtected(true);
    EXPECT_EQ(send(writeRequest(10, 9, 1, bytes("07 00"))), "E4\r\n");
    EXPECT_EQ(send(writeRequest(32, 9, 1, bytes("01"))), "E4\r\n");
    EXPECT_EQ(send(readRequest(10, 9, 1)), "00000\r\n");
}

TEST_F(Remote, waitsForThePlcToStart)
{
    bench.simulator.setStage(kvsim::Stage::Silent);
    EXPECT_EQ(send(readRequest(10, 9, 1)), "");
    bench.simulator.setStage(kvsim::Stage::Starting);
    EXPECT_EQ(send(readRequest(10, 9, 1)), "E1\r\n");
    bench.simulator.setStage(kvsim::Stage::Running);
    EXPECT_EQ(send(readRequest(10, 9, 1)), "00000\r\n");
}

struct AreaRow {
    const char *name;
    const char *setUp;
    bool write;
    unsigned area;
    unsigned address;
    unsigned count;
    const char *data;
    const char *received;
    const char *check; // a text command afterwards
    const char *checked;
};

class RemoteArea : public Remote, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(RemoteArea, isServed)
{
    const AreaRow &row = GetParam();
    if (row.setUp)
        text(row.setUp);
    const std::string request = row.write ? writeRequest(row.area, row.address, row.count, bytes(row.data))
                                          : readRequest(row.area, row.address, row.count);
    EXPECT_EQ(send(request), row.received);
    if (row.check) {
        EXPECT_EQ(text(row.check), row.checked);
    }
}

// clang-format off
const std::vector<AreaRow> areaRows{
    // Relays are read by channels and written one by one.
    { "readR",        "ST R1201",            false, 0,  12, 2, "", "00002 00000\r\n",  nullptr, nullptr },
    { "readB",        "ST B1AF",             false, 1,  26, 1, "", "32768\r\n",        nullptr, nullptr },
    { "readMR",       "ST MR100",            false, 2,  1,  1, "", "00001\r\n",        nullptr, nullptr },
    { "readLR",       "ST LR100",            false, 3,  1,  1, "", "00001\r\n",        nullptr, nullptr },
    { "readCR",       "ST CR100",            false, 4,  1,  1, "", "00001\r\n",        nullptr, nullptr },
    { "readVB",       "ST VB10",             false, 5,  1,  1, "", "00001\r\n",        nullptr, nullptr },
    { "readR_past",   nullptr,               false, 0,  1999, 2, "", "E0\r\n",         nullptr, nullptr },
    { "writeR",       nullptr,               true,  0,  37, 1, "01", "OK\r\n",         "RDS R204 3", "0 1 0\r\n" },
    { "writeR_off",   "STS R200 8",          true,  0,  37, 1, "00", "OK\r\n",         "RDS R204 3", "1 0 1\r\n" },
    { "writeVB",      nullptr,               true,  5,  16, 2, "01 01", "OK\r\n",      "RDS VBF 4",  "0 1 1 0\r\n" },
    { "readRWord",    "ST R1201",            false, 26, 12, 1, "", "00002\r\n",        nullptr, nullptr },
    { "writeRWord",   nullptr,               true,  26, 12, 1, "03 80", "OK\r\n",      "RD R1200.U", "32771\r\n" },
    { "writeBWord",   nullptr,               true,  27, 2,  1, "01 00", "OK\r\n",      "RD B20",     "1\r\n" },
    { "writeMRWord",  nullptr,               true,  28, 2,  1, "01 00", "OK\r\n",      "RD MR200",   "1\r\n" },
    { "writeLRWord",  nullptr,               true,  29, 2,  1, "01 00", "OK\r\n",      "RD LR200",   "1\r\n" },
    { "writeCRWord",  nullptr,               true,  30, 2,  1, "01 00", "OK\r\n",      "RD CR200",   "1\r\n" },
    { "writeVBWord",  nullptr,               true,  31, 2,  1, "01 00", "OK\r\n",      "RD VB20",    "1\r\n" },
    // Timers and counters come as triples.
    { "readT",        "WR T5.D 50",          false, 6,  5,  2, "", "0,0000000050,0000000000 0,0000000000,0000000000\r\n", nullptr, nullptr },
    { "readC",        "ST C5",               false, 7,  5,  1, "", "1,0000000000,0000000000\r\n", nullptr, nullptr },
    { "readCTH",      "WR CTH1 9",           false, 21, 1,  1, "", "0,0000000009,0000000000\r\n", nullptr, nullptr },
    { "readCTC",      "WR CTC1 9",           false, 22, 1,  1, "", "0,0000000009,0000000000\r\n", nullptr, nullptr },
    { "writeT_cont",  nullptr,               true,  6,  5,  1, "01", "OK\r\n",         "RD T5", "1,0000000000,0000000000\r\n" },
    { "writeT_cur",   nullptr,               true,  17, 5,  1, "00 5E D0 B2", "OK\r\n","RD T5", "0,3000000000,0000000000\r\n" },
    { "writeTS",      nullptr,               true,  18, 5,  1, "64 00 00 00", "OK\r\n","RD T5", "0,0000000000,0000000100\r\n" },
    { "writeC_cur",   nullptr,               true,  19, 5,  1, "64 00 00 00", "OK\r\n","RD C5", "0,0000000100,0000000000\r\n" },
    { "writeCS",      nullptr,               true,  20, 5,  1, "64 00 00 00", "OK\r\n","RD C5", "0,0000000000,0000000100\r\n" },
    { "writeCTC_c",   nullptr,               true,  9,  1,  1, "01", "OK\r\n",         "RD CTC1", "1,0000000000,0000000000\r\n" },
    { "writeCTH_c",   nullptr,               true,  8,  1,  1, "01", "E1\r\n",         "RD CTH1", "0,0000000000,0000000000\r\n" },
    { "writeCTH",     nullptr,               true,  21, 1,  1, "64 00 00 00", "OK\r\n","RD CTH1", "0,0000000100,0000000000\r\n" },
    { "writeCTC",     nullptr,               true,  22, 1,  1, "64 00 00 00", "OK\r\n","RD CTC1", "0,0000000100,0000000000\r\n" },
    { "readTDword",   nullptr,               false, 17, 0,  1, "", "E1\r\n",           nullptr, nullptr },
    { "readTS",       nullptr,               false, 18, 0,  1, "", "E1\r\n",           nullptr, nullptr },
    { "readCTHcont",  nullptr,               false, 8,  0,  1, "", "E1\r\n",           nullptr, nullptr },
    // Words
    { "readEM",       "WR EM3 4",            false, 11, 3,  1, "", "00004\r\n",        nullptr, nullptr },
    { "readFM",       "WR FM3 4",            false, 12, 3,  1, "", "00004\r\n",        nullptr, nullptr },
    { "readZF",       "WR ZF300000 4",       false, 13, 300000, 1, "", "00004\r\n",    nullptr, nullptr },
    { "readW",        "WR W1F 4",            false, 14, 31, 1, "", "00004\r\n",        nullptr, nullptr },
    { "readTM",       "WR TM3 4",            false, 15, 3,  1, "", "00004\r\n",        nullptr, nullptr },
    { "readCM",       "WR CM3 4",            false, 24, 3,  1, "", "00004\r\n",        nullptr, nullptr },
    { "readVM",       "WR VM3 4",            false, 25, 3,  1, "", "00004\r\n",        nullptr, nullptr },
    { "writeVM",      nullptr,               true,  25, 3,  1, "34 12", "OK\r\n",      "RD VM3.H", "1234\r\n" },
    { "readPast",     nullptr,               false, 10, 65535, 1, "", "E0\r\n",        nullptr, nullptr },
    { "readRunsPast", nullptr,               false, 10, 65534, 2, "", "E0\r\n",        nullptr, nullptr },
    { "readCount0",   nullptr,               false, 10, 0,  0, "", "E1\r\n",           nullptr, nullptr },
    { "readCount1001",nullptr,               false, 10, 0,  1001, "", "E1\r\n",        nullptr, nullptr },
    { "readNegative", nullptr,               false, 10, 0xFFFFFFFF, 1, "", "E0\r\n",   nullptr, nullptr },
    { "readHuge",     nullptr,               false, 0,  0x7FFFFFFF, 1, "", "E0\r\n",   nullptr, nullptr },
    { "writePast",    nullptr,               true,  10, 65534, 2, "01 00 02 00", "E0\r\n", "RD DM65534", "00000\r\n" },
    // 32-bit registers
    { "readZ",        "WR Z1.D 4294967295",  false, 16, 1,  2, "", "4294967295 0000000000\r\n", nullptr, nullptr },
    { "readZ0",       nullptr,               false, 16, 0,  1, "", "E0\r\n",           nullptr, nullptr },
    { "writeZ",       nullptr,               true,  16, 12, 1, "FF FF FF FF", "OK\r\n","RD Z12.D", "4294967295\r\n" },
    { "readAT",       nullptr,               false, 23, 0,  2, "", "0000000000 0000000000\r\n", nullptr, nullptr },
    { "writeAT",      nullptr,               true,  23, 0,  1, "01 00 00 00", "E1\r\n","RD AT0", "0000000000\r\n" },
    // Bits of words
    { "writeDMbit",   "WR DM2 1",            true,  32, 37, 1, "01", "OK\r\n",         "RD DM2", "00033\r\n" },
    { "writeDMbitOff","WR DM2 33",           true,  32, 37, 1, "00", "OK\r\n",         "RD DM2", "00001\r\n" },
    { "writeEMbits",  nullptr,               true,  33, 15, 3, "01 01 01", "OK\r\n",   "RDS EM0 2", "32768 00003\r\n" },
    { "writeVMbit",   nullptr,               true,  39, 16, 1, "01", "OK\r\n",         "RD VM1", "00001\r\n" },
    { "writeDMbitPast", nullptr,             true,  32, 1048560, 1, "01", "E0\r\n",    nullptr, nullptr },
    { "readDMbit",    nullptr,               false, 32, 0,  1, "", "E1\r\n",           nullptr, nullptr },
    // Codes that are none
    { "read40",       nullptr,               false, 40, 0,  1, "", "E0\r\n",           nullptr, nullptr },
    { "read65535",    nullptr,               false, 65535, 0, 1, "", "E0\r\n",         nullptr, nullptr },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, RemoteArea, testing::ValuesIn(areaRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(Remote, cannotTellTheLengthOfAWriteToAnUnknownArea)
{
    EXPECT_EQ(send(writeRequest(40, 0, 1, bytes("01 00"))), "");
    EXPECT_EQ(silence(), "E1\r\n");
}

} // namespace
