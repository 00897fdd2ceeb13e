// SPDX-License-Identifier: MIT
// A UDP port of the PLC.
#include "shell/udp_line.h"

#include <QNetworkDatagram>

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::size_t mostPeers = 1024; // UDP never says goodbye: the one silent for longest is forgotten
constexpr std::size_t mostWaiting = 64 * 1024; // of one sender

} // namespace

UdpLine::UdpLine(LineContext &context) : m_context(context)
{
    connect(&m_socket, &QUdpSocket::readyRead, this, [this] { readAll(); });
}

QString UdpLine::open(const Address &address)
{
    if (m_socket.bind(address.host, address.port, QAbstractSocket::DontShareAddress))
        return {};
    return QStringLiteral("cannot listen on udp %1: %2")
        .arg(addressText(address.host, address.port), m_socket.errorString());
}

QString UdpLine::address() const
{
    return addressText(m_socket.localAddress(), m_socket.localPort());
}

void UdpLine::readAll()
{
    while (m_socket.hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket.receiveDatagram();
        if (!datagram.isValid())
            continue;
        auto &conversation = conversationWith(datagram.senderAddress(), quint16(datagram.senderPort()));
        if (conversation.waiting() < mostWaiting) // else it is lost, as in a full buffer on its way
            conversation.receive(datagram.data());
    }
}

// A datagram for each answer: an answer that comes twice comes in two.
void UdpLine::send(QByteArray bytes, const QHostAddress &host, quint16 port)
{
    while (!bytes.isEmpty()) {
        const auto end = bytes.indexOf('\n');
        const auto length = end < 0 ? bytes.size() : end + 1;
        m_socket.writeDatagram(bytes.left(length), host, port);
        bytes.remove(0, length);
    }
}

Conversation &UdpLine::conversationWith(const QHostAddress &host, quint16 port)
{
    const auto known = std::find_if(m_peers.begin(), m_peers.end(),
                                    [&](const Peer &peer) { return peer.port == port && peer.host == host; });
    if (known != m_peers.end()) {
        m_peers.splice(m_peers.begin(), m_peers, known);
        return *m_peers.front().conversation;
    }
    if (m_peers.size() >= mostPeers)
        m_peers.pop_back();
    const int number = ++m_context.connections;
    m_context.trace.opened(number, "first datagram from " + addressText(host, port).toStdString());
    Wire wire;
    wire.send = [this, host, port](const QByteArray &bytes) { send(bytes, host, port); };
    m_peers.push_front(
        {host, port, std::make_unique<Conversation>(m_context, number, Conversation::Speech::Lines, wire)});
    return *m_peers.front().conversation;
}

} // namespace kvsim
