// Building commands with printf formats, as the area table spells them.
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstdio>

/// Appends the formatted piece, at most 99 characters of it: ("%s%d.U %d", "DM", 100, 3) appends "DM100.U 3".
template <typename... Arguments>
void appendFormatted(QByteArray &command, const char *format, Arguments... arguments)
{
    char piece[100] = {};
    const int length = std::snprintf(piece, sizeof piece, format, arguments...);
    command.append(piece, qBound(0, length, int(sizeof piece) - 1));
}
