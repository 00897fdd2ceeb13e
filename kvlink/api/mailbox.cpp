// SPDX-License-Identifier: MIT
#include "api/mailbox.h"
#include "model/clock.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace kvlink
{

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
    const bool wasEmpty = m_events.isEmpty();
    for (LinkStatus &status : events.links) {
        m_link = status;
        m_events.add(std::move(status));
    }
    for (const Events::Change &change : events.changes)
        addChange(change.tag);
    for (WriteResult &result : events.writes)
        addEnd(result);
    for (QueryResult &result : events.queries)
        addEnd(result);
    for (const ReadId id : events.reads) {
        ReadDone done{id};
        addEnd(done);
    }
    if (wasEmpty && !m_events.isEmpty())
        setReadable(true);
    announce(std::move(held));
}

void Mailbox::addChange(Tag tag)
{
    TagEntry *entry = m_tags.find(tag);
    if (entry == nullptr)
        return; // removed a moment ago
    if (!entry->changeWaits)
        m_events.add(tag);
    entry->changeWaits = true;
}

// The end of a write, read or query: to the caller who waits for it, else into the row.
template <class Record>
void Mailbox::addEnd(Record &record)
{
    const auto expected = m_expected.find(record.id);
    if (expected != m_expected.end())
        expected->second = std::move(record);
    else
        m_events.add(std::move(record));
}

void Mailbox::announce(std::unique_lock<std::mutex> held)
{
    const bool call = !m_announced && !m_events.isEmpty();
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
    return m_events.size();
}

std::optional<Event> Mailbox::take()
{
    const std::lock_guard held(m_mutex);
    std::optional<Event> event;
    while (!event && !m_events.isEmpty()) {
        event = m_events.take();
        const auto *change = std::get_if<Events::Change>(&*event);
        if (change != nullptr && !endChange(change->tag))
            event.reset();
    }
    if (m_events.isEmpty())
        setReadable(false);
    return event;
}

// The change of this tag waits no more. False: the tag was removed.
bool Mailbox::endChange(Tag tag)
{
    TagEntry *entry = m_tags.find(tag);
    if (entry != nullptr)
        entry->changeWaits = false;
    return entry != nullptr;
}

bool Mailbox::wait(Duration longest) const
{
    std::unique_lock held(m_mutex);
    return m_changed.wait_for(held, countable(longest), [this] { return !m_events.isEmpty(); });
}

bool Mailbox::waitForLink(Duration longest) const
{
    std::unique_lock held(m_mutex);
    m_changed.wait_for(held, countable(longest),
                       [this] { return m_link.isReady() || m_link.state == LinkState::Stopped; });
    return m_link.isReady();
}

int Mailbox::descriptor()
{
    const std::lock_guard held(m_mutex);
    if (m_descriptor < 0) {
        m_descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        setReadable(!m_events.isEmpty());
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
    const bool ended = m_changed.wait_for(held, countable(longest), [&] {
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
