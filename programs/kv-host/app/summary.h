// SPDX-License-Identifier: MIT
// What the links came to, for people.
#pragma once

#include "app.h"

namespace kvhost
{

/// As ping gives it, two lines for each PLC; with several, its URL in front.
QString summaryOf(const Stations &stations);
/// Pure. Example: "4 requests, 2 answers, 2 errors (no answer 1, refused 1), 25.0%
/// lost\nanswer time min/median/..."
QString summaryOf(const kvlink::LinkStatistics &statistics);

/// Share of requests without a usable answer, in percent; 100 on a link that never was ready.
double lossOf(const kvlink::LinkStatistics &statistics, bool isReady);

/// "12.30"
QString msText(kvlink::Duration time, int digits = 2);

/// Says on stderr when links are lost and found, with the time; with -v every change. Lives as long
/// as the stations.
void noteLinks(App &app);

} // namespace kvhost
