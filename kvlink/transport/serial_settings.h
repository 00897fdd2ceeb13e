// SPDX-License-Identifier: MIT
// The system's settings of a serial line.
#pragma once

#include "transport/plc_url.h"

#include <termios.h>

namespace kvlink
{

/// \a settings with the speed, the characters and the raw handling that the PLC's address asks for.
termios serialSettings(const PlcUrl &url, termios settings);

} // namespace kvlink
