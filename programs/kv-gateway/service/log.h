// SPDX-License-Identifier: MIT
// Messages for the journal: lines on stderr with the priority in front, as systemd reads them.
#pragma once

#include <QString>

namespace kvgateway
{

enum class LogLevel : quint8 { Error = 3, Warning = 4, Info = 6 };

/// Any thread. Under systemd "<4>text", otherwise the text alone.
void logLine(LogLevel level, const QString &text);

} // namespace kvgateway
