// SPDX-License-Identifier: MIT
#include "engine/write_ends.h"

#include "engine/write_outcomes.h"
#include "model/duration_text.h"

namespace kvlink
{

void WriteEnds::add(const QueuedWrite &write, Outcome outcome, Reason reason, const QString &what)
{
    const auto code = quint8(reason == Reason::PlcError ? write.refusal : 0);
    m_ended.push_back({write.id, write.tag, write.kind, outcome, reason, code, write.sent,
                       endText(outcome, reason, what.isEmpty() ? detail(write, reason) : what)});
}

void WriteEnds::addAsFarAsSent(const QueuedWrite &write, Reason ifUnsent)
{
    if (write.part > 0)
        add(write, Outcome::Unknown, Reason::PartlyDone);
    else if (write.doubt != Reason::None)
        add(write, Outcome::Unknown, write.doubt);
    else if (write.refusal >= 0)
        add(write, Outcome::Refused, Reason::PlcError);
    else
        add(write, Outcome::NotSent, ifUnsent);
}

QString WriteEnds::detail(const QueuedWrite &write, Reason reason) const
{
    if (reason == Reason::NoAnswer)
        return durationText(m_timeout);
    if (reason == Reason::PlcError)
        return QStringLiteral("E%1").arg(write.refusal);
    if (reason == Reason::Expired)
        return durationText(write.options.expires);
    if (reason == Reason::PartlyDone)
        return QStringLiteral("%1 of %2 requests").arg(write.part).arg(write.requests.size());
    return {};
}

} // namespace kvlink
