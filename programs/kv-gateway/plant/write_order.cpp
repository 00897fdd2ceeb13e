// SPDX-License-Identifier: MIT
// What the tag file forbids.
#include "write_order.h"

namespace kvgateway
{

namespace
{

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
    if (!problem.isEmpty())
        return problem;
    problem = tag.limitProblem(value);
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
