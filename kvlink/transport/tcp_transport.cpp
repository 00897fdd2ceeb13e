// SPDX-License-Identifier: MIT
// TCP to a PLC. See tcp_transport.h.
#include "transport/tcp_transport.h"

#include "transport/system_error.h"

#include <array>
#include <cerrno>
#include <netinet/tcp.h>

namespace kvlink
{

namespace
{

constexpr int portionSize = 16 * 1024; // more than the longest answer
constexpr int mostPortions = 4; // in one turn: a PLC that floods does not keep the thread from its deadlines

void switchOn(int socket, int level, int option)
{
    const int on = 1;
    ::setsockopt(socket, level, option, &on, sizeof(on));
}

} // namespace

TcpTransport::TcpTransport(const PlcUrl &url, NameLookup lookup, Duration attempt)
    : SocketTransport(url, std::move(lookup), attempt)
{
}

Descriptor TcpTransport::makeSocket(int family) const
{
    Descriptor made(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!made.isOpen())
        return made;                                   // errno says why
    switchOn(made.number(), IPPROTO_TCP, TCP_NODELAY); // a request goes out at once
    switchOn(made.number(), SOL_SOCKET,
             SO_KEEPALIVE); // a PLC that went without a word is noticed without requests too
    return made;
}

void TcpTransport::send(const QByteArray &bytes)
{
    if (state() != State::Open)
        return;
    m_unsent += bytes;
    flush();
}

void TcpTransport::flush()
{
    while (!m_unsent.isEmpty()) {
        const ssize_t sent = ::send(socket(), m_unsent.constData(), size_t(m_unsent.size()), MSG_NOSIGNAL);
        if (sent >= 0) {
            m_unsent.remove(0, int(sent));
            continue;
        }
        if (errno == EAGAIN)
            return; // work() goes on
        if (errno != EINTR) {
            fail(systemErrorText(errno));
            return;
        }
    }
}

void TcpTransport::receive()
{
    std::array<char, portionSize> portion;
    for (int i = 0; i < mostPortions; ++i) {
        const ssize_t size = ::recv(socket(), portion.data(), portion.size(), 0);
        if (size > 0)
            received(portion.data(), int(size));
        if (size == 0)
            fail(QStringLiteral("the PLC closed the connection"));
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0 && errno != EAGAIN)
            fail(systemErrorText(errno));
        if (size < ssize_t(portion.size()))
            return; // nothing more for now
    }
}

} // namespace kvlink
