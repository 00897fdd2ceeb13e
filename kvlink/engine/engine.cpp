// SPDX-License-Identifier: MIT
#include "engine/engine.h"

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

template <typename T>
void moveTo(std::vector<T> &to, std::vector<T> &from)
{
    if (to.empty())
        to.swap(from); // so both keep their memory from step to step
    else
        to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
    from.clear();
}

} // namespace

Engine::Engine(const Clock &clock, Transport &transport, Driver &driver, const LinkSettings &settings,
               quint64 seed)
    : m_clock(clock), m_transport(transport), m_driver(driver), m_settings(settings), m_life(seed),
      m_exchange(transport, settings.timeout), m_book({settings.wordOrder, settings.textEncoding}),
      m_reader(m_book, settings, transport.secondsPerByte()), m_writes(settings.timeout, mostWaitingWrites)
{
    m_status.since = clock.wallNow();
}

SteadyTime Engine::step(Events &out)
{
    const SteadyTime now = m_clock.now(); // read once: one step, one time
    m_transport.work();
    moveLink(now);
    takeAnswer(now); // may end the request, or lose the link
    m_reader.tick(now, m_life.isReady());
    if (isStopping())
        moveStop(now);
    moveWrites(now);
    if (m_life.isReady() && m_errand == Errand::None && now >= m_nextSend)
        beginNext(now);
    tellEnds(now);
    moveTo(out.changes, m_book.changes());
    moveTo(out.writes, m_events.writes);
    moveTo(out.links, m_events.links);
    moveTo(out.reads, m_events.reads);
    moveTo(out.queries, m_events.queries);
    return nextDeadline(now);
}

SteadyTime Engine::nextDeadline(SteadyTime now) const
{
    SteadyTime next = std::min({m_writes.nextExpiry(), m_buttons.nextDue(), m_stopBy});
    if (m_errand != Errand::None)
        next = std::min(next, m_exchange.deadline());
    if (!m_life.isReady()) {
        const bool isTimed = m_life.state() != LinkState::Stopped && m_life.state() != LinkState::Greeting;
        return isTimed ? std::min(next, m_stateUntil) : next;
    }
    if (m_errand == Errand::None &&
        (isStopping() || m_reader.isDue() || !m_writes.isEmpty() || !m_queries.empty()))
        next = std::min(next, std::max(now, m_nextSend));
    return std::min(next, m_reader.nextDeadline());
}

// --- tags ----------------------------------------------------------------------------------------

void Engine::addTags(const std::vector<EngineTag> &tags)
{
    std::vector<ValueBook::Slot> tagSlots;
    tagSlots.reserve(tags.size());
    for (const EngineTag &tag : tags) {
        tagSlots.push_back(m_book.add(tag));
        if (!m_status.problem.isEmpty())
            m_book.fail(tagSlots.back(), Reason::NoLink, 0, false);
    }
    m_reader.add(tagSlots, m_life.isReady(), m_clock.now());
}

void Engine::removeTag(Tag tag)
{
    const ValueBook::Slot slot = m_book.find(tag);
    if (slot == ValueBook::noSlot)
        return;
    m_writes.cancelTag(tag);
    m_reader.remove(slot);
    m_book.remove(slot);
}

void Engine::setPeriod(Tag tag, Duration period)
{
    const ValueBook::Slot slot = m_book.find(tag);
    if (slot == ValueBook::noSlot || m_book.tag(slot).period == period)
        return;
    m_reader.remove(slot);
    m_book.setPeriod(slot, period);
    m_reader.add({slot}, m_life.isReady(), m_clock.now());
}

void Engine::readNow(ReadId id, const std::vector<Tag> &tags)
{
    std::vector<ValueBook::Slot> tagSlots;
    for (const Tag tag : tags) {
        if (const ValueBook::Slot slot = m_book.find(tag); slot != ValueBook::noSlot)
            tagSlots.push_back(slot);
    }
    m_reader.readNow(id, std::move(tagSlots), m_clock.now());
    if (m_staysLost)
        m_reader.endReads();
}

Sample Engine::sample(Tag tag) const
{
    const ValueBook::Slot slot = m_book.find(tag);
    return slot == ValueBook::noSlot ? Sample() : m_book.sample(slot);
}

std::optional<EngineTag> Engine::tag(Tag tag) const
{
    const ValueBook::Slot slot = m_book.find(tag);
    return slot == ValueBook::noSlot ? std::nullopt : std::optional(m_book.tag(slot));
}

LinkStatistics Engine::statistics() const
{
    LinkStatistics statistics = m_counters;
    statistics.bytesSent = m_exchange.bytesSent();
    statistics.bytesReceived = m_exchange.bytesReceived();
    statistics.strayBytes = m_exchange.strayBytes();
    m_times.fill(statistics);
    m_reader.fill(statistics);
    return statistics;
}

} // namespace kvlink
