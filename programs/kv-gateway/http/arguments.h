// SPDX-License-Identifier: MIT
// What a request brings, read and checked: query, times, JSON.
#pragma once

#include "message.h"

#include "store/records.h"

namespace kvgateway
{

/// \return none with a refusal: not a whole number, or out of range
std::optional<int> intArgument(const Request &request, const char *name, int fallback, int least, int most,
                               Response &refusal);

/// ?from=&to=; without them, the last hour up to \a now.
std::optional<TimeRange> rangeArgument(const Request &request, kvlink::WallTime now, Response &refusal);

/// The body as an object, with these members and no others.
std::optional<QJsonObject> objectBody(const Request &request, const QStringList &members, Response &refusal);

} // namespace kvgateway
