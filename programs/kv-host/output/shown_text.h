// SPDX-License-Identifier: MIT
// Texts on a terminal: without control bytes, and measured in columns.
#pragma once

#include <QString>

namespace kvhost
{

/// Control characters as "\x1B": bytes of a PLC's text must not steer the terminal.
QString printable(const QString &text);

/// Columns that it takes on a terminal: wide characters take two, combining ones none.
int columnsOf(const QString &text);

/// At most \a columns wide; what does not fit ends in "…".
QString cut(const QString &text, int columns);
/// Filled up with spaces on the right or on the left.
QString padded(const QString &text, int columns);
QString paddedLeft(const QString &text, int columns);

} // namespace kvhost
