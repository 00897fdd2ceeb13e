// SPDX-License-Identifier: MIT
// Local time on purpose: people look for "yesterday's file", and shifts begin by the clock
// on the wall.
#include "rotation.h"

#include <QDateTime>
#include <QFileInfo>

namespace kvhost
{

namespace
{

constexpr qint64 msOfDay = 24LL * 3600 * 1000;
const char stampFormat[] = "yyyyMMdd-HHmmss";

qint64 inMs(kvlink::Duration time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

// "values-" and ".csv"
struct NameParts {
    QString before, after;
};

NameParts partsOf(const QString &path)
{
    const QFileInfo info(path);
    const QString suffix = info.suffix();
    if (suffix.isEmpty())
        return {path + "-", QString()};
    return {path.left(path.size() - suffix.size() - 1) + "-", "." + suffix};
}

} // namespace

bool canRotateBy(kvlink::Duration period)
{
    const qint64 ms = inMs(period);
    return ms >= 1000 && ms <= msOfDay && msOfDay % ms == 0;
}

qint64 periodBegin(qint64 timeMs, kvlink::Duration period)
{
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(timeMs);
    const qint64 sinceMidnight = QTime(0, 0).msecsTo(local.time());
    // On purpose by the clock on the wall: where it is set back, an hour's file is taken up again.
    return timeMs - sinceMidnight % inMs(period);
}

QString rotatedName(const QString &path, qint64 beginMs)
{
    const NameParts parts = partsOf(path);
    return parts.before + QDateTime::fromMSecsSinceEpoch(beginMs).toString(QString::fromLatin1(stampFormat)) +
           parts.after;
}

QStringList outdatedFiles(const QString &path, const QStringList &fileNames, qint64 oldestMs)
{
    const NameParts parts = partsOf(QFileInfo(path).fileName());
    QStringList outdated;
    for (const QString &name : fileNames) {
        if (!name.startsWith(parts.before) || !name.endsWith(parts.after) ||
            name.size() <= parts.before.size() + parts.after.size())
            continue;
        const QString stamp =
            name.mid(parts.before.size(), name.size() - parts.before.size() - parts.after.size());
        const QDateTime begin = QDateTime::fromString(stamp, QString::fromLatin1(stampFormat));
        if (begin.isValid() && begin.toMSecsSinceEpoch() < oldestMs)
            outdated << name;
    }
    return outdated;
}

} // namespace kvhost
