#include "plc_url.h"

#include <QUrl>
#include <QUrlQuery>

namespace kvhost
{

namespace
{

const char FORMS[] = "tcp://HOST[:8501], udp://HOST[:8501] or "
                     "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1";

bool takeStation(QString *text, int *station, QString *problem)
{
    const int equals = int(text->indexOf('='));
    const QString number = text->left(equals);
    // A '=' behind the URL's beginning is one of its parameters.
    if (equals < 0 || number.contains(':') || number.contains('/'))
        return true;
    bool ok = false;
    *station = number.toInt(&ok);
    if (!ok || *station < 0 || *station > 255) {
        *problem = QStringLiteral("'%1' is not a station: a number from 0 to 255 is expected before '='")
                       .arg(number);
        return false;
    }
    *text = text->mid(equals + 1);
    return true;
}

bool takeNumber(const QString &name, const QString &value, int lowest, int highest, int *number,
                QString *problem)
{
    bool ok = false;
    *number = value.toInt(&ok);
    if (ok && *number >= lowest && *number <= highest)
        return true;
    *problem =
        QStringLiteral("%1=%2: a number from %3 to %4 is expected").arg(name, value).arg(lowest).arg(highest);
    return false;
}

bool takeParity(const QString &value, PlcUrl *url, QString *problem)
{
    if (value != "none" && value != "even" && value != "odd") {
        *problem = QStringLiteral("parity=%1: none, even or odd is expected").arg(value);
        return false;
    }
    url->parity = value;
    return true;
}

bool takeSerialItem(const QString &name, const QString &value, PlcUrl *url, QString *problem)
{
    if (name == "baud")
        return takeNumber(name, value, 50, 4000000, &url->baud, problem);
    if (name == "data")
        return takeNumber(name, value, 7, 8, &url->dataBits, problem);
    if (name == "stop")
        return takeNumber(name, value, 1, 2, &url->stopBits, problem);
    if (name == "parity")
        return takeParity(value, url, problem);
    *problem = QStringLiteral("'%1' is no setting of a serial line: baud, data, parity or stop").arg(name);
    return false;
}

bool takeSerial(const QUrl &from, PlcUrl *url, QString *problem)
{
    url->kind = PlcUrl::Kind::Serial;
    url->host = from.path();
    if (!from.host().isEmpty() || url->host.isEmpty()) {
        *problem = QStringLiteral("a serial line needs three slashes and its device: serial:///dev/ttyUSB0");
        return false;
    }
    const auto items = QUrlQuery(from).queryItems();
    for (const auto &item : items) {
        if (!takeSerialItem(item.first, item.second, url, problem))
            return false;
    }
    return true;
}

bool takeNetwork(const QUrl &from, PlcUrl *url, QString *problem)
{
    url->kind = from.scheme() == "udp" ? PlcUrl::Kind::Udp : PlcUrl::Kind::Tcp;
    url->host = from.host();
    url->port = from.port(8501);
    if (url->host.isEmpty() || url->port < 1 || (!from.path().isEmpty() && from.path() != "/")) {
        *problem =
            QStringLiteral("a host and at most a port are expected: %1").arg(QString::fromLatin1(FORMS));
        return false;
    }
    return true;
}

} // namespace

QString PlcUrl::text() const
{
    if (kind == Kind::Serial) {
        return QStringLiteral("serial://%1?baud=%2&data=%3&parity=%4&stop=%5")
            .arg(host)
            .arg(baud)
            .arg(dataBits)
            .arg(parity)
            .arg(stopBits);
    }
    const QString name = host.contains(':') ? QStringLiteral("[%1]").arg(host) : host;
    return QStringLiteral("%1://%2:%3")
        .arg(QString::fromLatin1(kind == Kind::Udp ? "udp" : "tcp"), name)
        .arg(port);
}

std::optional<PlcTarget> parsePlc(const QString &given, QString *problem)
{
    PlcTarget target;
    QString text = given.trimmed();
    QString why;
    const auto wrong = [&]() -> std::optional<PlcTarget> {
        *problem = QStringLiteral("--plc %1: %2").arg(given, why);
        return std::nullopt;
    };
    if (!takeStation(&text, &target.station, &why))
        return wrong();
    const QUrl url(text, QUrl::StrictMode);
    bool good = false;
    if (url.isValid() && url.scheme() == "serial") {
        good = takeSerial(url, &target.url, &why);
    } else if (url.isValid() && (url.scheme() == "tcp" || url.scheme() == "udp")) {
        good = takeNetwork(url, &target.url, &why);
    } else {
        why = QStringLiteral("expected is %1").arg(QString::fromLatin1(FORMS));
    }
    if (!good)
        return wrong();
    return target;
}

} // namespace kvhost
