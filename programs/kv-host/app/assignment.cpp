// SPDX-License-Identifier: MIT
#include "assignment.h"

namespace kvhost
{

namespace
{

std::nullopt_t fail(QString &problem, const QString &why)
{
    problem = why;
    return std::nullopt;
}

std::optional<Assignment> parsePulse(App &app, const QString &word, QString &problem)
{
    const auto equals = word.indexOf('=');
    if (equals >= 0 && word.mid(equals + 1) != QLatin1String("1"))
        return fail(problem,
                    QStringLiteral("%1: a pulse writes 1 and then 0: write only the relay").arg(word));
    const auto variable = variableFor(app, equals < 0 ? word : word.left(equals), problem);
    if (!variable)
        return std::nullopt;
    if (!variable->address.isBit())
        return fail(problem, QStringLiteral("%1: only a relay or a bit of a word can be pulsed").arg(word));
    return Assignment{*variable, QStringLiteral("1"), true};
}

} // namespace

std::optional<Assignment> parseAssignment(App &app, const QString &word, QString &problem)
{
    if (app.options.pulse)
        return parsePulse(app, word, problem);
    const auto equals = word.indexOf('=');
    if (equals < 1)
        return fail(problem,
                    QStringLiteral("%1: an assignment is expected, as in DM100=5 or R1015=on").arg(word));
    const auto variable = variableFor(app, word.left(equals), problem);
    if (!variable)
        return std::nullopt;
    const QString typed = word.mid(equals + 1);
    QString why;
    const auto wanted = variable->address.valueFromText(typed, variable->settings, app.options.link, why);
    if (!wanted)
        return fail(problem, QStringLiteral("%1: %2").arg(word, why));
    return Assignment{*variable, typed, *wanted};
}

} // namespace kvhost
