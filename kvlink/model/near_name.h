// SPDX-License-Identifier: MIT
// The name that was probably meant: for mistyped tags, commands, keys and devices.
#pragma once

#include <QString>
#include <QStringList>

namespace kvlink
{

/// The name nearest to \a given, whatever the case of its letters; of several equally near the
/// first. A letter changed, added, missing, or two neighbours swapped count 1; one for every three
/// letters is near, at least one.
/// \return empty if none is near. Example: "raed" among {"read", "write"} -> "read"
QString nearestName(const QString &given, const QStringList &names);

} // namespace kvlink
