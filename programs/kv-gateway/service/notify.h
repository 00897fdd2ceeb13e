// SPDX-License-Identifier: MIT
// Tells systemd how the service is doing: datagrams to the socket that it names.
#pragma once

#include <kvlink/times.h>

#include <QByteArray>

#include <optional>

namespace kvgateway
{

/// "READY=1", "STOPPING=1", "WATCHDOG=1". Does nothing without NOTIFY_SOCKET.
void notifyManager(const QByteArray &state);

/// How often "WATCHDOG=1" is expected; none: not at all.
std::optional<kvlink::Duration> watchdogPeriod();

} // namespace kvgateway
