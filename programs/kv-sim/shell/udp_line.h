// A UDP port with the PLC behind it. Every sender has a link state and a half-read line of its own.
#pragma once

#include "address.h"
#include "conversation.h"

#include <QUdpSocket>

#include <list>
#include <memory>

class UdpLine : public QObject
{
public:
    explicit UdpLine(Exchange &exchange);

    /// \return empty, or why the port cannot be had
    QString open(const Address &address);
    QString address() const;

private:
    struct Peer {
        QHostAddress host;
        quint16 port;
        std::unique_ptr<Conversation> conversation;
    };

    void readAll();
    Conversation &conversationWith(const QHostAddress &host, quint16 port);

    Exchange &exchange_;
    QUdpSocket socket_;
    std::list<Peer> peers_; // the latest speaker first
};
