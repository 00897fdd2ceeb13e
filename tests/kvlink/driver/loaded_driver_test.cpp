// SPDX-License-Identifier: MIT
// One request at a time through the real driver: the frames it sends, what their answers bring, and that nothing
// of a request is left in the copy when it has ended.
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

} // namespace
} // namespace kvlink
