// SPDX-License-Identifier: MIT
// What TCP and UDP have in common. See socket_transport.h.
#include "transport/socket_transport.h"

#include "transport/system_error.h"

#include <cerrno>
#include <poll.h>
#include <sys/timerfd.h>

namespace kvlink
{

namespace
{

// A descriptor that becomes readable after this time.
Descriptor timerOf(Duration time)
{
    Descriptor timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    itimerspec once = {};
    once.it_value.tv_sec = time_t(seconds.count());
    once.it_value.tv_nsec = long(std::chrono::nanoseconds(time - seconds).count());
    ::timerfd_settime(timer.number(), 0, &once, nullptr);
    return timer;
}

bool isReady(int descriptor, short events)
{
    pollfd wanted{descriptor, events, 0};
    return ::poll(&wanted, 1, 0) > 0;
}

int errorOf(int socket)
{
    int error = 0;
    socklen_t size = sizeof(error);
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

} // namespace

SocketTransport::SocketTransport(const PlcUrl &url, NameLookup lookup, Duration attempt)
    : m_url(url), m_attempt(attempt), m_resolver(std::move(lookup))
{
}

void SocketTransport::open()
{
    close();
    m_state = State::Resolving;
    if (m_url.isName)
        m_resolver.start(m_url.host, m_url.port);
    else
        begin(numericAddress(m_url.host, m_url.port));
}

void SocketTransport::close()
{
    fail({});
    m_resolver.cancel();
    m_received.clear();
    m_state = State::Closed;
}

void SocketTransport::fail(const QString &problem)
{
    m_socket.reset();
    m_timer.reset();
    dropUnsent();
    m_problem = problem;
    m_state = State::Failed;
}

void SocketTransport::begin(const Resolved &resolved)
{
    if (resolved.addresses.empty()) {
        fail(resolved.problem);
        return;
    }
    m_addresses = resolved.addresses;
    m_left = m_addresses.size();
    if (m_isCurrentGood)
        m_current += m_left - 1; // connectNext() moves on by one
    connectNext();
}

void SocketTransport::connectNext()
{
    while (m_left > 0) {
        --m_left;
        m_current = (m_current + 1) % m_addresses.size();
        m_isCurrentGood = false;
        if (connectTo(m_addresses[m_current]))
            return;
    }
    fail(m_problem); // of the last attempt
}

// \return false with a problem if it failed at once
bool SocketTransport::connectTo(const SocketAddress &address)
{
    m_timer.reset();
    m_socket = makeSocket(address.family());
    const auto *bytes = reinterpret_cast<const sockaddr *>(&address.bytes);
    if (m_socket.isOpen() && ::connect(m_socket.number(), bytes, address.length) == 0) {
        becomeOpen();
        return true;
    }
    if (m_socket.isOpen() && (errno == EINPROGRESS || errno == EINTR)) {
        m_state = State::Connecting;
        if (m_left > 0)
            m_timer = timerOf(m_attempt);
        return true;
    }
    m_problem = problemWith(address, errno);
    return false;
}

void SocketTransport::finishConnecting()
{
    int error = ETIMEDOUT;
    if (isReady(m_socket.number(), POLLOUT))
        error = errorOf(m_socket.number());
    else if (!isAttemptOver())
        return;
    if (error == 0) {
        becomeOpen();
        return;
    }
    m_problem = problemWith(m_addresses[m_current], error);
    connectNext();
}

void SocketTransport::becomeOpen()
{
    m_timer.reset();
    m_problem.clear();
    m_state = State::Open;
}

bool SocketTransport::isAttemptOver() const
{
    return m_timer.isOpen() && isReady(m_timer.number(), POLLIN);
}

QString SocketTransport::problemWith(const SocketAddress &address, int error) const
{
    const QString text = systemErrorText(error);
    return m_url.isName ? QStringLiteral("%1 (%2)").arg(text, address.text()) : text;
}

void SocketTransport::received(const char *bytes, int size)
{
    m_received.append(bytes, size);
    m_isCurrentGood = m_isCurrentGood || size > 0;
}

QByteArray SocketTransport::takeReceived()
{
    return std::exchange(m_received, {});
}

void SocketTransport::work()
{
    Resolved resolved;
    if (m_state == State::Resolving && m_resolver.takeResult(resolved))
        begin(resolved);
    if (m_state == State::Connecting)
        finishConnecting();
    if (m_state == State::Open)
        receive();
    if (m_state == State::Open && hasUnsent())
        flush();
}

void SocketTransport::addDescriptors(std::vector<pollfd> &to) const
{
    m_resolver.addDescriptors(to);
    if (m_timer.isOpen())
        to.push_back({m_timer.number(), POLLIN, 0});
    if (!m_socket.isOpen())
        return;
    const bool writes = m_state == State::Connecting || hasUnsent();
    to.push_back({m_socket.number(), short(writes ? POLLIN | POLLOUT : POLLIN), 0});
}

} // namespace kvlink
