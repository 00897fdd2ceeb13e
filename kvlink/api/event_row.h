// SPDX-License-Identifier: MIT
// The events that wait for whoever watches a link, in the order in which they came.
//
// Most are changes of tags, so an entry is only a tag; what other events carry waits in a queue of
// its kind. Write results, reads and queries are never dropped; of changes of the link the last
// 64 are kept.
#pragma once

#include "engine/events.h"

#include <deque>
#include <variant>

namespace kvlink
{

struct ReadDone {
    ReadId id = 0;
};

using Event = std::variant<Events::Change, WriteResult, LinkStatus, ReadDone, QueryResult>;

class EventRow
{
public:
    bool isEmpty() const { return m_entries.empty(); }
    std::size_t size() const { return m_entries.size(); }

    /// A change of this tag, even if one waits already.
    void add(Tag changed);
    void add(WriteResult result);
    void add(ReadDone done);
    void add(QueryResult result);
    /// If 64 wait already, the oldest of them goes, and the others move up.
    void add(LinkStatus status);

    /// The first one; there must be one. A change comes without its sample.
    Event take();

private:
    enum class Kind : quint8 { Change, Write, Link, Read, Query };
    struct Entry {
        Kind kind;
        Tag tag; ///< with Change
    };

    std::deque<Entry> m_entries; ///< in the order of arrival; the queues below hold what they stand for
    std::deque<WriteResult> m_writes;
    std::deque<LinkStatus> m_links;
    std::deque<ReadDone> m_reads;
    std::deque<QueryResult> m_queries;
};

} // namespace kvlink
