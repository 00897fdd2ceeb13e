// SPDX-License-Identifier: MIT
// The transport that a PLC's address calls for. See make_transport.h.
#include "transport/make_transport.h"

#include "transport/serial_transport.h"
#include "transport/tcp_transport.h"
#include "transport/udp_transport.h"

namespace kvlink
{

std::unique_ptr<Transport> makeTransport(const PlcUrl &url)
{
    switch (url.kind) {
    case PlcUrl::Kind::Tcp:
        return std::make_unique<TcpTransport>(url);
    case PlcUrl::Kind::Udp:
        return std::make_unique<UdpTransport>(url);
    case PlcUrl::Kind::Serial:
        return std::make_unique<SerialTransport>(url);
    }
    return nullptr;
}

std::unique_ptr<Transport> makeTransport(const QString &url, QString &problem)
{
    const std::optional<PlcUrl> parsed = parsePlcUrl(url, problem);
    return parsed ? makeTransport(*parsed) : nullptr;
}

} // namespace kvlink
