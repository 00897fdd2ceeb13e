// SPDX-License-Identifier: MIT
// The TCP port of the control connection.
#include "shell/control_line.h"

namespace kvsim
{
namespace
{

constexpr qint64 longestCommand = 64 * 1024;

} // namespace

ControlLine::ControlLine(ControlDesk &desk) : m_desk(desk)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
            serve(socket);
        }
    });
}

QString ControlLine::open(const Address &address)
{
    if (m_server.listen(address.host, address.port))
        return {};
    return QStringLiteral("cannot listen on control %1: %2")
        .arg(addressText(address.host, address.port), m_server.errorString());
}

QString ControlLine::address() const
{
    return addressText(m_server.serverAddress(), m_server.serverPort());
}

void ControlLine::serve(QTcpSocket *socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().trimmed();
        if (line.isEmpty())
            continue;
        const std::string answer = m_desk.run(std::string_view(line.constData(), std::size_t(line.size())));
        socket->write((answer + "\n").c_str());
        socket->flush();
    }
    if (socket->bytesAvailable() > longestCommand) {
        socket->write("error: this line is too long\n");
        socket->disconnectFromHost();
    }
}

} // namespace kvsim
