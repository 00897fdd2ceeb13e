// SPDX-License-Identifier: MIT
// How logged rows are written down in files and on stdout. Pure.
#pragma once

#include "output/output.h"

#include <QStringList>

namespace kvhost
{

/// One value, or with the wide layout all values of a pass.
struct LogRow {
    Row row;          ///< with the wide layout only its time counts
    QStringList wide; ///< one cell for each name of the format; empty for what is not good
};

struct LogFormat {
    bool isJson = false; ///< one object a line; otherwise CSV
    bool isWide = false; ///< a line for each pass, a column for each value
    QChar separator = ',';
    bool hasDecimalComma = false;
    bool hasLocalTime = false; ///< "2026-02-01 01:00:00.123" in place of UTC with 'T' and 'Z'
    QStringList wideNames;
};

/// First line of each file, with its end; empty if there is none.
QByteArray headerOf(const LogFormat &format);
/// With its end.
QByteArray lineOf(const LogFormat &format, const LogRow &row);

} // namespace kvhost
