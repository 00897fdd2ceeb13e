// SPDX-License-Identifier: MIT
#include "api/settings_check.h"

#include <cmath>

namespace kvlink
{
namespace
{
constexpr Duration shortestTimeout = 1ms;
constexpr Duration longestTimeout = 1min;
constexpr Duration longestGap = 10s;
constexpr Duration day = 24h;

QString seconds(Duration time)
{
    return QString::number(double(time.count()) / 1e6) + QStringLiteral(" s");
}

QString milliseconds(Duration time)
{
    return QString::number(double(time.count()) / 1e3) + QStringLiteral(" ms");
}

QString outOfRange(const char *what, const QString &given, const QString &range)
{
    return QStringLiteral("%1 of %2 is not possible; it must be %3").arg(QLatin1String(what), given, range);
}

QString notWithin(const char *what, int given, int least, int most)
{
    if (given >= least && given <= most)
        return {};
    return outOfRange(what, QString::number(given), QStringLiteral("between %1 and %2").arg(least).arg(most));
}
} // namespace

QString problemOf(const LinkSettings &settings)
{
    if (settings.timeout < shortestTimeout || settings.timeout > longestTimeout)
        return outOfRange("a time-out", milliseconds(settings.timeout),
                          QStringLiteral("between 1 ms and 60 s"));
    if (settings.gap < Duration(0) || settings.gap > longestGap)
        return outOfRange("a pause between requests", milliseconds(settings.gap),
                          QStringLiteral("between 0 and 10 s"));
    return notWithin("a largest request", settings.maxBlock, 1, 1000);
}

QString problemOf(const TagSettings &settings)
{
    if (!std::isfinite(settings.scale) || settings.scale == 0.0)
        return QStringLiteral("a scale must be a number other than 0");
    if (!std::isfinite(settings.offset))
        return QStringLiteral("an offset must be a finite number");
    if (!std::isfinite(settings.deadband) || settings.deadband < 0.0)
        return QStringLiteral("a deadband must be 0 or more");
    if (settings.period < Duration(0) || settings.period > day)
        return outOfRange("a period", seconds(settings.period), QStringLiteral("between 0 and 86400 s"));
    return {};
}

QString problemOf(const WriteOptions &options)
{
    if (options.expires <= Duration(0) || options.expires > day)
        return outOfRange("an expiry", seconds(options.expires),
                          QStringLiteral("above 0 and at most 86400 s"));
    return notWithin("a number of attempts", options.attempts, 1, 10);
}

} // namespace kvlink
