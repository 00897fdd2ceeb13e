// SPDX-License-Identifier: MIT
#include "api/event_row.h"

namespace kvlink
{
namespace
{
constexpr std::size_t mostLinkChanges = 64;

template <class Record>
Event takeFront(std::deque<Record> &queue)
{
    Event event = std::move(queue.front());
    queue.pop_front();
    return event;
}
} // namespace

void EventRow::add(Tag changed)
{
    m_entries.push_back({Kind::Change, changed});
}

void EventRow::add(WriteResult result)
{
    m_writes.push_back(std::move(result));
    m_entries.push_back({Kind::Write, Tag()});
}

void EventRow::add(ReadDone done)
{
    m_reads.push_back(done);
    m_entries.push_back({Kind::Read, Tag()});
}

void EventRow::add(QueryResult result)
{
    m_queries.push_back(std::move(result));
    m_entries.push_back({Kind::Query, Tag()});
}

void EventRow::add(LinkStatus status)
{
    m_links.push_back(std::move(status));
    if (m_links.size() > mostLinkChanges)
        m_links.pop_front(); // each entry that waits brings the next one then
    else
        m_entries.push_back({Kind::Link, Tag()});
}

Event EventRow::take()
{
    const Entry first = m_entries.front();
    m_entries.pop_front();
    switch (first.kind) {
    case Kind::Write:
        return takeFront(m_writes);
    case Kind::Read:
        return takeFront(m_reads);
    case Kind::Query:
        return takeFront(m_queries);
    case Kind::Link:
        return takeFront(m_links);
    case Kind::Change:
        break;
    }
    return Events::Change{first.tag, Sample()};
}

} // namespace kvlink
