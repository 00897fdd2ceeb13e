// SPDX-License-Identifier: MIT
// The speeds that serial lines know. See baud_rates.h.
#include "transport/baud_rates.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

struct Speed {
    int baud;
    speed_t code;
};

// clang-format off
constexpr Speed speeds[] = {
    {300, B300}, {600, B600}, {1200, B1200}, {2400, B2400}, {4800, B4800}, {9600, B9600}, {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
};
// clang-format on

} // namespace

std::optional<speed_t> speedCode(int baud)
{
    const auto *speed = std::find_if(std::begin(speeds), std::end(speeds),
                                     [baud](const Speed &one) { return one.baud == baud; });
    return speed == std::end(speeds) ? std::nullopt : std::optional(speed->code);
}

QString baudRates()
{
    QStringList all;
    for (const Speed &speed : speeds)
        all << QString::number(speed.baud);
    return all.join(QStringLiteral(", "));
}

} // namespace kvlink
