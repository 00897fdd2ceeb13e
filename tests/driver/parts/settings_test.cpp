// SPDX-License-Identifier: MIT
// Words of the settings block while the host has set none.
#include "base/settings.h"

#include <gtest/gtest.h>

namespace
{
TEST(SettingWithoutABlock, isZeroAndNotWritten)
{
    PLC_driver.comInfo = nullptr;
    EXPECT_EQ(setting(&ComInfo::defaultStation), 0);
    setSetting(&ComInfo::defaultStation, 3);
    EXPECT_EQ(setting(&ComInfo::defaultStation), 0);
    EXPECT_EQ(blockLength(), 1);
}

TEST(SettingOfABlock, isReadAndWritten)
{
    ComInfo block;
    block.maxBlockLength = 0;
    PLC_driver.comInfo = &block;
    EXPECT_EQ(blockLength(), 1);
    setSetting(&ComInfo::maxBlockLength, 64);
    EXPECT_EQ(setting(&ComInfo::maxBlockLength), 64);
    EXPECT_EQ(blockLength(), 64);
    PLC_driver.comInfo = nullptr;
}
} // namespace
