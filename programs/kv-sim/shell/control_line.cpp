#include "control_line.h"

namespace
{

constexpr qint64 longestCommand = 64 * 1024;

} // namespace

ControlLine::ControlLine(kvsim::ControlDesk &desk) : desk_(desk)
{
    connect(&server_, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = server_.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
            serve(socket);
        }
    });
}

QString ControlLine::open(const Address &address)
{
    if (server_.listen(address.host, address.port))
        return {};
    return QStringLiteral("cannot listen on control %1: %2")
        .arg(addressText(address.host, address.port), server_.errorString());
}

QString ControlLine::address() const
{
    return addressText(server_.serverAddress(), server_.serverPort());
}

void ControlLine::serve(QTcpSocket *socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().trimmed();
        if (line.isEmpty())
            continue;
        const std::string answer =
            desk_.run(std::string_view(line.constData(), static_cast<std::size_t>(line.size())));
        socket->write((answer + "\n").c_str());
        socket->flush();
    }
    if (socket->bytesAvailable() > longestCommand) {
        socket->write("error: this line is too long\n");
        socket->disconnectFromHost();
    }
}
