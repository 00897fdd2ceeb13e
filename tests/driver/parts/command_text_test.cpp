// SPDX-License-Identifier: MIT
// Pieces of commands. None that the driver builds comes near the longest: it is the last defence.
#include "frames/command_text.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace
{
TEST(CommandPiece, isAppended)
{
    QByteArray command("RDS ");
    appendFormatted(command, "%s%d.U %d", "DM", 100, 3);
    EXPECT_EQ(command.toStdString(), "RDS DM100.U 3");
}

TEST(CommandPiece, ofNoCharactersAppendsNothing)
{
    QByteArray command("RDS ");
    appendFormatted(command, "%s", "");
    EXPECT_EQ(command.toStdString(), "RDS ");
}

TEST(CommandPiece, isCutAfter99Characters)
{
    QByteArray command("RDS ");
    appendFormatted(command, "%s", std::string(99, 'x').c_str());
    EXPECT_EQ(command.toStdString(), "RDS " + std::string(99, 'x'));

    appendFormatted(command, "%s", std::string(100, 'y').c_str());
    EXPECT_EQ(command.toStdString(), "RDS " + std::string(99, 'x') + std::string(99, 'y'));
}

// No 8-bit character of the C locale is this one: formatting ends there with an error.
TEST(CommandPiece, thatCannotBeFormattedAppendsNothing)
{
    const wchar_t unknown[] = {wchar_t(0x30A2), 0};
    QByteArray command("RDS ");
    appendFormatted(command, "some%ls", unknown);
    EXPECT_EQ(command.toStdString(), "RDS ");
}
} // namespace
