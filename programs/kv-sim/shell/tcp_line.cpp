#include "tcp_line.h"

#include <sys/socket.h>

namespace
{

constexpr qint64 readAhead = 64 * 1024;
constexpr qint64 portion = 4096; // worked off at a time; a read request can ask for 500 times its own length
constexpr qint64 mostUnsent = 1024 * 1024; // a client that does not read is not served beyond this

// Closing with a linger time of 0 sends a reset.
void resetSocket(QTcpSocket *socket)
{
    const linger now{1, 0};
    ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
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

TcpLine::TcpLine(Exchange &exchange, Conversation::Speech speech) : exchange_(exchange), speech_(speech)
{
    server_.setMaxPendingConnections(1000);
    connect(&server_, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = server_.nextPendingConnection())
            accept(socket);
    });
}

QString TcpLine::open(const Address &address)
{
    address_ = address;
    return reopen();
}

QString TcpLine::reopen()
{
    if (!server_.isListening() && !server_.listen(address_.host, address_.port))
        return QStringLiteral("cannot listen on tcp %1: %2")
            .arg(addressText(address_.host, address_.port), server_.errorString());
    address_.port = server_.serverPort();
    return {};
}

QString TcpLine::address() const
{
    return addressText(address_.host, address_.port);
}

void TcpLine::disconnectAll()
{
    for (QTcpSocket *socket : server_.findChildren<QTcpSocket *>())
        socket->disconnectFromHost();
}

void TcpLine::accept(QTcpSocket *socket)
{
    socket->setReadBufferSize(readAhead);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    admit(socket);
}

void TcpLine::admit(QTcpSocket *socket)
{
    const int number = ++exchange_.connections;
    const kvsim::Entrance entrance = exchange_.simulator.connectionOpened(exchange_.openConnections > 0);
    exchange_.trace.note(number, "connected from " +
                                     addressText(socket->peerAddress(), socket->peerPort()).toStdString());
    if (entrance == kvsim::Entrance::Refuse) {
        exchange_.trace.note(number, "refused by a fault");
        return resetSocket(socket);
    }
    if (entrance == kvsim::Entrance::CloseAtOnce) {
        exchange_.trace.note(number, "closed by a fault: second client");
        return socket->disconnectFromHost();
    }
    ++exchange_.openConnections;
    connect(socket, &QObject::destroyed, this, [this, number] {
        --exchange_.openConnections;
        exchange_.trace.note(number, "disconnected");
    });
    if (entrance == kvsim::Entrance::Serve)
        return talk(socket, number);
    exchange_.trace.note(number, "accepted into a black hole by a fault");
    connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
}

void TcpLine::talk(QTcpSocket *socket, int number)
{
    Wire wire;
    wire.send = [socket](const QByteArray &bytes) { sendNow(socket, bytes); };
    wire.close = [socket] { socket->disconnectFromHost(); };
    wire.reset = [socket] { resetSocket(socket); };
    auto *conversation = new Conversation(exchange_, number, speech_, wire);
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
    readMore();
}
