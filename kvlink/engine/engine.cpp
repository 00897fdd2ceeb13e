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
    : m_clock(clock), m_settings(settings), m_exchange(transport, settings.timeout),
      m_link(clock, transport, m_exchange, m_settings, seed),
      m_book({settings.wordOrder, settings.textEncoding}),
      m_reader(m_book, settings, transport.secondsPerByte()), m_writes(clock, m_book, m_settings),
      m_requests(clock, m_exchange, driver, m_settings, {m_reader, m_writes.queue(), m_queries})
{
}

SteadyTime Engine::step(Events &out)
{
    const SteadyTime now = m_clock.now(); // read once: one step, one time
    moveLink(now);
    if (const std::optional<LinkNews> news = m_requests.takeAnswer(now))
        go(*news, now);
    m_reader.tick(now, m_link.isReady());
    if (isStopping())
        moveStop(now);
    m_writes.tick(now, m_link.isReady());
    beginNext(now);
    m_writes.tellEnds(now);
    moveTo(out.changes, m_book.changes());
    moveTo(out.writes, m_writes.results());
    moveTo(out.links, m_link.changes());
    moveTo(out.queries, m_queries.results());
    std::vector<ReadId> reads = m_reader.takeEnded();
    moveTo(out.reads, reads);
    return nextDeadline(now);
}

void Engine::beginNext(SteadyTime now)
{
    if (!m_link.isReady() || m_requests.isInHand() || now < m_requests.nextSend())
        return;
    if (isStopping())
        m_requests.beginWriteOnly(now); // of a release
    else
        m_requests.begin(now);
}

SteadyTime Engine::nextDeadline(SteadyTime now) const
{
    SteadyTime next = std::min(m_writes.nextDeadline(), m_stopBy);
    if (m_requests.isInHand())
        next = std::min(next, m_exchange.deadline());
    if (!m_link.isReady())
        return std::min(next, m_link.deadline());
    if (!m_requests.isInHand() && (isStopping() || m_requests.isDue()))
        next = std::min(next, std::max(now, m_requests.nextSend()));
    return std::min(next, m_reader.nextDeadline());
}

// --- the link ------------------------------------------------------------------------------------

void Engine::start()
{
    if (isStopping())
        finishStop(m_clock.now());
    if (m_link.state() == LinkState::Stopped)
        go({LinkEvent::Start, {}}, m_clock.now());
}

void Engine::stop()
{
    if (m_link.state() == LinkState::Stopped || isStopping())
        return;
    const SteadyTime now = m_clock.now();
    if (m_writes.isReleased()) {
        finishStop(now);
        return;
    }
    m_stopBy = now + longestRelease;
    m_writes.beginStop(now);
}

// A machine must not run on because a program ended.
void Engine::moveStop(SteadyTime now)
{
    m_writes.releaseAll(now);
    if (m_writes.isReleased() || !m_link.isReady() || now >= m_stopBy)
        finishStop(now);
}

void Engine::finishStop(SteadyTime now)
{
    m_stopBy = SteadyTime::max();
    m_writes.stop(now);
    go({LinkEvent::Stop, {}}, now);
}

// Each state that is passed waits for something, so this comes to an end.
void Engine::moveLink(SteadyTime now)
{
    m_link.work();
    while (const std::optional<LinkNews> news = m_link.look(now))
        go(*news, now);
}

void Engine::go(const LinkNews &news, SteadyTime now)
{
    switch (m_link.on(news, now)) {
    case LinkAction::None:
    case LinkAction::Open:
    case LinkAction::Connect:
    case LinkAction::Trust:
        break;
    case LinkAction::Greet:
        greet(now);
        break;
    case LinkAction::EnterReady:
        m_requests.linkReady(now);
        m_reader.linkReady(now);
        break;
    case LinkAction::GiveUp:
        giveUp();
        break;
    case LinkAction::LeaveReady:
        leaveReady();
        break;
    case LinkAction::Close:
        end();
        break;
    }
}

void Engine::greet(SteadyTime now)
{
    m_exchange.reset();
    if (m_settings.open == Open::None)
        go({LinkEvent::Answered, {}}, now);
    else
        m_requests.greet(now);
}

void Engine::giveUp()
{
    m_link.closeForNow();
    m_book.loseAll(false);
    m_reader.endReads();
    m_writes.queue().linkStaysLost();
    m_queries.failAll(m_link.status().problem);
}

void Engine::leaveReady()
{
    m_requests.drop();
    m_link.closeForNow();
    m_reader.linkLost();
    m_book.loseAll(true);
    m_writes.queue().linkLost();
    m_queries.failAll(m_link.status().problem);
}

void Engine::end()
{
    m_requests.drop();
    m_link.close();
    m_reader.linkLost();
    m_reader.endReads();
    m_book.loseAll(false);
    m_queries.failAll(QStringLiteral("the link was stopped"));
}

// --- tags ----------------------------------------------------------------------------------------

void Engine::addTags(const std::vector<EngineTag> &tags)
{
    std::vector<ValueBook::Slot> tagSlots;
    tagSlots.reserve(tags.size());
    for (const EngineTag &tag : tags) {
        tagSlots.push_back(m_book.add(tag));
        if (!m_link.status().problem.isEmpty())
            m_book.fail(tagSlots.back(), Reason::NoLink, 0, false);
    }
    m_reader.add(tagSlots, m_link.isReady(), m_clock.now());
}

void Engine::removeTag(Tag tag)
{
    const ValueBook::Slot slot = m_book.find(tag);
    if (slot == ValueBook::noSlot)
        return;
    m_writes.queue().cancelTag(tag);
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
    m_reader.add({slot}, m_link.isReady(), m_clock.now());
}

void Engine::readNow(ReadId id, const std::vector<Tag> &tags)
{
    std::vector<ValueBook::Slot> tagSlots;
    for (const Tag tag : tags) {
        if (const ValueBook::Slot slot = m_book.find(tag); slot != ValueBook::noSlot)
            tagSlots.push_back(slot);
    }
    m_reader.readNow(id, std::move(tagSlots), m_clock.now());
    if (m_link.staysLost())
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
    LinkStatistics statistics;
    m_link.fill(statistics);
    m_requests.fill(statistics);
    m_reader.fill(statistics);
    m_writes.fill(statistics);
    return statistics;
}

void Engine::query(QueryId id, const QByteArray &command)
{
    m_queries.add(id, command);
    if (m_link.staysLost())
        m_queries.failAll(m_link.status().problem);
}

} // namespace kvlink
