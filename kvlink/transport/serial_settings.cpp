// SPDX-License-Identifier: MIT
// The system's settings of a serial line. See serial_settings.h.
#include "transport/serial_settings.h"

#include "transport/baud_rates.h"

namespace kvlink
{

termios serialSettings(const PlcUrl &url, termios settings)
{
    ::cfmakeraw(&settings);
    // No modem lines; they are often not connected.
    settings.c_cflag =
        (settings.c_cflag | CLOCAL | CREAD) & ~tcflag_t(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
    settings.c_cflag |= url.dataBits == 7 ? CS7 : CS8;
    settings.c_iflag &= ~tcflag_t(INPCK | IGNPAR | IXOFF | IXANY);
    if (url.parity != PlcUrl::Parity::None) {
        settings.c_cflag |= PARENB;
        settings.c_iflag |= INPCK; // a character of wrong parity comes as 0, which no answer contains
    }
    if (url.parity == PlcUrl::Parity::Odd)
        settings.c_cflag |= PARODD;
    if (url.stopBits == 2)
        settings.c_cflag |= CSTOPB;
    settings.c_cc[VMIN] = 1; // reading 0 bytes then means that the line is gone
    settings.c_cc[VTIME] = 0;
    const speed_t speed = speedCode(url.baud).value_or(B9600);
    ::cfsetispeed(&settings, speed);
    ::cfsetospeed(&settings, speed);
    return settings;
}

} // namespace kvlink
