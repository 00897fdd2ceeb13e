// SPDX-License-Identifier: MIT
// A TCP port of the PLC.
#include "shell/tcp_line.h"

#include <QTimer>

#include <sys/socket.h>

namespace kvsim
{
namespace
{

constexpr qint64 readAhead = 64 * 1024;
constexpr qint64 portion = 4096; // worked off at a time; a read request can ask for 500 times its own length
constexpr qint64 mostUnsent = 1024 * 1024; // a client that does not read is not served beyond this

// Closing with a linger time of 0 sends a reset.
void resetSocket(QTcpSocket *socket)
{
    const linger now{1, 0};
    ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket->abort();
}

void sendNow(QTcpSocket *socket, const QByteArray &bytes)
{
    if (socket->state() != QAbstractSocket::ConnectedState)
        return; // the client left while its answer was held back
    socket->write(bytes);
    socket->flush();
}

} // namespace

TcpLine::TcpLine(LineContext &context, Conversation::Speech speech)
    : m_context(context), m_speech(speech), m_listener([this](QTcpSocket *socket) { accept(socket); })
{
}

QString TcpLine::open(const Address &address)
{
    const QString wrong = m_listener.open(address);
    return wrong.isEmpty() ? wrong
                           : QStringLiteral("cannot listen on tcp %1: %2").arg(addressText(address), wrong);
}

QString TcpLine::reopen()
{
    return open(m_listener.address());
}

void TcpLine::disconnectAll()
{
    for (QTcpSocket *socket : m_listener.sockets())
        socket->disconnectFromHost();
}

void TcpLine::resetAll()
{
    for (QTcpSocket *socket : m_listener.sockets())
        resetSocket(socket);
}

void TcpLine::accept(QTcpSocket *socket)
{
    socket->setReadBufferSize(readAhead);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    const int number = ++m_context.connections;
    const Entrance entrance = m_context.simulator.connectionOpened(!m_context.openClients.empty());
    m_context.trace.opened(number, "connected from " +
                                       addressText(socket->peerAddress(), socket->peerPort()).toStdString());
    if (entrance == Entrance::Refuse) {
        m_context.trace.ending(number, Ending::Reset, "refused by a fault");
        return resetSocket(socket);
    }
    if (entrance == Entrance::CloseAtOnce) {
        m_context.trace.ending(number, Ending::Close, "closed by a fault: second client");
        return socket->disconnectFromHost();
    }
    if (!admit(socket, number))
        return;
    if (entrance == Entrance::Serve)
        return talk(socket, number);
    m_context.trace.note(number, "accepted into a black hole by a fault");
    connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
}

// Within the limit of clients; false if this one has to go.
bool TcpLine::admit(QTcpSocket *socket, int number)
{
    auto &clients = m_context.openClients;
    const ClientLimit limit = m_context.clients;
    if (limit.most > 0 && clients.size() >= limit.most) {
        if (!limit.oldestGoes) {
            m_context.trace.ending(number, Ending::Close, "closed: there are enough clients");
            socket->disconnectFromHost();
            return false;
        }
        m_context.trace.note(number, "takes the place of the oldest client");
        QTcpSocket *oldest = clients.front();
        clients.erase(clients.begin());
        oldest->disconnectFromHost();
    }
    clients.push_back(socket);
    connect(socket, &QTcpSocket::disconnected, this,
            [this, socket] { std::erase(m_context.openClients, socket); });
    connect(socket, &QObject::destroyed, this, [this, number] { m_context.trace.closed(number); });
    return true;
}

void TcpLine::closeWhenIdle(QTcpSocket *socket, int number)
{
    auto *idle = new QTimer(socket);
    idle->setSingleShot(true);
    const auto restart = [idle, ms = m_context.idleCloseMs] { idle->start(ms); };
    connect(socket, &QTcpSocket::readyRead, idle, restart);
    connect(socket, &QTcpSocket::bytesWritten, idle, restart);
    connect(idle, &QTimer::timeout, socket, [this, socket, number] {
        m_context.trace.ending(number, Ending::Close, "closed: it was silent for too long");
        socket->disconnectFromHost();
    });
    restart();
}

void TcpLine::talk(QTcpSocket *socket, int number)
{
    Wire wire;
    wire.send = [socket](const QByteArray &bytes) { sendNow(socket, bytes); };
    wire.close = [socket] { socket->disconnectFromHost(); };
    wire.reset = [socket] { resetSocket(socket); };
    auto *conversation = new Conversation(m_context, number, m_speech, wire);
    conversation->setParent(socket);
    const auto readMore = [socket, conversation] {
        while (socket->bytesAvailable() > 0 && !conversation->busy() && socket->bytesToWrite() < mostUnsent)
            conversation->receive(socket->read(portion));
    };
    connect(socket, &QTcpSocket::readyRead, conversation, readMore);
    connect(socket, &QTcpSocket::bytesWritten, conversation, readMore);
    conversation->onReady([socket, conversation, readMore] {
        if (socket->bytesAvailable() > 0)
            QMetaObject::invokeMethod(conversation, readMore, Qt::QueuedConnection);
    });
    if (m_context.idleCloseMs > 0)
        closeWhenIdle(socket, number);
    readMore();
}

} // namespace kvsim
