// SPDX-License-Identifier: MIT
// A TCP port with the PLC behind it: text lines, or remote-area requests.
#pragma once

#include "shell/address.h"
#include "shell/conversation.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace kvsim
{

class TcpLine : public QObject
{
public:
    TcpLine(LineContext &context, Conversation::Speech speech);

    /// \return empty, or why the port cannot be had. Port 0 takes a free one and keeps it
    /// from then on.
    QString open(const Address &address);
    QString address() const;
    bool isOpen() const { return m_server.isListening(); }
    QString reopen();
    void stopListening() { m_server.close(); }
    void disconnectAll();

private:
    void accept(QTcpSocket *socket);
    void admit(QTcpSocket *socket);
    void talk(QTcpSocket *socket, int number);

    LineContext &m_context;
    Conversation::Speech m_speech;
    QTcpServer m_server;
    Address m_address;
};

} // namespace kvsim
