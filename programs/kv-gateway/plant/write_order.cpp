// SPDX-License-Identifier: MIT
// What the tag file forbids. On purpose strict where a tag has limits: a value that is not a number
// cannot be compared with them, so it is refused whatever the PLC would make of it.
#include "write_order.h"

#include <kvlink/text.h>

#include <cmath>

namespace kvgateway
{

namespace
{

std::optional<double> numberOf(const kvlink::Value &value)
{
    if (const auto *whole = std::get_if<qint64>(&value))
        return double(*whole);
    if (const auto *real = std::get_if<double>(&value); real != nullptr && std::isfinite(*real))
        return *real;
    return std::nullopt;
}

QString limitProblem(const TagConfig &tag, const kvlink::Value &value)
{
    const auto number = numberOf(value);
    if (!number)
        return QStringLiteral("%1 has limits: the value must be a number").arg(tag.name);
    if (tag.min && *number < *tag.min)
        return QStringLiteral("%1 is below the least value of %2, %3")
            .arg(*number)
            .arg(tag.name)
            .arg(*tag.min);
    if (tag.max && *number > *tag.max)
        return QStringLiteral("%1 is above the largest value of %2, %3")
            .arg(*number)
            .arg(tag.name)
            .arg(*tag.max);
    return {};
}

QString accessProblem(const TagConfig &tag, kvlink::Reason &reason)
{
    if (tag.settings.access != kvlink::Access::ReadOnly)
        return {};
    reason = kvlink::Reason::NotPermitted;
    return QStringLiteral("%1 is read-only: its tag file does not say rw").arg(tag.name);
}

} // namespace

QString writeProblem(const TagConfig &tag, const kvlink::Value &value, kvlink::Reason &reason)
{
    QString problem = accessProblem(tag, reason);
    if (!problem.isEmpty() || (!tag.min && !tag.max))
        return problem;
    const auto *list = std::get_if<std::vector<kvlink::Scalar>>(&value);
    const int count = list == nullptr ? 1 : int(list->size());
    for (int i = 0; i < count && problem.isEmpty(); ++i)
        problem = limitProblem(tag, kvlink::valueAt(value, i));
    if (!problem.isEmpty())
        reason = kvlink::Reason::InvalidValue;
    return problem;
}

QString pressProblem(const TagConfig &tag, kvlink::Reason &reason)
{
    QString problem = accessProblem(tag, reason);
    if (!problem.isEmpty())
        return problem;
    if (tag.isBit())
        return {};
    reason = kvlink::Reason::InvalidValue;
    return QStringLiteral("%1 is not a push button: only a relay or a bit of a word can be pressed")
        .arg(tag.name);
}

} // namespace kvgateway
