// SPDX-License-Identifier: MIT
// Times as texts: RFC 3339, as in "2026-05-04T08:15:02.113Z".
#pragma once

#include <kvlink/times.h>

#include <QString>

#include <optional>

namespace kvgateway
{

/// UTC with milliseconds: "2026-05-04T08:15:02.113Z".
QString timeText(kvlink::WallTime time);

/// A date alone is its midnight in UTC; without an offset a time is UTC.
/// Examples: "2026-05-04T08:15:02.113Z", "2026-05-04T10:15+02:00", "2026-05-04"
/// \param problem what is wrong and how to write it; set on failure only
std::optional<kvlink::WallTime> timeFromText(const QString &text, QString &problem);

} // namespace kvgateway
