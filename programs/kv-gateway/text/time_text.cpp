// SPDX-License-Identifier: MIT
#include "time_text.h"

#include <QDateTime>
#include <QRegularExpression>

namespace kvgateway
{

QString timeText(kvlink::WallTime time)
{
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
    return QDateTime::fromMSecsSinceEpoch(sinceEpoch.count(), Qt::UTC).toString(Qt::ISODateWithMs);
}

std::optional<kvlink::WallTime> timeFromText(const QString &text, QString &problem)
{
    // Qt alone would also take "2026-05-04T08" and texts with other things behind them.
    static const QRegularExpression shape(
        QStringLiteral(R"(^\d{4}-\d\d-\d\d(T\d\d:\d\d(:\d\d(\.\d{1,6})?)?(Z|[+-]\d\d:\d\d)?)?$)"));
    QString full = text.trimmed();
    if (shape.match(full).hasMatch()) {
        static const QRegularExpression zone(QStringLiteral("(Z|[+-]\\d\\d:\\d\\d)$"));
        if (!full.contains('T'))
            full += QLatin1String("T00:00");
        if (!zone.match(full, 10).hasMatch())
            full += 'Z';
        const QDateTime time = QDateTime::fromString(full, Qt::ISODateWithMs);
        if (time.isValid())
            return kvlink::WallTime(std::chrono::milliseconds(time.toMSecsSinceEpoch()));
    }
    problem = QStringLiteral("'%1' is not a time: write it as 2026-05-04T08:15:02Z or 2026-05-04").arg(text);
    return std::nullopt;
}

} // namespace kvgateway
