// SPDX-License-Identifier: MIT
// TCP to a PLC.
#pragma once

#include "transport/socket_transport.h"

namespace kvlink
{

class TcpTransport final : public SocketTransport
{
public:
    explicit TcpTransport(const PlcUrl &url, NameLookup lookup = lookUpName, Duration attempt = 1s);

    void send(const QByteArray &bytes) override;

private:
    Descriptor makeSocket(int family) const override;
    void receive() override;
    void flush() override;
    bool hasUnsent() const override { return !m_unsent.isEmpty(); }
    void dropUnsent() override { m_unsent.clear(); }

    QByteArray m_unsent;
};

} // namespace kvlink
