// SPDX-License-Identifier: MIT
// Where the driver library is looked for.
#pragma once

#include <QStringList>

namespace kvlink
{

/// Files that may be the driver, the likeliest first, for a program and a kvlink in these folders:
/// beside them, in the library folders next to them, and where this build installs it. In each
/// folder the driver for this Qt comes first, since the drivers of both Qt versions may be
/// installed.
QStringList driverPlacesOf(const QStringList &folders);

/// The same for this process. If the environment variable KV_DRIVER is set, it names the only
/// place.
QStringList standardDriverPlaces();

/// The file to load. \param wanted a path; empty: the first of \a places that exists
/// \return empty with a problem, which names the places that were looked at
QString findDriver(const QString &wanted, const QStringList &places, QString &problem);

} // namespace kvlink
