#include "udp_line.h"

#include <QNetworkDatagram>

#include <algorithm>

namespace
{

constexpr std::size_t mostPeers = 1024; // UDP never says goodbye: the one silent for longest is forgotten

} // namespace

UdpLine::UdpLine(Exchange &exchange) : exchange_(exchange)
{
    connect(&socket_, &QUdpSocket::readyRead, this, [this] { readAll(); });
}

QString UdpLine::open(const Address &address)
{
    if (socket_.bind(address.host, address.port, QAbstractSocket::DontShareAddress))
        return {};
    return QStringLiteral("cannot listen on udp %1: %2")
        .arg(addressText(address.host, address.port), socket_.errorString());
}

QString UdpLine::address() const
{
    return addressText(socket_.localAddress(), socket_.localPort());
}

void UdpLine::readAll()
{
    while (socket_.hasPendingDatagrams()) {
        const QNetworkDatagram datagram = socket_.receiveDatagram();
        if (datagram.isValid())
            conversationWith(datagram.senderAddress(), static_cast<quint16>(datagram.senderPort()))
                .receive(datagram.data());
    }
}

Conversation &UdpLine::conversationWith(const QHostAddress &host, quint16 port)
{
    const auto known = std::find_if(peers_.begin(), peers_.end(),
                                    [&](const Peer &peer) { return peer.port == port && peer.host == host; });
    if (known != peers_.end()) {
        peers_.splice(peers_.begin(), peers_, known);
        return *peers_.front().conversation;
    }
    if (peers_.size() >= mostPeers)
        peers_.pop_back();
    const int number = ++exchange_.connections;
    exchange_.trace.note(number, "first datagram from " + addressText(host, port).toStdString());
    Wire wire;
    wire.send = [this, host, port](const QByteArray &bytes) { socket_.writeDatagram(bytes, host, port); };
    peers_.push_front(
        {host, port, std::make_unique<Conversation>(exchange_, number, Conversation::Speech::Lines, wire)});
    return *peers_.front().conversation;
}
