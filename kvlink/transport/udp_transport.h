// SPDX-License-Identifier: MIT
// UDP to a PLC: each frame a datagram. The socket is connected, so that other hosts are not heard
// and a closed port is seen.
#pragma once

#include "transport/socket_transport.h"

#include <QList>

namespace kvlink
{

class UdpTransport final : public SocketTransport
{
public:
    explicit UdpTransport(const PlcUrl &url, NameLookup lookup = lookUpName);

    void send(const QByteArray &bytes) override;

private:
    Descriptor makeSocket(int family) const override;
    void receive() override;
    void flush() override;
    bool hasUnsent() const override { return !m_unsent.isEmpty(); }
    void dropUnsent() override { m_unsent.clear(); }

    QList<QByteArray> m_unsent;
};

} // namespace kvlink
