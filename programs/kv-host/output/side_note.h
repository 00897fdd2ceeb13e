// SPDX-License-Identifier: MIT
// Notes from other threads than the main one.
#pragma once

#include <QString>

namespace kvhost
{

/// A line with the time of day on stderr, from any thread. Never waits: a stderr that takes nothing
/// at the moment must not hold up a link, so the line is dropped then.
void sideNote(const QString &text);

/// "RDS DM0.U 1\r": line ends and other control characters made visible.
QString frameText(const QByteArray &bytes);

} // namespace kvhost
