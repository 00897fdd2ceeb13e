// SPDX-License-Identifier: MIT
// /metrics, in the text format of Prometheus. Put together for each scrape, so a removed PLC
// vanishes. A tag is never a label.
#pragma once

#include "outlets/outlet_runner.h"
#include "plant/plant.h"
#include "store/store.h"

namespace kvgateway
{

struct GatewayCounts {
    int streams = 0;
    bool isLastReloadGood = true;
    kvlink::WallTime lastGoodReload{};
    std::vector<OutletStatus> outlets;
    bool isOnDuty = true; ///< no other gateway reads the PLCs in its place
};

/// In the thread of the plant.
QByteArray metricsText(const Plant &plant, const StoreStatus &store, const GatewayCounts &counts);

} // namespace kvgateway
