// SPDX-License-Identifier: MIT
#include "notify.h"

#include <QtGlobal>

#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kvgateway
{

void notifyManager(const QByteArray &state)
{
    const QByteArray path = qgetenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path.isEmpty() || std::size_t(path.size()) >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    if (path.startsWith('@')) // an abstract name
        address.sun_path[0] = '\0';
    const int out = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (out < 0)
        return;
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(path.size()));
    const ssize_t sent = sendto(out, state.constData(), std::size_t(state.size()), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr *>(&address), length);
    Q_UNUSED(sent) // nobody listens: nothing to do about it
    close(out);
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
