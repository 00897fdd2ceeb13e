// SPDX-License-Identifier: MIT
// Addresses to listen on, as text.
#include "shell/address.h"

namespace kvsim
{
namespace
{

struct HostAndPort {
    QString host;
    QString port;
};

// A colon within brackets belongs to the address, so the last one outside separates the port.
std::optional<HostAndPort> splitPort(const QString &text)
{
    const auto colon = text.lastIndexOf(':');
    if (colon < 1)
        return std::nullopt;
    const QString host = text.left(colon);
    const QString port = text.mid(colon + 1);
    if (host.startsWith('[') && host.endsWith(']'))
        return HostAndPort{host.mid(1, host.size() - 2), port};
    return host.contains(':') ? std::nullopt : std::optional(HostAndPort{host, port});
}

} // namespace

std::optional<Address> addressFromText(const QString &text, QString &problem)
{
    const auto parts = splitPort(text);
    bool isNumber = false;
    Address address;
    if (parts) {
        address.port = parts->port.toUShort(&isNumber);
        address.host = parts->host == QLatin1String("localhost") ? QHostAddress(QHostAddress::LocalHost)
                                                                 : QHostAddress(parts->host);
    }
    if (!parts)
        problem = QStringLiteral("'%1' is not ADDR:PORT (like 127.0.0.1:8501, [::1]:8501)").arg(text);
    else if (!isNumber)
        problem = QStringLiteral("'%1' is not a port (0 to 65535, 0 takes a free one)").arg(parts->port);
    else if (address.host.isNull())
        problem =
            QStringLiteral("'%1' is not a numeric address (like 127.0.0.1, 0.0.0.0, [::])").arg(parts->host);
    else
        return address;
    return std::nullopt;
}

QString addressText(const QHostAddress &host, quint16 port)
{
    const QString pattern = host.protocol() == QAbstractSocket::IPv6Protocol ? QStringLiteral("[%1]:%2")
                                                                             : QStringLiteral("%1:%2");
    return pattern.arg(host.toString()).arg(port);
}

QString addressText(const Address &address)
{
    return addressText(address.host, address.port);
}

} // namespace kvsim
