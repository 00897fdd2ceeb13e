// SPDX-License-Identifier: MIT
// Commands from the printf formats of the area table.
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstdio>

/// Appends the formatted piece, at most 99 characters of it.
/// Example: ("%s%d.U %d", "DM", 100, 3) appends "DM100.U 3".
template <typename... Arguments>
void appendFormatted(QByteArray &command, const char *format, Arguments... arguments)
{
    char piece[100] = {};
    const int length = std::snprintf(piece, sizeof piece, format, arguments...);
    command.append(piece, qBound(0, length, int(sizeof piece) - 1));
}
