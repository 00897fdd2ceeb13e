#include "socket_link.h"

#include <QTcpSocket>
#include <QUdpSocket>

namespace kvhost
{

SocketLink::SocketLink(const PlcUrl &url, std::function<void()> wake) : m_url(url), m_wake(std::move(wake)) {}

SocketLink::~SocketLink()
{
    close();
}

void SocketLink::open()
{
    close();
    m_problem.clear();
    m_state = State::Opening;
    if (m_url.kind == PlcUrl::Kind::Udp)
        m_socket = std::make_unique<QUdpSocket>();
    else
        m_socket = std::make_unique<QTcpSocket>();
    watch();
    m_socket->connectToHost(m_url.host, quint16(m_url.port));
}

void SocketLink::watch()
{
    QAbstractSocket *socket = m_socket.get();
    QObject::connect(socket, &QAbstractSocket::connected, socket, [this] {
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        m_state = State::Open;
        m_wake();
    });
    QObject::connect(socket, &QAbstractSocket::readyRead, socket, [this] { m_wake(); });
    QObject::connect(socket, &QAbstractSocket::errorOccurred, socket, [this] { failed(); });
    QObject::connect(socket, &QAbstractSocket::disconnected, socket, [this] { failed(); });
}

void SocketLink::failed()
{
    if (m_state == State::Failed || m_state == State::Closed)
        return;
    m_problem = m_socket->errorString();
    m_state = State::Failed;
    m_wake();
}

// Never called from within a signal of the socket, so it may go at once.
void SocketLink::close()
{
    m_state = State::Closed;
    if (!m_socket)
        return;
    m_socket->disconnect();
    m_socket->abort();
    m_socket.reset();
}

void SocketLink::send(const QByteArray &bytes)
{
    if (m_state != State::Open)
        return;
    m_socket->write(bytes);
    m_socket->flush();
}

QByteArray SocketLink::takeReceived()
{
    if (!m_socket)
        return {};
    auto *udp = qobject_cast<QUdpSocket *>(m_socket.get());
    if (udp == nullptr)
        return m_socket->readAll();
    QByteArray all;
    while (udp->hasPendingDatagrams()) {
        QByteArray datagram(int(qMax<qint64>(udp->pendingDatagramSize(), 1)), '\0');
        const qint64 size = udp->readDatagram(datagram.data(), datagram.size());
        if (size < 0)
            break;
        all += datagram.left(int(size));
    }
    return all;
}

} // namespace kvhost
