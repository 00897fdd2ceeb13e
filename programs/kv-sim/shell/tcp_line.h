// SPDX-License-Identifier: MIT
// A TCP port of the PLC: text lines, or remote-area requests.
#pragma once

#include "shell/conversation.h"
#include "shell/listener.h"

namespace kvsim
{

class TcpLine : public QObject
{
public:
    TcpLine(LineContext &context, Conversation::Speech speech);

    /// Port 0 takes a free port and keeps it from then on. \return empty, or why the port
    /// is not available
    QString open(const Address &address);
    QString address() const { return addressText(m_listener.address()); }
    QString reopen();
    void stopListening() { m_listener.close(); }
    void disconnectAll();
    void resetAll();

private:
    void accept(QTcpSocket *socket);
    bool admit(QTcpSocket *socket, int number);
    void closeWhenIdle(QTcpSocket *socket, int number);
    void talk(QTcpSocket *socket, int number);

    LineContext &m_context;
    Conversation::Speech m_speech;
    Listener m_listener;
};

} // namespace kvsim
