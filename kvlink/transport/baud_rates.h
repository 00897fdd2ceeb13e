// SPDX-License-Identifier: MIT
// The speeds that serial lines know.
#pragma once

#include <QString>

#include <optional>
#include <termios.h>

namespace kvlink
{

/// The system's code of a speed in bits a second; nothing if there is none.
std::optional<speed_t> speedCode(int baud);

/// "1200, 2400, 4800, ...": all of them, for people.
QString baudRates();

} // namespace kvlink
