// SPDX-License-Identifier: MIT
// A TCP port that keeps accepting.
#include "shell/listener.h"

#include <sys/socket.h>

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
    m_server.setMaxPendingConnections(listenQueue);
    m_retry.setSingleShot(true);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            m_accepted(socket);
        }
    });
    // Qt stops accepting after an error. Descriptors become free again, so this tries again.
    connect(&m_server, &QTcpServer::acceptError, this, [this] { m_retry.start(retryMs); });
    connect(&m_retry, &QTimer::timeout, &m_server, &QTcpServer::resumeAccepting);
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
    return {};
}

void Listener::close()
{
    m_retry.stop();
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
