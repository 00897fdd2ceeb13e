// SPDX-License-Identifier: MIT
// Reads beside the rhythm, in the order in which they were asked for: those that somebody asked
// for, and the first reads of new tags. The first one is under way.
//
// A read that somebody asked for survives one loss of the link, and ends at the second. A read of
// new tags ends at the first: the next link reads all tags anyway.
#pragma once

#include "engine/read_groups.h"

#include <kvlink/plc.h>

#include <list>
#include <utility>

namespace kvlink
{

struct AskedRead {
    ReadId id = 0; ///< 0: new tags
    SteadyTime at{};
    ReadGroups groups;
    int losses = 0; ///< of the link, since it was asked for

    /// To ReadGroups::next(): after a loss everything is asked again.
    quint64 pass() const { return quint64(losses) + 1; }
};

class AskedReads
{
public:
    void add(AskedRead read) { m_reads.push_back(std::move(read)); }

    bool isEmpty() const { return m_reads.empty(); }
    AskedRead &first() { return m_reads.front(); }
    const AskedRead &first() const { return m_reads.front(); }
    void endFirst();

    void linkLost();
    void endAll();

    /// Ids of reads that have ended since the last call.
    std::vector<ReadId> takeEnded() { return std::exchange(m_ended, {}); }

private:
    void noteEnd(const AskedRead &read);

    std::list<AskedRead> m_reads;
    std::vector<ReadId> m_ended;
};

} // namespace kvlink
