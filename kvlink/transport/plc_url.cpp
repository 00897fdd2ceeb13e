// SPDX-License-Identifier: MIT
// Where a PLC is. See plc_url.h.
#include "transport/plc_url.h"

#include "transport/baud_rates.h"
#include "transport/host_address.h"

#include <QStringList>

namespace kvlink
{

namespace
{

const char *const forms = "tcp://HOST[:8501], udp://HOST[:8501] or serial:///dev/ttyUSB0?baud=9600";
constexpr int highestPort = 65535;

// One or more digits, no sign, no spaces, at most \a highest.
std::optional<int> plainNumber(const QString &text, int highest)
{
    constexpr int mostDigits = 7;
    if (text.isEmpty() || text.size() > mostDigits)
        return std::nullopt;
    int number = 0;
    for (const QChar digit : text) {
        if (digit < QLatin1Char('0') || digit > QLatin1Char('9'))
            return std::nullopt;
        number = number * 10 + (digit.unicode() - u'0');
    }
    return number <= highest ? std::optional(number) : std::nullopt;
}

// --- tcp and udp ---

bool takePort(const QString &text, PlcUrl &url, QString &problem)
{
    const std::optional<int> port = plainNumber(text, highestPort);
    if (!port || *port == 0) {
        problem = QStringLiteral("'%1' is not a port: a number from 1 to 65535 is expected").arg(text);
        return false;
    }
    url.port = *port;
    return true;
}

// "[::1]" or "[::1]:8501"
bool takeBracketed(const QString &text, PlcUrl &url, QString &problem)
{
    const int end = int(text.indexOf(QLatin1Char(']')));
    url.host = text.mid(1, end - 1);
    if (end < 0 || !isIpv6Address(url.host)) {
        problem = QStringLiteral("'%1' is not an IPv6 address in brackets, such as [fe80::1]").arg(text);
        return false;
    }
    const QString rest = text.mid(end + 1);
    if (rest.isEmpty())
        return true;
    if (!rest.startsWith(QLatin1Char(':'))) {
        problem =
            QStringLiteral("'%1' after ']' is not understood: only a port may follow, as in [fe80::1]:8501")
                .arg(rest);
        return false;
    }
    return takePort(rest.mid(1), url, problem);
}

bool takeNetwork(QString text, PlcUrl &url, QString &problem)
{
    if (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    if (text.startsWith(QLatin1Char('[')))
        return takeBracketed(text, url, problem);
    if (text.count(QLatin1Char(':')) > 1) {
        problem = QStringLiteral("an IPv6 address needs brackets: [%1]").arg(text);
        return false;
    }
    const int colon = int(text.indexOf(QLatin1Char(':')));
    url.host = colon < 0 ? text : text.left(colon);
    if (url.host.isEmpty()) {
        problem = QStringLiteral("the address or name of the PLC is missing; write %1")
                      .arg(QString::fromLatin1(forms));
        return false;
    }
    return checkHost(url.host, url.isName, problem) &&
           (colon < 0 || takePort(text.mid(colon + 1), url, problem));
}

// --- serial ---

bool takeBaud(const QString &value, PlcUrl &url, QString &problem)
{
    url.baud = plainNumber(value, 1000000).value_or(0);
    if (speedCode(url.baud))
        return true;
    problem = QStringLiteral("baud=%1: one of %2 is expected").arg(value, baudRates());
    return false;
}

bool takeDataBits(const QString &value, PlcUrl &url, QString &problem)
{
    url.dataBits = value == QStringLiteral("7") ? 7 : 8;
    if (value == QString::number(url.dataBits))
        return true;
    problem = QStringLiteral("data=%1: 7 or 8 is expected").arg(value);
    return false;
}

bool takeStopBits(const QString &value, PlcUrl &url, QString &problem)
{
    url.stopBits = value == QStringLiteral("2") ? 2 : 1;
    if (value == QString::number(url.stopBits))
        return true;
    problem = QStringLiteral("stop=%1: 1 or 2 is expected").arg(value);
    return false;
}

QString parityName(PlcUrl::Parity parity)
{
    switch (parity) {
    case PlcUrl::Parity::None:
        return QStringLiteral("none");
    case PlcUrl::Parity::Even:
        return QStringLiteral("even");
    case PlcUrl::Parity::Odd:
        return QStringLiteral("odd");
    }
    return {};
}

bool takeParity(const QString &value, PlcUrl &url, QString &problem)
{
    for (const auto parity : {PlcUrl::Parity::None, PlcUrl::Parity::Even, PlcUrl::Parity::Odd}) {
        if (value == parityName(parity)) {
            url.parity = parity;
            return true;
        }
    }
    problem = QStringLiteral("parity=%1: none, even or odd is expected").arg(value);
    return false;
}

struct SerialKey {
    const char *name;
    bool (*take)(const QString &value, PlcUrl &url, QString &problem);
};

constexpr SerialKey serialKeys[] = {
    {"baud", takeBaud}, {"data", takeDataBits}, {"parity", takeParity}, {"stop", takeStopBits}};

bool takeSerialItem(const QString &item, QStringList &known, PlcUrl &url, QString &problem)
{
    const int equals = int(item.indexOf(QLatin1Char('=')));
    const QString name = equals < 0 ? item : item.left(equals);
    for (const SerialKey &key : serialKeys) {
        if (name != QLatin1String(key.name))
            continue;
        if (known.contains(name)) {
            problem = QStringLiteral("'%1' is given twice").arg(name);
            return false;
        }
        known << name;
        return key.take(equals < 0 ? QString() : item.mid(equals + 1), url, problem);
    }
    problem =
        QStringLiteral("'%1' is not a setting of a serial line: baud, data, parity and stop are").arg(name);
    return false;
}

bool takeSerial(const QString &text, PlcUrl &url, QString &problem)
{
    const int mark = int(text.indexOf(QLatin1Char('?')));
    url.host = mark < 0 ? text : text.left(mark);
    if (!url.host.startsWith(QLatin1Char('/')) || url.host.size() < 2) {
        problem = QStringLiteral(
            "a serial line needs three slashes and the path of its device: serial:///dev/ttyUSB0");
        return false;
    }
    if (mark < 0)
        return true;
    QStringList known;
    const QStringList items = text.mid(mark + 1).split(QLatin1Char('&'));
    for (const QString &item : items) {
        if (!takeSerialItem(item, known, url, problem))
            return false;
    }
    return true;
}

// --- all ---

bool takeAll(const QString &text, PlcUrl &url, QString &problem)
{
    if (text.isEmpty()) {
        problem = QStringLiteral("it is empty; write %1").arg(QString::fromLatin1(forms));
        return false;
    }
    const QString separator = QStringLiteral("://");
    const int at = int(text.indexOf(separator));
    const QString scheme = at < 0 ? QStringLiteral("tcp") : text.left(at).toLower();
    const QString rest = at < 0 ? text : text.mid(at + separator.size());
    if (scheme == QStringLiteral("serial")) {
        url.kind = PlcUrl::Kind::Serial;
        return takeSerial(rest, url, problem);
    }
    if (at < 0 && rest.startsWith(QLatin1Char('/'))) {
        problem = QStringLiteral("a serial line is written serial://%1").arg(rest);
        return false;
    }
    if (scheme == QStringLiteral("tcp") || scheme == QStringLiteral("udp")) {
        url.kind = scheme == QStringLiteral("tcp") ? PlcUrl::Kind::Tcp : PlcUrl::Kind::Udp;
        return takeNetwork(rest, url, problem);
    }
    problem =
        QStringLiteral("'%1' is not understood; write %2").arg(text.left(at), QString::fromLatin1(forms));
    return false;
}

} // namespace

QString PlcUrl::text() const
{
    if (kind == Kind::Serial) {
        return QStringLiteral("serial://%1?baud=%2&data=%3&parity=%4&stop=%5")
            .arg(host)
            .arg(baud)
            .arg(dataBits)
            .arg(parityName(parity))
            .arg(stopBits);
    }
    const QString scheme = kind == Kind::Udp ? QStringLiteral("udp") : QStringLiteral("tcp");
    const QString shown = host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(host) : host;
    return QStringLiteral("%1://%2:%3").arg(scheme, shown).arg(port);
}

double PlcUrl::secondsPerByte() const
{
    if (kind != Kind::Serial)
        return 0.0;
    const int startBits = 1;
    const int parityBits = parity == Parity::None ? 0 : 1;
    return double(startBits + dataBits + parityBits + stopBits) / baud;
}

std::optional<PlcUrl> parsePlcUrl(const QString &given, QString &problem)
{
    PlcUrl url;
    QString why;
    if (takeAll(given.trimmed(), url, why))
        return url;
    problem = QStringLiteral("PLC address '%1': %2").arg(given, why);
    return std::nullopt;
}

} // namespace kvlink
