#include "address.h"

namespace
{

// A colon within brackets belongs to the address, so the last one outside parts the port.
bool splitPort(const QString &text, QString &host, QString &port)
{
    const auto colon = text.lastIndexOf(':');
    if (colon < 1)
        return false;
    host = text.left(colon);
    port = text.mid(colon + 1);
    const bool brackets = host.startsWith('[') && host.endsWith(']');
    if (brackets)
        host = host.mid(1, host.size() - 2);
    return brackets || !host.contains(':');
}

} // namespace

QString addressFromText(const QString &text, Address &address)
{
    QString host;
    QString port;
    bool isNumber = false;
    if (!splitPort(text, host, port))
        return QStringLiteral("'%1' is no ADDR:PORT (like 127.0.0.1:8501, [::1]:8501)").arg(text);
    address.port = port.toUShort(&isNumber);
    if (!isNumber)
        return QStringLiteral("'%1' is no port (0 to 65535, 0 takes a free one)").arg(port);
    address.host =
        host == QLatin1String("localhost") ? QHostAddress(QHostAddress::LocalHost) : QHostAddress(host);
    if (address.host.isNull())
        return QStringLiteral("'%1' is no address in numbers (like 127.0.0.1, 0.0.0.0, [::])").arg(host);
    return {};
}

QString addressText(const QHostAddress &host, quint16 port)
{
    const QString pattern = host.protocol() == QAbstractSocket::IPv6Protocol ? QStringLiteral("[%1]:%2")
                                                                             : QStringLiteral("%1:%2");
    return pattern.arg(host.toString()).arg(port);
}
