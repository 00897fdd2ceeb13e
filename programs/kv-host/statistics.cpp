#include "statistics.h"

#include <QStringList>

#include <algorithm>

namespace kvhost
{

void Statistics::answered(Clock::duration time)
{
    const double ms = inMs(time);
    minMs = answers == 0 ? ms : std::min(minMs, ms);
    maxMs = std::max(maxMs, ms);
    sumMs += ms;
    ++answers;
}

qint64 Statistics::errorCount() const
{
    qint64 count = 0;
    for (const qint64 kind : errors)
        count += kind;
    return count;
}

double Statistics::lossPercent() const
{
    return requests == 0 ? 0.0 : 100.0 * double(unanswered) / double(requests);
}

QString Statistics::summary() const
{
    QStringList kinds;
    for (auto it = errors.begin(); it != errors.end(); ++it)
        kinds << QStringLiteral("%1 %2").arg(it.key()).arg(it.value());
    QString text = QStringLiteral("%1 requests, %2 answers, %3 errors%4, %5% loss\n")
                       .arg(requests)
                       .arg(answers)
                       .arg(errorCount())
                       .arg(kinds.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(kinds.join(", ")))
                       .arg(lossPercent(), 0, 'f', 1);
    text +=
        QStringLiteral(
            "answer time min/mean/max = %1/%2/%3 ms, %4 reconnects, %5 given up, %6 stray bytes thrown away")
            .arg(minMs, 0, 'f', 2)
            .arg(meanMs(), 0, 'f', 2)
            .arg(maxMs, 0, 'f', 2)
            .arg(reconnects)
            .arg(givenUp)
            .arg(thrownAway);
    return text;
}

} // namespace kvhost
