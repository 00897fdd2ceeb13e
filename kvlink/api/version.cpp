// SPDX-License-Identifier: MIT
#include <kvlink/plc.h>

#include "driver/driver_places.h"

namespace kvlink
{

QString version()
{
    return QStringLiteral(KV_VERSION);
}

QStringList driverPlaces()
{
    return standardDriverPlaces();
}

} // namespace kvlink
