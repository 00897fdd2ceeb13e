// A TCP port with the PLC behind it: text lines, or remote-area requests.
#pragma once

#include "address.h"
#include "conversation.h"

#include <QTcpServer>
#include <QTcpSocket>

class TcpLine : public QObject
{
public:
    TcpLine(Exchange &exchange, Conversation::Speech speech);

    /// \return empty, or why the port cannot be had. Port 0 takes a free one and keeps it from then on.
    QString open(const Address &address);
    QString address() const;
    bool isOpen() const { return server_.isListening(); }
    QString reopen();
    void stopListening() { server_.close(); }
    void disconnectAll();

private:
    void accept(QTcpSocket *socket);
    void admit(QTcpSocket *socket);
    void talk(QTcpSocket *socket, int number);

    Exchange &exchange_;
    Conversation::Speech speech_;
    QTcpServer server_;
    Address address_;
};
