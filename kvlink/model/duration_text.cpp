// SPDX-License-Identifier: MIT
// Units of times.
#include "model/duration_text.h"

#include <algorithm>
#include <cmath>

namespace kvlink
{

namespace
{

struct Unit {
    const char *name;
    qint64 microseconds;
};

constexpr Unit units[] = {
    {"d", 86'400'000'000}, {"h", 3'600'000'000}, {"m", 60'000'000},
    {"s", 1'000'000},      {"ms", 1'000},        {"us", 1},
};

// A hundred years: above every time-out, and far from the end of the clock.
constexpr double longest = 36500.0 * 86'400'000'000.0;

bool belongsToNumber(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('.');
}

const Unit *findUnit(const QString &name)
{
    const auto *unit = std::find_if(std::begin(units), std::end(units),
                                    [&](const Unit &one) { return name == QLatin1String(one.name); });
    return unit != std::end(units) ? unit : nullptr;
}

std::nullopt_t fail(QString &problem, const QString &why)
{
    problem = why;
    return std::nullopt;
}

} // namespace

std::optional<Duration> durationFromText(const QString &typed, QString &problem)
{
    const QString text = typed.trimmed().toLower();
    const auto end = std::find_if_not(text.begin(), text.end(), belongsToNumber);
    const int digits = int(end - text.begin());
    bool good = false;
    const double number = text.left(digits).toDouble(&good);
    if (!good)
        return fail(problem,
                    QStringLiteral("'%1' is not a time: write 500ms, 2s, 1.5m, 1h or 30d").arg(typed));
    const QString name = text.mid(digits).trimmed();
    if (name.isEmpty())
        return fail(problem, QStringLiteral("'%1' has no unit: write %2ms or %2s").arg(typed, text));
    const Unit *unit = findUnit(name);
    if (unit == nullptr)
        return fail(problem,
                    QStringLiteral("'%1' is not a unit of time: use us, ms, s, m, h or d").arg(name));
    const double microseconds = std::round(number * double(unit->microseconds));
    if (microseconds > longest)
        return fail(problem, QStringLiteral("'%1' is too long: at most 36500d").arg(typed));
    return Duration(qint64(microseconds));
}

QString durationText(Duration duration)
{
    const qint64 count = duration.count();
    if (count == 0)
        return QStringLiteral("0s");
    for (const Unit &unit : units) {
        const bool exact = count % unit.microseconds * 10 % unit.microseconds == 0;
        if (!exact || std::abs(count) < unit.microseconds)
            continue;
        const QString whole = QString::number(std::abs(count / unit.microseconds));
        const qint64 tenth = std::abs(count % unit.microseconds * 10 / unit.microseconds);
        const QString decimals = tenth == 0 ? QString() : QStringLiteral(".%1").arg(tenth);
        return (count < 0 ? QStringLiteral("-") : QString()) + whole + decimals + QLatin1String(unit.name);
    }
    return {};
}

} // namespace kvlink
