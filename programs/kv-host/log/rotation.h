// SPDX-License-Identifier: MIT
// Files of a log by the clock on the wall: when one begins, what it is called, which are
// too old. Pure.
#pragma once

#include <kvlink/times.h>

#include <QString>
#include <QStringList>

#include <optional>

namespace kvhost
{

/// True for 1 s to 1 day where the day is a whole number of them: files begin at the full local
/// hour or at midnight.
bool canRotateBy(kvlink::Duration period);

/// When the file of this moment began: ms since 1970, UTC. Periods are counted from local midnight.
qint64 periodBegin(qint64 timeMs, kvlink::Duration period);

/// "values.csv" that begins then: "values-20260131-230000.csv", in local time.
QString rotatedName(const QString &path, qint64 beginMs);

/// Those of \a fileNames that are files of the log \a path and began before \a oldestMs.
QStringList outdatedFiles(const QString &path, const QStringList &fileNames, qint64 oldestMs);

} // namespace kvhost
