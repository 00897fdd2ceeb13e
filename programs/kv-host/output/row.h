// SPDX-License-Identifier: MIT
// One value to be shown or logged, and the lines it becomes.
#pragma once

#include "tags/variable.h"

#include <kvlink/sample.h>

#include <QString>

namespace kvhost
{

struct Row {
    qint64 timeMs =
        0; ///< since 1970, UTC: when the answer came that brought the value; without a value, when it was noticed
    QString name;
    QString value; ///< as text; empty if there is none to show
    bool isNumeric = true;
    bool hasValue = false;
    QString unit;
    kvlink::Quality quality = kvlink::Quality::Never;
    QString error; ///< why it is bad
};

/// How a write ended, beside the row that was read back.
struct WriteRow {
    Row row;
    QString outcome; ///< "done", "refused", "not sent", "unknown"
    QString text;    ///< why, unless it is done
};

/// Good, stale or pending: there is a value, and it may be shown with its quality.
bool hasShownValue(const kvlink::Sample &sample);

/// Value \a i of a sample. \param now ms since 1970, for what has no answer to take its time from
Row makeRow(const kvtags::Variable &variable, int i, const kvlink::Sample &sample, qint64 now);

qint64 msOf(kvlink::WallTime time);
qint64 nowMs();

// --- lines, without their ends. Pure. ---

/// "DM1   5", "t     21.5 C  [stale]", "DM2   -  [bad] no answer".
QString textLine(const Row &row, int nameWidth);
QString textLine(const WriteRow &row, int nameWidth);
QString csvLine(const Row &row);
QString csvLine(const WriteRow &row);
QString jsonLine(const Row &row);
QString jsonLine(const WriteRow &row);
/// Quoted where the separator, a quote or a line end stands in it; without
/// other control characters.
QString csvField(const QString &text, QChar separator = ',');
/// "2026-02-01T00:00:00.123Z"
QString isoTime(qint64 timeMs);

extern const char csvHeader[];
extern const char csvWriteHeader[];

} // namespace kvhost
