// Where a PLC is: the text after --plc, taken apart.
//   [STATION=]tcp://host[:8501]    [STATION=]udp://host[:8501]
//   [STATION=]serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1
#pragma once

#include <QString>

#include <optional>

namespace kvhost
{

struct PlcUrl {
    enum class Kind { Tcp, Udp, Serial };
    Kind kind = Kind::Tcp;
    QString host; ///< host name, or path of the serial device
    int port = 8501;
    int baud = 9600;
    int dataBits = 8;
    QString parity = QStringLiteral("even"); ///< none, even, odd
    int stopBits = 1;

    QString text() const;
};

struct PlcTarget {
    int station = -1; ///< 0..255; -1 while none is given
    PlcUrl url;
};

std::optional<PlcTarget> parsePlc(const QString &given, QString *problem);

} // namespace kvhost
