// SPDX-License-Identifier: MIT
#include "notify.h"

#include "unix_datagram.h"

#include <QtGlobal>

namespace kvgateway
{

void notifyManager(const QByteArray &state)
{
    sendDatagram(qgetenv("NOTIFY_SOCKET"), state, IfFull::Wait); // nobody listens: nothing to do about it
}

std::optional<kvlink::Duration> watchdogPeriod()
{
    bool ok = false;
    const qint64 microseconds = qgetenv("WATCHDOG_USEC").toLongLong(&ok);
    if (!ok || microseconds <= 0)
        return std::nullopt;
    return kvlink::Duration(microseconds);
}

} // namespace kvgateway
