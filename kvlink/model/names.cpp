// SPDX-License-Identifier: MIT
// Names of states, qualities, reasons and outcomes, as people, logs and metrics show them.
#include <kvlink/link.h>
#include <kvlink/write.h>

namespace kvlink
{

QString qualityName(Quality quality)
{
    switch (quality) {
    case Quality::Never:
        return QStringLiteral("never");
    case Quality::Good:
        return QStringLiteral("good");
    case Quality::Stale:
        return QStringLiteral("stale");
    case Quality::Bad:
        return QStringLiteral("bad");
    case Quality::Pending:
        return QStringLiteral("pending");
    }
    return {};
}

QString reasonText(Reason reason)
{
    switch (reason) {
    case Reason::None:
        return {};
    case Reason::NoLink:
        return QStringLiteral("no link");
    case Reason::NoAnswer:
        return QStringLiteral("no answer");
    case Reason::Corrupted:
        return QStringLiteral("the answer was corrupted");
    case Reason::PlcError:
        return QStringLiteral("the PLC answered an error");
    case Reason::OutOfRange:
        return QStringLiteral("out of range");
    case Reason::NotRepresentable:
        return QStringLiteral("not representable");
    case Reason::Offline:
        return QStringLiteral("offline");
    case Reason::Expired:
        return QStringLiteral("expired");
    case Reason::Cancelled:
        return QStringLiteral("cancelled");
    case Reason::Replaced:
        return QStringLiteral("replaced by a newer value");
    case Reason::NotPermitted:
        return QStringLiteral("not permitted");
    case Reason::InvalidValue:
        return QStringLiteral("the value does not fit");
    case Reason::LinkLost:
        return QStringLiteral("the link was lost");
    case Reason::PartlyDone:
        return QStringLiteral("carried out in part");
    case Reason::Stopped:
        return QStringLiteral("the link was stopped");
    case Reason::QueueFull:
        return QStringLiteral("too many writes wait");
    }
    return {};
}

QString outcomeName(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Done:
        return QStringLiteral("done");
    case Outcome::Refused:
        return QStringLiteral("refused");
    case Outcome::NotSent:
        return QStringLiteral("not sent");
    case Outcome::Unknown:
        return QStringLiteral("unknown");
    }
    return {};
}

QString linkStateName(LinkState state)
{
    switch (state) {
    case LinkState::Stopped:
        return QStringLiteral("stopped");
    case LinkState::Resolving:
        return QStringLiteral("resolving");
    case LinkState::Connecting:
        return QStringLiteral("connecting");
    case LinkState::Greeting:
        return QStringLiteral("greeting");
    case LinkState::Ready:
        return QStringLiteral("ready");
    case LinkState::Waiting:
        return QStringLiteral("waiting");
    }
    return {};
}

} // namespace kvlink
