// SPDX-License-Identifier: MIT
// A UDP port with the PLC behind it. Every sender has a link state and a half-read line of its own.
#pragma once

#include "shell/address.h"
#include "shell/conversation.h"

#include <QUdpSocket>

#include <list>
#include <memory>

namespace kvsim
{

class UdpLine : public QObject
{
public:
    explicit UdpLine(LineContext &context);

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
    void send(QByteArray bytes, const QHostAddress &host, quint16 port);
    Conversation &conversationWith(const QHostAddress &host, quint16 port);

    LineContext &m_context;
    QUdpSocket m_socket;
    std::list<Peer> m_peers; // the latest speaker first
};

} // namespace kvsim
