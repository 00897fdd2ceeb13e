// SPDX-License-Identifier: MIT
// A TCP port that keeps accepting.
#include "shell/listener.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace kvsim
{
namespace
{

constexpr int listenQueue = 1024; // Qt asks for 50
constexpr int retryMs = 100;
constexpr int dismissedMs = 1000;

} // namespace

Listener::Listener(std::function<void(QTcpSocket *)> accepted) : m_accepted(std::move(accepted))
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, [this] { m_waiting->setEnabled(true); });
}

QString Listener::open(const Address &address)
{
    m_address = address;
    return reopen();
}

QString Listener::reopen()
{
    if (m_server.isListening())
        return {};
    if (!m_server.listen(m_address.host, m_address.port))
        return m_server.errorString();
    ::listen(int(m_server.socketDescriptor()), listenQueue); // a second call sets the new length
    m_address.port = m_server.serverPort();
    // On purpose: Qt only listens. It keeps a listener's first error for good, so that after the
    // usual "nothing waits" it would not see that descriptors are used up, and try without end.
    m_server.pauseAccepting();
    m_waiting = std::make_unique<QSocketNotifier>(m_server.socketDescriptor(), QSocketNotifier::Read);
    connect(m_waiting.get(), &QSocketNotifier::activated, this, [this] { acceptAll(); });
    return {};
}

// Descriptors become free again, so without them it tries again after a pause.
void Listener::acceptAll()
{
    const int listening = int(m_server.socketDescriptor());
    int descriptor = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    while (descriptor >= 0) {
        take(descriptor);
        descriptor = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    }
    if (errno == EAGAIN || errno == ECONNABORTED || errno == EINTR)
        return;
    m_waiting->setEnabled(false);
    m_retry.start(retryMs);
}

void Listener::take(int descriptor)
{
    auto *socket = new QTcpSocket(&m_server);
    if (!socket->setSocketDescriptor(descriptor)) {
        ::close(descriptor);
        delete socket;
        return;
    }
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    m_accepted(socket);
}

void Listener::close()
{
    m_retry.stop();
    m_waiting.reset();
    m_server.close();
}

void dismiss(QTcpSocket *socket, const std::string &text)
{
    socket->write(text.data(), qint64(text.size()));
    socket->flush();
    ::shutdown(int(socket->socketDescriptor()), SHUT_WR);
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    socket->readAll();
    QTimer::singleShot(dismissedMs, socket, [socket] { socket->abort(); });
}

} // namespace kvsim
