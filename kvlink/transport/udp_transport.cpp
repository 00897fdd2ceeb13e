// SPDX-License-Identifier: MIT
// UDP to a PLC. See udp_transport.h.
#include "transport/udp_transport.h"

#include "transport/system_error.h"

#include <array>
#include <cerrno>

namespace kvlink
{

namespace
{

constexpr int mostBytes =
    16 * 1024; // more than the longest answer; what is longer is cut, and refused for its shape
constexpr int mostDatagrams =
    64; // in one turn: a PLC that floods does not keep the thread from its deadlines

} // namespace

UdpTransport::UdpTransport(const PlcUrl &url, NameLookup lookup)
    : SocketTransport(url, std::move(lookup), 1s) // connecting never waits
{
}

Descriptor UdpTransport::makeSocket(int family) const
{
    return Descriptor(::socket(family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

void UdpTransport::send(const QByteArray &bytes)
{
    if (state() != State::Open)
        return;
    m_unsent.append(bytes);
    flush();
}

void UdpTransport::flush()
{
    while (!m_unsent.isEmpty()) {
        const QByteArray &datagram = m_unsent.first();
        if (::send(socket(), datagram.constData(), size_t(datagram.size()), MSG_NOSIGNAL) >= 0) {
            m_unsent.removeFirst();
            continue;
        }
        if (errno == EAGAIN)
            return; // work() goes on
        if (errno != EINTR) {
            fail(systemErrorText(errno)); // among others what the network said of an earlier datagram
            return;
        }
    }
}

void UdpTransport::receive()
{
    std::array<char, mostBytes> datagram;
    for (int i = 0; i < mostDatagrams; ++i) {
        const ssize_t size = ::recv(socket(), datagram.data(), datagram.size(), 0);
        if (size >= 0) {
            received(datagram.data(), int(size));
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN)
            fail(systemErrorText(errno));
        return;
    }
}

} // namespace kvlink
