// SPDX-License-Identifier: MIT
// The TCP port of the control connection.
#include "shell/control_line.h"

namespace kvsim
{
namespace
{

constexpr qint64 longestCommand = 64 * 1024; // without its line end
constexpr qint64 lineEnd = 2;                // CR LF
constexpr qint64 mostUnsent = 64 * 1024;     // one answer may exceed it, but no further one is made then
constexpr int mostConnections = 64;

} // namespace

ControlLine::ControlLine(std::function<std::string(std::string_view)> run)
    : m_run(std::move(run)), m_listener([this](QTcpSocket *socket) { accept(socket); })
{
}

QString ControlLine::open(const Address &address)
{
    const QString wrong = m_listener.open(address);
    return wrong.isEmpty()
               ? wrong
               : QStringLiteral("cannot listen on control %1: %2").arg(addressText(address), wrong);
}

void ControlLine::accept(QTcpSocket *socket)
{
    if (m_connections >= mostConnections)
        return dismiss(socket, "error: there are " + std::to_string(mostConnections) +
                                   " control connections already; close one first\n");
    ++m_connections;
    connect(socket, &QTcpSocket::disconnected, this, [this] { --m_connections; });
    socket->setReadBufferSize(longestCommand + lineEnd);
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
    connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] { serve(socket); });
    serve(socket);
}

// One command a turn, so that other lines get theirs.
void ControlLine::serve(QTcpSocket *socket)
{
    if (socket->bytesToWrite() >= mostUnsent || socket->state() != QAbstractSocket::ConnectedState)
        return;
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > longestCommand)
            refuse(socket, "this line is too long (" + std::to_string(longestCommand) + " bytes at most)");
        return;
    }
    const QByteArray line = socket->readLine().trimmed();
    if (!line.isEmpty()) {
        const std::string answer = m_run(std::string_view(line.constData(), std::size_t(line.size()))) + "\n";
        socket->write(answer.data(), qint64(answer.size()));
        socket->flush();
    }
    if (socket->bytesAvailable() > 0)
        QMetaObject::invokeMethod(
            socket, [this, socket] { serve(socket); }, Qt::QueuedConnection);
}

void ControlLine::refuse(QTcpSocket *socket, const std::string &reason)
{
    socket->disconnect(this);
    connect(socket, &QTcpSocket::disconnected, this, [this] { --m_connections; });
    dismiss(socket, "error: " + reason + "\n");
}

} // namespace kvsim
