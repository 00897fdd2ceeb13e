// SPDX-License-Identifier: MIT
// Addresses and names of hosts. See host_address.h.
#include "transport/host_address.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace kvlink
{

namespace
{

constexpr int longestName = 253; // of a host, and of one of its labels, to every name server
constexpr int longestLabel = 63;

bool matches(const QString &text, const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(QString::fromLatin1(pattern)))
        .match(text)
        .hasMatch();
}

// The system reads such a last label as a number, whatever stands before it. No name ends in one.
bool isNumber(const QString &label)
{
    return matches(label, "[0-9]+|0[xX][0-9a-fA-F]*");
}

// "010" as it was probably meant: "10".
QString withoutLeadingZeros(const QString &digits)
{
    int zeros = 0;
    while (zeros + 1 < digits.size() && digits.at(zeros) == QLatin1Char('0'))
        ++zeros;
    return digits.mid(zeros);
}

bool isPlainByte(const QString &label)
{
    return matches(label, "0|[1-9][0-9]{0,2}") && label.toInt() <= 255;
}

QString problemOfNumbers(const QString &host, const QStringList &labels)
{
    const bool decimals =
        labels.size() == 4 && std::all_of(labels.begin(), labels.end(),
                                          [](const QString &label) { return matches(label, "[0-9]+"); });
    QStringList plain = labels;
    std::transform(plain.begin(), plain.end(), plain.begin(), withoutLeadingZeros);
    if (decimals && std::all_of(plain.begin(), plain.end(), isPlainByte))
        return QStringLiteral(
                   "'%1' has a number with a leading zero, which some programs read as octal; write %2")
            .arg(host, plain.join(QLatin1Char('.')));
    return QStringLiteral(
               "'%1' is not an address: write four decimal numbers from 0 to 255, as in 192.168.0.10")
        .arg(host);
}

bool isLabel(const QString &label)
{
    return label.size() <= longestLabel && matches(label, "[A-Za-z0-9_]([A-Za-z0-9_-]*[A-Za-z0-9_])?");
}

} // namespace

bool isIpv6Address(const QString &text)
{
    std::array<unsigned char, sizeof(in6_addr)> address;
    const int percent = int(text.indexOf(QLatin1Char('%')));
    if (percent == text.size() - 1)
        return false; // a zone was begun
    const QString bare = percent < 0 ? text : text.left(percent);
    return ::inet_pton(AF_INET6, bare.toLatin1().constData(), address.data()) == 1;
}

bool checkHost(const QString &host, bool &isName, QString &problem)
{
    const QStringList labels = host.split(QLatin1Char('.'));
    isName = !isNumber(labels.last());
    if (!isName) {
        if (labels.size() == 4 && std::all_of(labels.begin(), labels.end(), isPlainByte))
            return true;
        problem = problemOfNumbers(host, labels);
        return false;
    }
    if (host.size() <= longestName && std::all_of(labels.begin(), labels.end(), isLabel))
        return true;
    problem =
        QStringLiteral("'%1' is not a host name: letters, digits, hyphens and dots between them are expected")
            .arg(host);
    return false;
}

} // namespace kvlink
