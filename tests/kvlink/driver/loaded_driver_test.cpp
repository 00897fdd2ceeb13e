// SPDX-License-Identifier: MIT
// One request at a time through the real driver: the frames it sends, what their answers bring, and
// that nothing of a request is left in the copy when it has ended.
#include "driver/loaded_driver.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

using Result = Driver::Result;

std::unique_ptr<LoadedDriver> loadedDriver()
{
    QString problem;
    auto driver = LoadedDriver::load(QStringLiteral(KV_DRIVER_PATH), problem);
    EXPECT_NE(driver, nullptr) << problem.toStdString();
    return driver;
}

class LoadedDriverTest : public testing::Test
{
protected:
    /// The driver's own lists and frame queue, of this very copy.
    std::string lists() const
    {
        const auto *state =
            static_cast<const Communication_Protocol *>(::dlsym(driver->copy().handle, "PLC_driver"));
        if (state == nullptr)
            return "no PLC_driver";
        const auto count = [](const auto &list) { return std::to_string(list.size()); };
        return "read " + count(state->readList) + " write " + count(state->writeList) + " once " +
               count(state->onceReadList) + " frames " + count(state->frameQueue);
    }

    std::string frame() const { return driver->frame().toStdString(); }

    Result answer(const char *bytes) { return driver->answer(bytes); }

    std::unique_ptr<LoadedDriver> driver = loadedDriver();
};

const char *const allEmpty = "read 0 write 0 once 0 frames 0";

TEST_F(LoadedDriverTest, readsWords)
{
    driver->beginRead(AREA_DM, 100, 3);
    EXPECT_EQ(frame(), "RDS DM100.U 3\r");
    EXPECT_EQ(driver->replyLength(), 19);
    EXPECT_FALSE(driver->ended());
    EXPECT_EQ(answer("00001 00002 65535\r\n"), Result::Done);
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(frame(), "");
    EXPECT_EQ(lists(), allEmpty);
    const UnitBlock block = driver->block(AREA_DM, 100, 3);
    EXPECT_EQ(block.readArea, AREA_DM);
    EXPECT_EQ(block.firstUnit, 100);
    EXPECT_EQ(block.unitCount, 3);
    EXPECT_EQ(block.whole.toHex(), "01000200ffff");
    EXPECT_EQ(block.contact, "");
}

TEST_F(LoadedDriverTest, readsTimersWithAllTheirValues)
{
    driver->beginRead(AREA_T, 5, 2);
    EXPECT_EQ(frame(), "RDS T5.D 2\r");
    EXPECT_EQ(answer("1,0000000012,0000000100 0,0000000256,0000000300\r\n"), Result::Done);
    const UnitBlock block = driver->block(AREA_T, 5, 2);
    EXPECT_EQ(block.whole, "");
    EXPECT_EQ(block.contact.toHex(), "0100");
    EXPECT_EQ(block.current.toHex(), "0c00000000010000");
    EXPECT_EQ(block.set.toHex(), "640000002c010000");
}

TEST_F(LoadedDriverTest, writesWords)
{
    driver->beginWrite({AREA_DM, QStringLiteral("200"), QByteArray::fromHex("34120100"), 2});
    EXPECT_EQ(frame(), "WRS DM200.U 2 04660 00001\r");
    EXPECT_EQ(driver->replyLength(), 4);
    EXPECT_EQ(answer("OK\r\n"), Result::Done);
    EXPECT_EQ(lists(), allEmpty);
}

TEST_F(LoadedDriverTest, writesABitOfAWordInTwoFrames)
{
    driver->beginWrite({AREA_DM_BIT, QStringLiteral("100.5"), QByteArray("\1"), 1});
    EXPECT_EQ(frame(), "RDS DM100.U 1\r");
    EXPECT_EQ(driver->replyLength(), 7);
    EXPECT_EQ(answer("00003\r\n"), Result::NextFrame);
    EXPECT_FALSE(driver->ended());
    EXPECT_EQ(frame(), "WRS DM100.U 1 00035\r");
    EXPECT_EQ(driver->replyLength(), 4);
    EXPECT_EQ(answer("OK\r\n"), Result::Done);
    EXPECT_EQ(lists(), allEmpty);
}

TEST_F(LoadedDriverTest, asksAgainWhenTheDriverPausesAfterFiveInARow)
{
    for (int i = 0; i < 23; ++i) {
        driver->beginRead(AREA_DM, i, 1);
        ASSERT_EQ(frame(), "RDS DM" + std::to_string(i) + ".U 1\r");
        ASSERT_EQ(answer("00007\r\n"), Result::Done);
    }
    for (int i = 0; i < 23; ++i) {
        driver->beginWrite({AREA_DM, QString::number(i), QByteArray::fromHex("0100"), 1});
        ASSERT_EQ(frame(), "WRS DM" + std::to_string(i) + ".U 1 00001\r");
        ASSERT_EQ(answer("OK\r\n"), Result::Done);
    }
}

// --- every area that can be read -----------------------------------------------------------------

struct AreaRow {
    const char *name;
    int readArea;
    int firstUnit;
    int count;
    const char *frame;
    const char *answer;
    const char *whole; // hexadecimal, low byte first
    const char *contact;
    const char *current;
    const char *set;
};

class ReadArea : public LoadedDriverTest, public testing::WithParamInterface<AreaRow>
{
};

TEST_P(ReadArea, bringsItsUnits)
{
    const AreaRow &row = GetParam();
    driver->beginRead(row.readArea, row.firstUnit, row.count);
    EXPECT_EQ(frame(), row.frame);
    EXPECT_EQ(driver->replyLength(), int(qstrlen(row.answer)));
    EXPECT_EQ(answer(row.answer), Result::Done);
    const UnitBlock block = driver->block(row.readArea, row.firstUnit, row.count);
    EXPECT_EQ(block.whole.toHex(), row.whole);
    EXPECT_EQ(block.contact.toHex(), row.contact);
    EXPECT_EQ(block.current.toHex(), row.current);
    EXPECT_EQ(block.set.toHex(), row.set);
    EXPECT_EQ(lists(), allEmpty);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, ReadArea, testing::Values(
    AreaRow{"R",   AREA_R,         12, 2, "RDS R1200.U 2\r",  "00005 32768\r\n", "05000080", "", "", ""},
    AreaRow{"R0",  AREA_R,          0, 1, "RDS R000.U 1\r",   "00258\r\n",       "0201",     "", "", ""},
    AreaRow{"B",   AREA_B,         31, 2, "RDS B1F0.U 2\r",   "00001 65535\r\n", "0100ffff", "", "", ""},
    AreaRow{"MR",  AREA_MR,       110, 1, "RDS MR11000.U 1\r", "00016\r\n",      "1000",     "", "", ""},
    AreaRow{"LR",  AREA_LR,         7, 1, "RDS LR700.U 1\r",  "00255\r\n",       "ff00",     "", "", ""},
    AreaRow{"CR",  AREA_CR,        20, 1, "RDS CR2000.U 1\r", "00003\r\n",       "0300",     "", "", ""},
    AreaRow{"VB",  AREA_VB,        10, 1, "RDS VBA0.U 1\r",   "04096\r\n",       "0010",     "", "", ""},
    AreaRow{"DM",  AREA_DM,     65534, 1, "RDS DM65534.U 1\r", "00300\r\n",      "2c01",     "", "", ""},
    AreaRow{"EM",  AREA_EM,         9, 1, "RDS EM9.U 1\r",    "00010\r\n",       "0a00",     "", "", ""},
    AreaRow{"FM",  AREA_FM,         9, 1, "RDS FM9.U 1\r",    "00011\r\n",       "0b00",     "", "", ""},
    AreaRow{"ZF",  AREA_ZF,    524287, 1, "RDS ZF524287.U 1\r", "00012\r\n",     "0c00",     "", "", ""},
    AreaRow{"W",   AREA_W,      0x1AF, 2, "RDS W1AF.U 2\r",   "00013 00014\r\n", "0d000e00", "", "", ""},
    AreaRow{"TM",  AREA_TM,       511, 1, "RDS TM511.U 1\r",  "00015\r\n",       "0f00",     "", "", ""},
    AreaRow{"CM",  AREA_CM,      7599, 1, "RDS CM7599.U 1\r", "00016\r\n",       "1000",     "", "", ""},
    AreaRow{"VM",  AREA_VM,    589823, 1, "RDS VM589823.U 1\r", "00017\r\n",     "1100",     "", "", ""},
    AreaRow{"Z",   AREA_Z,          1, 2, "RDS Z1.D 2\r",     "0000065536 2147483647\r\n", "00000100ffffff7f", "", "", ""},
    AreaRow{"AT",  AREA_AT,         7, 1, "RDS AT7.D 1\r",    "0000001000\r\n",  "e8030000", "", "", ""},
    AreaRow{"T",   AREA_T,       3999, 1, "RDS T3999.D 1\r",  "1,0000000012,0000000100\r\n", "", "01", "0c000000", "64000000"},
    AreaRow{"C",   AREA_C,          0, 2, "RDS C0.D 2\r",     "0,0000000001,0000000002 1,0000000003,0000000004\r\n", "", "0001", "0100000003000000", "0200000004000000"},
    AreaRow{"CTH", AREA_CTH_DWORD,  1, 1, "RDS CTH1.D 1\r",   "1,0000000005,0000000006\r\n", "", "01", "05000000", ""},
    AreaRow{"CTC", AREA_CTC_DWORD,  3, 1, "RDS CTC3.D 1\r",   "1,0000000005,0000000006\r\n", "", "01", "", "06000000"}),
    [](const auto &row) { return row.param.name; });
// clang-format on

TEST_F(LoadedDriverTest, brings1000WordsInOneRequest)
{
    driver->beginRead(AREA_DM, 0, 1000);
    EXPECT_EQ(frame(), "RDS DM0.U 1000\r");
    EXPECT_EQ(driver->replyLength(), 6001);
    EXPECT_EQ(driver->answer(QByteArray("00007 ").repeated(999) + "00008\r\n"), Result::Done);
    const QByteArray words = driver->block(AREA_DM, 0, 1000).whole;
    EXPECT_EQ(words.size(), 2000);
    EXPECT_EQ(words.mid(1996).toHex(), "07000800");
}

TEST_F(LoadedDriverTest, keeps0OfTenDigitsThatPassTheHighestSignedNumber)
{
    driver->beginRead(AREA_Z, 1, 3);
    EXPECT_EQ(answer("2147483647 2147483648 4294967295\r\n"), Result::Done);
    EXPECT_EQ(driver->block(AREA_Z, 1, 3).whole.toHex(), "ffffff7f0000000000000000");
}

// --- every way of writing ------------------------------------------------------------------------

struct WriteRow {
    const char *name;
    int area;
    const char *address;
    const char *dataHex;
    int hostCount;
    const char *frame;
};

class WriteOneFrame : public LoadedDriverTest, public testing::WithParamInterface<WriteRow>
{
};

TEST_P(WriteOneFrame, isSentAndConfirmed)
{
    const WriteRow &row = GetParam();
    driver->beginWrite(
        {row.area, QString::fromLatin1(row.address), QByteArray::fromHex(row.dataHex), row.hostCount});
    EXPECT_EQ(frame(), row.frame);
    EXPECT_EQ(driver->replyLength(), 4);
    EXPECT_FALSE(driver->ended());
    EXPECT_EQ(answer("OK\r\n"), Result::Done);
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Areas, WriteOneFrame, testing::Values(
    WriteRow{"relayOn",     AREA_R,         "1015", "01",       1, "ST R1015\r"},
    WriteRow{"relayOff",    AREA_MR,        "5",    "00",       1, "RS MR005\r"},
    WriteRow{"hexRelay",    AREA_B,         "1AF",  "01",       1, "ST B1af\r"},
    WriteRow{"channel",     AREA_R_WORD,    "1200", "0500",     1, "WRS R1200.U 1 00005\r"},
    WriteRow{"words",       AREA_W,         "1A",   "ffff0100", 2, "WRS W1A.U 2 65535 00001\r"},
    WriteRow{"doubleWord",  AREA_Z,         "3",    "00000100", 2, "WRS Z3.D 1 0000065536\r"},
    WriteRow{"timerSet",    AREA_TS,        "5",    "64000000", 2, "WRS TS5.D 1 0000000100\r"}),
    [](const auto &row) { return row.param.name; });
// clang-format on

TEST_F(LoadedDriverTest, writes128WordsInOneRequest)
{
    driver->beginWrite({AREA_DM, QStringLiteral("0"), QByteArray("\1\0", 2).repeated(128), 128});
    EXPECT_EQ(frame(), "WRS DM0.U 128" + QByteArray(" 00001").repeated(128).toStdString() + "\r");
    EXPECT_EQ(answer("OK\r\n"), Result::Done);
    EXPECT_EQ(lists(), allEmpty);
}

// --- what the driver refuses ---------------------------------------------------------------------

TEST_F(LoadedDriverTest, refusesAReadOfAnAreaThatIsNotReadAsSuch)
{
    driver->beginRead(AREA_R_WORD, 0, 1);
    EXPECT_EQ(frame(), "");
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
    EXPECT_EQ(driver->block(AREA_R_WORD, 0, 1).whole, "");
}

TEST_F(LoadedDriverTest, refusesAWriteOfAContact)
{
    driver->beginWrite({AREA_T, QStringLiteral("5"), QByteArray("\1"), 1});
    EXPECT_EQ(frame(), "");
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
}

TEST_F(LoadedDriverTest, refusesAWriteOfAnAddressThatItCannotParse)
{
    driver->beginWrite({AREA_DM, QStringLiteral("x"), QByteArray(2, '\0'), 1});
    EXPECT_EQ(frame(), "");
    EXPECT_TRUE(driver->ended());
}

TEST_F(LoadedDriverTest, refusesAWriteThatIsMoreThanOneRequest)
{
    driver->beginWrite({AREA_DM, QStringLiteral("0"), QByteArray(258, '\0'), 129});
    EXPECT_EQ(frame(), "");
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
    driver->beginWrite({AREA_R, QStringLiteral("0"), QByteArray("\1\1"), 2});
    EXPECT_EQ(frame(), "");
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
}

// --- what fails ----------------------------------------------------------------------------------

class Failing : public LoadedDriverTest, public testing::WithParamInterface<const char *>
{
protected:
    /// Whatever the driver wants first after a failure, the next request works.
    void expectNextRequestWorks()
    {
        EXPECT_TRUE(driver->ended());
        EXPECT_EQ(frame(), "");
        EXPECT_EQ(lists(), allEmpty);
        driver->beginRead(AREA_EM, 1, 1);
        EXPECT_EQ(frame(), "RDS EM1.U 1\r");
        EXPECT_EQ(answer("00009\r\n"), Result::Done);
        EXPECT_EQ(lists(), allEmpty);
    }
};

TEST_P(Failing, read)
{
    driver->beginRead(AREA_DM, 0, 2);
    EXPECT_EQ(answer(GetParam()), Result::Failed);
    expectNextRequestWorks();
}

TEST_P(Failing, write)
{
    driver->beginWrite({AREA_DM, QStringLiteral("0"), QByteArray(4, '\0'), 2});
    EXPECT_EQ(answer(GetParam()), Result::Failed);
    expectNextRequestWorks();
}

TEST_P(Failing, readHalfOfABitWrite)
{
    driver->beginWrite({AREA_DM_BIT, QStringLiteral("100.5"), QByteArray("\1"), 1});
    EXPECT_EQ(answer(GetParam()), Result::Failed);
    expectNextRequestWorks();
}

TEST_P(Failing, writeHalfOfABitWrite)
{
    driver->beginWrite({AREA_DM_BIT, QStringLiteral("100.5"), QByteArray("\1"), 1});
    ASSERT_EQ(answer("00003\r\n"), Result::NextFrame);
    EXPECT_EQ(answer(GetParam()), Result::Failed);
    expectNextRequestWorks();
}

INSTANTIATE_TEST_SUITE_P(Answers, Failing,
                         testing::Values("", "E0\r\n", "E1\r\n", "0\r\n", "00001 00002 00003\r\n"));

TEST_F(LoadedDriverTest, failsWithNoRequestInHand)
{
    EXPECT_EQ(answer("00001\r\n"), Result::Failed);
    EXPECT_TRUE(driver->ended());
    EXPECT_EQ(lists(), allEmpty);
}

TEST_F(LoadedDriverTest, dropsTheRequestInHandWhenTheNextOneBegins)
{
    driver->beginWrite({AREA_DM, QStringLiteral("0"), QByteArray(2, '\0'), 1});
    driver->beginRead(AREA_DM, 5, 1);
    EXPECT_EQ(frame(), "RDS DM5.U 1\r");
    EXPECT_EQ(lists(), "read 0 write 0 once 1 frames 1");
}

TEST_F(LoadedDriverTest, isCleanAfterManyFailuresInARow)
{
    for (int i = 0; i < 20; ++i) {
        driver->beginRead(AREA_DM, 0, 1);
        ASSERT_EQ(frame(), "RDS DM0.U 1\r") << i;
        ASSERT_EQ(answer(""), Result::Failed) << i;
        driver->beginWrite({AREA_DM, QStringLiteral("0"), QByteArray(2, '\0'), 1});
        ASSERT_EQ(frame(), "WRS DM0.U 1 00000\r") << i;
        ASSERT_EQ(answer("E4\r\n"), Result::Failed) << i;
    }
    EXPECT_EQ(lists(), allEmpty);
}

TEST_F(LoadedDriverTest, keepsWhatWasReadWhenALaterReadFails)
{
    driver->beginRead(AREA_DM, 0, 1);
    EXPECT_EQ(answer("00007\r\n"), Result::Done);
    driver->beginRead(AREA_DM, 0, 1);
    EXPECT_EQ(answer("E0\r\n"), Result::Failed);
    EXPECT_EQ(driver->block(AREA_DM, 0, 1).whole.toHex(), "0700");
}

TEST(LoadedDriver, ofAWrongPathSaysSo)
{
    QString problem;
    EXPECT_EQ(LoadedDriver::load(QStringLiteral("/nowhere/driver.so"), problem), nullptr);
    EXPECT_EQ(problem.toStdString(), "the driver library /nowhere/driver.so does not exist; check the path");
}

} // namespace
} // namespace kvlink
