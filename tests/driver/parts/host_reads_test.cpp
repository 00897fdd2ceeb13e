// SPDX-License-Identifier: MIT
// What a host read does before it waits for the store.
#include "store/device_image.h"

#include <Communication_Protocol.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

namespace
{
constexpr int station = 1;
constexpr std::chrono::seconds longEnough{10};

// The length of the image of DM, which another thread may be growing.
qint64 imageLength()
{
    return DeviceImage(station, AREA_DM).size();
}

// Waits for another thread to bring the image to this length. \return false if it took too long
bool imageReaches(qint64 length)
{
    const auto until = std::chrono::steady_clock::now() + longEnough;
    while (imageLength() < length) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::yield();
    }
    return true;
}

class HostRead : public testing::Test
{
protected:
    HostRead()
    {
        DataStorage.clear();
        m_settings.multiStation = 1;
        SetComInfo(&m_settings);
    }
    ~HostRead() override
    {
        DataStorage.clear();
        PLC_driver.comInfo = nullptr;
    }
    HostRead(const HostRead &) = delete;
    HostRead &operator=(const HostRead &) = delete;

    // Reads DM 100 on a thread of its own.
    static std::future<QByteArray> readElsewhere()
    {
        return std::async(std::launch::async, [] {
            QByteArray out;
            EXPECT_EQ(GetRegisterData(0, AREA_DM, QStringLiteral("100"), station, &out, 1), 1);
            return out;
        });
    }

private:
    ComInfo m_settings;
};

TEST_F(HostRead, makesItsRangeBeforeItWaitsForTheStore)
{
    PLC_driver.storeMutex.lock();
    std::future<QByteArray> read = readElsewhere();
    EXPECT_TRUE(imageReaches(202));
    PLC_driver.storeMutex.unlock();
    EXPECT_EQ(read.get(), QByteArray(2, '\0'));
}

TEST_F(HostRead, growsAnImageBeforeItWaitsForTheStore)
{
    DeviceImage(station, AREA_DM).write(0, "\x34\x12", 2);
    PLC_driver.storeMutex.lock();
    std::future<QByteArray> read = readElsewhere();
    EXPECT_TRUE(imageReaches(202));
    PLC_driver.storeMutex.unlock();
    EXPECT_EQ(read.get(), QByteArray(2, '\0'));
}
} // namespace
