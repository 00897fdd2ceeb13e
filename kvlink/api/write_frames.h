// SPDX-License-Identifier: MIT
// The frames of a write, asked of the driver without a PLC.
#pragma once

#include "driver/driver.h"

#include <QStringList>

namespace kvlink
{

/// Plays one write with a driver that has nothing in hand, giving it the answers that a PLC would:
/// zeros to a read, OK to a write. \return the frames without their line ends
QStringList framesOf(Driver &driver, const WriteUnits &write);

} // namespace kvlink
