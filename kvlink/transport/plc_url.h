// SPDX-License-Identifier: MIT
// Where a PLC is: the text of a link's settings, taken apart.
//
//   tcp://HOST[:8501]    udp://HOST[:8501]    HOST[:8501]      the last is tcp
//   serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1
//
// HOST is four decimals (192.168.0.10), an IPv6 address in brackets ([fe80::1%eth0]) or a name. The
// system would also take 192.168.1, 127.0.0.010 and 0x7f.1, and make of them what nobody meant:
// they are refused.
#pragma once

#include <QString>

#include <optional>

namespace kvlink
{

struct PlcUrl {
    enum class Kind : quint8 { Tcp, Udp, Serial };
    enum class Parity : quint8 { None, Even, Odd };

    Kind kind = Kind::Tcp;
    QString host;        ///< address or name, IPv6 without brackets; path of a serial line
    bool isName = false; ///< the host is to be resolved
    int port = 8501;     ///< 1 to 65535
    int baud = 9600;     ///< one of those that serial lines of a PC know
    int dataBits = 8;    ///< 7 or 8
    Parity parity = Parity::Even;
    int stopBits = 1; ///< 1 or 2

    /// In full: "tcp://192.168.0.10:8501",
    /// "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1".
    QString text() const;
    /// Seconds that one byte takes on the line, with its start, parity and stop bits; 0 for tcp and
    /// udp.
    double secondsPerByte() const;
};

/// \param problem what is wrong and what to write instead; set on failure only
std::optional<PlcUrl> parsePlcUrl(const QString &given, QString &problem);

} // namespace kvlink
