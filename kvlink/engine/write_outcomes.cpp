// SPDX-License-Identifier: MIT
#include "engine/write_outcomes.h"

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

// clang-format off
constexpr OutcomeRow rows[] = {
//   outcome           reason                left   may be  text
    {Outcome::Done,    Reason::None,         true,  true,  "confirmed by the PLC"},
    {Outcome::Refused, Reason::PlcError,     true,  false, "the PLC answered %1; nothing was changed"},
    {Outcome::NotSent, Reason::Offline,      false, false, "no link; nothing was sent"},
    {Outcome::NotSent, Reason::Expired,      false, false, "expired after %1; nothing was sent"},
    {Outcome::NotSent, Reason::Cancelled,    false, false, "cancelled; nothing was sent"},
    {Outcome::NotSent, Reason::Replaced,     false, false, "replaced by a newer value; nothing was sent"},
    {Outcome::NotSent, Reason::NotPermitted, false, false, "not permitted: %1; nothing was sent"},
    {Outcome::NotSent, Reason::InvalidValue, false, false, "%1; nothing was sent"},
    {Outcome::NotSent, Reason::Stopped,      false, false, "the link was stopped; nothing was sent"},
    {Outcome::NotSent, Reason::QueueFull,    false, false, "%1 writes wait already; nothing was sent"},
    // Of a bit of a word, whose word is read first: that read is no write.
    {Outcome::NotSent, Reason::NoAnswer,     false, false, "the word could not be read, no answer in %1; nothing was written"},
    {Outcome::NotSent, Reason::Corrupted,    false, false, "the word could not be read, the answer was corrupted; nothing was written"},
    {Outcome::NotSent, Reason::LinkLost,     false, false, "the word could not be read, the link was lost; nothing was written"},
    {Outcome::Unknown, Reason::NoAnswer,     true,  true,  "sent, no answer in %1; it may have been carried out"},
    {Outcome::Unknown, Reason::Corrupted,    true,  true,  "sent, the answer was corrupted; it may have been carried out"},
    {Outcome::Unknown, Reason::LinkLost,     true,  true,  "sent, then the link was lost; it may have been carried out"},
    {Outcome::Unknown, Reason::PlcError,     true,  true,  "sent twice: no confirmation first, then the PLC answered %1; it may have been carried out"},
    {Outcome::Unknown, Reason::PartlyDone,   true,  true,  "only the first part is confirmed: %1"},
    {Outcome::Unknown, Reason::Stopped,      true,  true,  "sent, then the link was stopped; it may have been carried out"},
};
// clang-format on

} // namespace

std::span<const OutcomeRow> outcomeRows()
{
    return rows;
}

QString endText(Outcome outcome, Reason reason, const QString &what)
{
    const auto *row = std::find_if(std::begin(rows), std::end(rows), [&](const OutcomeRow &r) {
        return r.outcome == outcome && r.reason == reason;
    });
    Q_ASSERT_X(row != std::end(rows), "endText", "no row for this outcome and reason");
    if (row == std::end(rows))
        return {};
    const QString text = QString::fromLatin1(row->text);
    return text.contains(QLatin1String("%1")) ? text.arg(what) : text;
}

} // namespace kvlink
