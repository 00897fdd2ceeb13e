// SPDX-License-Identifier: MIT
// The edges of a device image: no caller asks for what lies before one, and few see a missing one.
#include "store/device_image.h"

#include <Communication_Protocol.h>
#include <gtest/gtest.h>

namespace
{
constexpr int station = 1;
constexpr int key = AREA_DM;

class Image : public testing::Test
{
protected:
    Image() { DataStorage.clear(); }
    ~Image() override { DataStorage.clear(); }

    static void given(const QByteArray &bytes) { DataStorage[station][key] = bytes; }

    // What is read into a buffer that held 'x' before.
    static std::string read(qint64 position, int length)
    {
        QByteArray bytes(length, 'x');
        DeviceImage(station, key).read(position, bytes.data(), length);
        return bytes.toStdString();
    }
};

TEST_F(Image, readsAsZeroBeforeItsFirstAndBehindItsLastByte)
{
    given("abc");
    EXPECT_EQ(read(-2, 7), std::string("\0\0abc\0\0", 7));
    EXPECT_EQ(read(-9, 3), std::string(3, '\0'));
    EXPECT_EQ(read(3, 3), std::string(3, '\0'));
    EXPECT_EQ(read(1, 1), "b");
    EXPECT_EQ(read(1, 0), "");
}

TEST_F(Image, dropsWhatIsWrittenBeforeIt)
{
    given("abc");
    DeviceImage(station, key).write(-2, "123", 3);
    EXPECT_EQ(DataStorage[station][key], QByteArray("3bc"));
    DeviceImage(station, key).write(-3, "123", 3);
    EXPECT_EQ(DataStorage[station][key], QByteArray("3bc"));
}

// On purpose: the byte behind this image is no zero, as it would be behind any that Qt made itself.
TEST_F(Image, hasNoBitsBeforeItsFirstAndBehindItsLastByte)
{
    given(QByteArray::fromRawData("\xFF\xFF", 1));
    EXPECT_TRUE(DeviceImage(station, key).bit(0));
    EXPECT_TRUE(DeviceImage(station, key).bit(7));
    EXPECT_FALSE(DeviceImage(station, key).bit(8));
    EXPECT_FALSE(DeviceImage(station, key).bit(-1));
}

TEST_F(Image, thatIsMissingIsMadeEmpty)
{
    {
        const DeviceImage image(station, key);
        EXPECT_TRUE(image.isNew());
        EXPECT_EQ(image.size(), 0);
        EXPECT_FALSE(image.bit(0));
    }
    EXPECT_FALSE(DeviceImage(station, key).isNew());
    EXPECT_EQ(read(0, 2), std::string(2, '\0'));
}
} // namespace
