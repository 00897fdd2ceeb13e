// SPDX-License-Identifier: MIT
// Times as people write them.
#pragma once

#include <kvlink/time.h>

#include <QString>

#include <optional>

namespace kvlink
{

/// "500ms", "2s", "1.5m", "1h", "30d", "250us"; not below 0. A number without a unit is refused:
/// nobody knows whether seconds or milliseconds were meant.
/// \param problem "'500' has no unit: write 500ms or 500s"; set on failure only
std::optional<Duration> durationFromText(const QString &typed, QString &problem);

/// The shortest of these with at most one decimal, and always exact: "1.5s", "90s" is "1.5m",
/// "1234ms". Below 0 with a minus sign.
QString durationText(Duration duration);

} // namespace kvlink
