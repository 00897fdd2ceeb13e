// SPDX-License-Identifier: MIT
// The mailbox between a link's thread and those who watch it: which tags have changed, and
// what happened, in order.
//
// Many changes of a tag that nobody has taken yet are one entry; whoever takes it sees the newest
// sample: however slow a receiver is, at most one change of each tag waits. Write results, reads
// and queries are never dropped; of changes of the link the last 64 are kept.
//
// Threads: every call from any thread. The filled hook is called on the thread that
//          put something in.
// Locks:   m_mutex or m_hookMutex, never both. Under m_hookMutex the hook is called: it
//          must only post.
#pragma once

#include "api/event_row.h"
#include "api/tag_table.h"
#include "engine/engine.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

namespace kvlink
{

class Mailbox
{
public:
    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    // --- tags and the link -----------------------------------------------------------------------

    /// One tag for each of the settings.
    std::vector<Tag> addTags(const std::vector<TagSettings> &settings);
    /// False if there is no such tag. Its waiting change is dropped.
    bool removeTag(Tag tag);
    bool hasTag(Tag tag) const;
    std::vector<Tag> tags() const;
    /// Address, name and unit; the rest is as in any new TagSettings. Nothing for an unknown tag.
    std::optional<TagSettings> tagTexts(Tag tag) const;
    LinkStatus link() const;
    /// The link's state as long as it has reported none itself; no entry comes of it.
    void setLink(LinkState state);

    // --- in --------------------------------------------------------------------------------------

    /// What a step brought: changes of the link first, ends of reads last.
    void put(Events &events);
    /// Called when something was put in, once until the next beginDelivery(). Not called
    /// after setFilledHook({}) returned.
    void setFilledHook(std::function<void()> filled);

    // --- out -------------------------------------------------------------------------------------

    /// \return how many entries wait now; further ones call the filled hook again
    std::size_t beginDelivery();
    /// The first entry. A change comes without its sample: the newest one is the engine's.
    std::optional<Event> take();
    /// Waits until an entry can be taken. False after \a longest.
    bool wait(Duration longest) const;
    /// Waits until the link is ready. False after \a longest, or at once when the link is stopped.
    bool waitForLink(Duration longest) const;
    /// A descriptor that is readable while an entry waits; made at the first call, closed by the
    /// mailbox. -1: the system gave none.
    int descriptor();

    // --- out of the row: for callers that wait for one thing -------------------------------------

    /// The end of the write, read or query with this id goes to await() and is no entry. Ids of
    /// all kinds differ.
    void expect(quint64 id);
    bool isExpected(quint64 id) const;
    /// Waits for it; it is then no longer expected. Nothing: not within \a longest, or not
    /// expected at all.
    std::optional<Event> await(quint64 id, Duration longest);
    /// Nobody waits for it any more. Its end, if it has come, is dropped.
    void forget(quint64 id);

private:
    void addChange(Tag tag);
    template <class Record>
    void addEnd(Record &record);
    bool endChange(Tag tag);
    void announce(std::unique_lock<std::mutex> held);
    void setReadable(bool readable) const;

    mutable std::mutex m_mutex; ///< guards all of what follows but m_filled
    mutable std::condition_variable m_changed;
    TagTable m_tags;
    LinkStatus m_link;
    EventRow m_events;
    std::map<quint64, std::optional<Event>> m_expected;
    bool m_announced = false;
    int m_descriptor = -1;

    std::mutex m_hookMutex; ///< guards m_filled, and is held while it is called
    std::function<void()> m_filled;
};

} // namespace kvlink
