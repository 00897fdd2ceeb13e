// SPDX-License-Identifier: MIT
// Who is told what happens in the plant: those who keep history, audit and events.
#pragma once

#include "live_table.h"
#include "write_order.h"

namespace kvgateway
{

/// All calls come in the thread of the plant and must return soon.
class PlantObserver
{
public:
    virtual ~PlantObserver() = default;

    virtual void sampleChanged(const TagConfig &tag, const kvlink::Sample &sample) = 0;
    virtual void linkChanged(const QString &plc, const kvlink::LinkStatus &status) = 0;
    /// A write is about to be handed to the PLC. \return false: it cannot be recorded, so it must
    /// not be sent
    virtual bool writeAsked(const WriteReport &report) = 0;
    virtual void writeEnded(const WriteReport &report) = 0;
};

} // namespace kvgateway
