// SPDX-License-Identifier: MIT
#include "unix_datagram.h"

#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kvgateway
{

bool sendDatagram(const QByteArray &path, const QByteArray &bytes, IfFull ifFull)
{
    sockaddr_un address{};
    if (path.isEmpty() || std::size_t(path.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    if (path.startsWith('@'))
        address.sun_path[0] = '\0';
    const int out = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (out < 0)
        return false;
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(path.size()));
    const int flags = MSG_NOSIGNAL | (ifFull == IfFull::GiveUp ? MSG_DONTWAIT : 0);
    const ssize_t sent = ::sendto(out, bytes.constData(), std::size_t(bytes.size()), flags,
                                  reinterpret_cast<const sockaddr *>(&address), length);
    ::close(out);
    return sent == ssize_t(bytes.size());
}

} // namespace kvgateway
