// SPDX-License-Identifier: MIT
// What goes into the engine and what comes out of it, as plain records.
#pragma once

#include "model/place.h"

#include <kvlink/plc.h>

#include <vector>

namespace kvlink
{

/// What has happened since the last step.
struct Events {
    struct Change {
        Tag tag;
        Sample sample;
    };
    std::vector<Change> changes;
    std::vector<WriteResult> writes;
    std::vector<LinkStatus> links;
    std::vector<ReadId> reads;
    std::vector<QueryResult> queries;

    bool isEmpty() const
    {
        return changes.empty() && writes.empty() && links.empty() && reads.empty() && queries.empty();
    }
    void clear()
    {
        changes.clear();
        writes.clear();
        links.clear();
        reads.clear();
        queries.clear();
    }
};

/// A tag whose address has been parsed.
struct EngineTag {
    Tag tag;
    Place place;
    Duration period{};
    double scale = 1.0;
    double offset = 0.0;
    double deadband = 0.0;
    bool readOnly = false;
    bool command = false;
};

struct EngineWrite {
    WriteId id = 0;
    Tag tag;
    Value value;
    WriteOptions options;
};

/// One moment on both clocks.
struct Moment {
    SteadyTime steady{};
    WallTime wall{};
};

} // namespace kvlink
