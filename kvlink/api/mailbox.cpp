// SPDX-License-Identifier: MIT
#include "api/mailbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

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

Mailbox::Mailbox()
{
    m_link.since = SystemClock().wallNow();
}

Mailbox::~Mailbox()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

// --- tags and the link ---------------------------------------------------------------------------

std::vector<Tag> Mailbox::addTags(const std::vector<TagSettings> &settings)
{
    std::vector<Tag> added;
    added.reserve(settings.size());
    const std::lock_guard held(m_mutex);
    for (const TagSettings &one : settings)
        added.push_back(m_tags.add(one));
    return added;
}

bool Mailbox::removeTag(Tag tag)
{
    const std::lock_guard held(m_mutex);
    const bool known = m_tags.find(tag) != nullptr;
    m_tags.remove(tag); // its entry, if one waits, is skipped when its turn comes
    return known;
}

std::optional<TagSettings> Mailbox::tagTexts(Tag tag) const
{
    const std::lock_guard held(m_mutex);
    const TagEntry *entry = m_tags.find(tag);
    if (entry == nullptr)
        return std::nullopt;
    TagSettings settings;
    entry->copyTo(settings);
    return settings;
}

std::vector<Tag> Mailbox::tags() const
{
    const std::lock_guard held(m_mutex);
    return m_tags.tags();
}

bool Mailbox::hasTag(Tag tag) const
{
    const std::lock_guard held(m_mutex);
    return m_tags.find(tag) != nullptr;
}

LinkStatus Mailbox::link() const
{
    const std::lock_guard held(m_mutex);
    return m_link;
}

void Mailbox::setLink(LinkState state)
{
    const std::lock_guard held(m_mutex);
    m_link = LinkStatus();
    m_link.state = state;
    m_link.since = SystemClock().wallNow();
    m_changed.notify_all();
}

// --- in ------------------------------------------------------------------------------------------

void Mailbox::put(Events &events)
{
    std::unique_lock held(m_mutex);
    for (LinkStatus &status : events.links)
        addLink(status);
    for (const Events::Change &change : events.changes)
        addChange(change.tag);
    for (WriteResult &result : events.writes)
        addEnd(Kind::Write, m_writes, result);
    for (QueryResult &result : events.queries)
        addEnd(Kind::Query, m_queries, result);
    for (const ReadId id : events.reads) {
        ReadDone done{id};
        addEnd(Kind::Read, m_reads, done);
    }
    announce(std::move(held));
}

void Mailbox::addChange(Tag tag)
{
    TagEntry *entry = m_tags.find(tag);
    if (entry == nullptr)
        return; // removed a moment ago
    if (!entry->changeWaits)
        addEntry(Kind::Change, tag);
    entry->changeWaits = true;
}

void Mailbox::addLink(LinkStatus &status)
{
    m_link = status;
    m_links.push_back(std::move(status));
    if (m_links.size() > mostLinkChanges)
        m_links.pop_front(); // each entry that waits brings the next one then
    else
        addEntry(Kind::Link);
}

// The end of a write, read or query: to the caller who waits for it, else into the row.
template <class Record>
void Mailbox::addEnd(Kind kind, std::deque<Record> &queue, Record &record)
{
    const auto expected = m_expected.find(record.id);
    if (expected != m_expected.end()) {
        expected->second = std::move(record);
        return;
    }
    queue.push_back(std::move(record));
    addEntry(kind);
}

void Mailbox::addEntry(Kind kind, Tag tag)
{
    m_entries.push_back({kind, tag});
    if (m_entries.size() == 1)
        setReadable(true);
}

void Mailbox::announce(std::unique_lock<std::mutex> held)
{
    const bool call = !m_announced && !m_entries.empty();
    m_announced = m_announced || call;
    m_changed.notify_all();
    held.unlock();
    if (!call)
        return;
    const std::lock_guard hook(m_hookMutex);
    if (m_filled)
        m_filled();
}

void Mailbox::setFilledHook(std::function<void()> filled)
{
    const std::lock_guard hook(m_hookMutex);
    m_filled = std::move(filled);
}

// --- out -----------------------------------------------------------------------------------------

std::size_t Mailbox::beginDelivery()
{
    const std::lock_guard held(m_mutex);
    m_announced = false;
    return m_entries.size();
}

std::optional<Event> Mailbox::take()
{
    const std::lock_guard held(m_mutex);
    std::optional<Event> event;
    while (!event && !m_entries.empty())
        event = takeEntry();
    if (m_entries.empty())
        setReadable(false);
    return event;
}

// The first entry. Nothing if what it stood for is gone.
std::optional<Event> Mailbox::takeEntry()
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
        return m_links.empty() ? std::nullopt : std::optional(takeFront(m_links));
    case Kind::Change:
        break;
    }
    TagEntry *entry = m_tags.find(first.tag);
    if (entry == nullptr)
        return std::nullopt;
    entry->changeWaits = false;
    return Events::Change{first.tag, Sample()};
}

bool Mailbox::wait(Duration longest) const
{
    std::unique_lock held(m_mutex);
    return m_changed.wait_for(held, longest, [this] { return !m_entries.empty(); });
}

bool Mailbox::waitForLink(Duration longest) const
{
    std::unique_lock held(m_mutex);
    m_changed.wait_for(held, longest,
                       [this] { return m_link.isReady() || m_link.state == LinkState::Stopped; });
    return m_link.isReady();
}

int Mailbox::descriptor()
{
    const std::lock_guard held(m_mutex);
    if (m_descriptor < 0) {
        m_descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        setReadable(!m_entries.empty());
    }
    return m_descriptor;
}

void Mailbox::setReadable(bool readable) const
{
    eventfd_t count = 0;
    if (m_descriptor < 0)
        return;
    if (readable)
        ::eventfd_write(m_descriptor, 1);
    else
        ::eventfd_read(m_descriptor, &count);
}

// --- out of the row ------------------------------------------------------------------------------

void Mailbox::expect(quint64 id)
{
    const std::lock_guard held(m_mutex);
    m_expected.emplace(id, std::nullopt);
}

bool Mailbox::isExpected(quint64 id) const
{
    const std::lock_guard held(m_mutex);
    return m_expected.contains(id);
}

std::optional<Event> Mailbox::await(quint64 id, Duration longest)
{
    std::unique_lock held(m_mutex);
    const bool ended = m_changed.wait_for(held, longest, [&] {
        const auto expected = m_expected.find(id);
        return expected == m_expected.end() || expected->second.has_value();
    });
    if (!ended)
        return std::nullopt;
    const auto taken = m_expected.extract(id);
    return taken.empty() ? std::nullopt : taken.mapped();
}

void Mailbox::forget(quint64 id)
{
    const std::lock_guard held(m_mutex);
    m_expected.erase(id);
}

} // namespace kvlink
