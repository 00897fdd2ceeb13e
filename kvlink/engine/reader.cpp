// SPDX-License-Identifier: MIT
#include "engine/reader.h"

#include <algorithm>
#include <set>

namespace kvlink
{

namespace
{

constexpr int stalePeriods = 3;

UnitRange rangeOf(const EngineTag &tag, ValueBook::Slot slot)
{
    const Place &place = tag.place;
    const int ofValue = place.element == Element::Bit ? 1 : place.elementsPerValue();
    return {place.firstUnit(), place.unitCount(), ofValue, slot};
}

} // namespace

Reader::Reader(ValueBook &book, const LinkSettings &settings, double secondsPerByte)
    : m_book(book), m_costs(settings.maxBlock, secondsPerByte)
{
}

// --- tags ----------------------------------------------------------------------------------------

void Reader::add(const std::vector<ValueBook::Slot> &tagSlots, bool online, SteadyTime now)
{
    AskedRead fresh;
    fresh.at = now;
    std::set<Duration> begun;
    for (const ValueBook::Slot slot : tagSlots) {
        const EngineTag &tag = m_book.tag(slot);
        if (tag.period <= Duration(0))
            continue;
        const auto [pass, isNew] = m_passes.try_emplace(tag.period, Pass{PassClock(tag.period), {}});
        const SteadyTime staleAt = now + stalePeriods * tag.period;
        pass->second.groups.add(*tag.place.device, rangeOf(tag, slot), staleAt);
        m_nextStale = std::min(m_nextStale, staleAt);
        if (online && isNew) {
            pass->second.clock.passNow(now);
            begun.insert(tag.period);
        }
        // A tag of a period that has its rhythm already need not wait for the next pass.
        if (online && !begun.contains(tag.period))
            fresh.groups.add(*tag.place.device, rangeOf(tag, slot));
    }
    if (!fresh.groups.isEmpty())
        m_asked.add(std::move(fresh));
}

void Reader::remove(ValueBook::Slot slot)
{
    m_pieces.forget(slot);
    const EngineTag &tag = m_book.tag(slot);
    const auto pass = m_passes.find(tag.period);
    if (pass == m_passes.end())
        return;
    pass->second.groups.remove(*tag.place.device, rangeOf(tag, slot));
    if (!pass->second.groups.isEmpty())
        return;
    m_missedOfGone += pass->second.clock.missed();
    m_passes.erase(pass);
}

void Reader::readNow(ReadId id, std::vector<ValueBook::Slot> tagSlots, SteadyTime now)
{
    AskedRead asked;
    asked.id = id;
    asked.at = now;
    std::sort(tagSlots.begin(), tagSlots.end());
    tagSlots.erase(std::unique(tagSlots.begin(), tagSlots.end()), tagSlots.end());
    for (const ValueBook::Slot slot : tagSlots) {
        const EngineTag &tag = m_book.tag(slot);
        asked.groups.add(*tag.place.device, rangeOf(tag, slot));
    }
    m_asked.add(std::move(asked));
}

// --- the link ------------------------------------------------------------------------------------

void Reader::linkReady(SteadyTime now)
{
    for (auto &[period, pass] : m_passes) {
        pass.groups.forgetRefusals();
        pass.clock.passNow(now);
    }
}

void Reader::linkLost()
{
    for (auto &[period, pass] : m_passes) {
        pass.clock.abandon();
        pass.groups.forgetAges();
    }
    m_nextStale = SteadyTime::max();
    m_pieces.clear();
    m_asked.linkLost();
}

// --- time ----------------------------------------------------------------------------------------

void Reader::tick(SteadyTime now, bool online)
{
    for (auto &[period, pass] : m_passes)
        pass.clock.tick(now, online);
    if (now >= m_nextStale)
        ageAll(now);
    if (m_costs.haveChanged(now))
        replanAll();
}

void Reader::ageAll(SteadyTime now)
{
    m_nextStale = SteadyTime::max();
    for (auto &[period, pass] : m_passes)
        m_nextStale = std::min(m_nextStale, pass.groups.age(m_book, m_costs, now));
}

void Reader::replanAll()
{
    for (auto &[period, pass] : m_passes)
        pass.groups.invalidate();
}

SteadyTime Reader::nextDeadline() const
{
    SteadyTime next = m_nextStale;
    for (const auto &[period, pass] : m_passes)
        next = std::min(next, pass.clock.next());
    return next;
}

// --- reading -------------------------------------------------------------------------------------

Reader::Pass *Reader::mostUrgent()
{
    Pass *first = nullptr;
    for (auto &[period, pass] : m_passes) {
        if (pass.clock.isRunning() && (first == nullptr || pass.clock.deadline() < first->clock.deadline()))
            first = &pass;
    }
    return first;
}

bool Reader::isDue() const
{
    return !m_asked.isEmpty() || std::any_of(m_passes.begin(), m_passes.end(), [](const auto &entry) {
        return entry.second.clock.isRunning();
    });
}

bool Reader::next(ReadRequest &request, SteadyTime now)
{
    for (;;) {
        Pass *pass = mostUrgent();
        if (!m_asked.isEmpty() && (pass == nullptr || m_asked.first().at <= pass->clock.deadline())) {
            AskedRead &asked = m_asked.first();
            request.period = {};
            request.due = asked.at;
            if (asked.groups.next(request, asked.pass(), m_costs, now))
                return true;
            m_asked.endFirst();
            continue;
        }
        if (pass == nullptr)
            return false;
        request.period = pass->clock.period();
        request.due = pass->clock.due();
        if (pass->groups.next(request, pass->clock.number(), m_costs, now))
            return true;
        pass->clock.ended(now);
    }
}

// Where a request came from; null if its tags have gone since.
ReadGroup *Reader::groupOf(const ReadRequest &request)
{
    if (request.period == Duration(0))
        return m_asked.isEmpty() ? nullptr : m_asked.first().groups.find(*request.device);
    const auto pass = m_passes.find(request.period);
    return pass == m_passes.end() ? nullptr : pass->second.groups.find(*request.device);
}

// What somebody asked for is told even if it has not changed.
bool Reader::isTold(const ReadRequest &request) const
{
    return request.period == Duration(0) && !m_asked.isEmpty() && m_asked.first().id != 0;
}

void Reader::answered(const ReadRequest &request, const UnitBlock &block, const Moment &at)
{
    const bool tell = isTold(request);
    if (request.block.isPiece) {
        m_pieces.take(m_book, request.tagSlots.front(), block, at, tell);
    } else {
        for (const ValueBook::Slot slot : request.tagSlots)
            m_book.take(slot, block, at, tell);
    }
    SteadyTime staleAt = SteadyTime::max();
    if (request.period > Duration(0))
        staleAt = request.due + stalePeriods * request.period;
    else
        ageAsked(request);
    m_nextStale = std::min(m_nextStale, staleAt);
    if (ReadGroup *group = groupOf(request))
        group->answered(request.block, staleAt);
}

// Tags that somebody asked for and that have a period as well age by it.
void Reader::ageAsked(const ReadRequest &request)
{
    Duration last{};
    for (const ValueBook::Slot slot : request.tagSlots) {
        const Duration period = m_book.tag(slot).period;
        const auto pass = m_passes.find(period);
        if (period == last || pass == m_passes.end())
            continue;
        last = period;
        const SteadyTime staleAt = request.due + stalePeriods * period;
        m_nextStale = std::min(m_nextStale, staleAt);
        if (ReadGroup *group = pass->second.groups.find(*request.device))
            group->ageAtLatest(staleAt);
    }
}

void Reader::refused(const ReadRequest &request, quint8 plcError, SteadyTime now)
{
    ReadGroup *group = groupOf(request);
    if (group != nullptr && group->refused(request.block, plcError, now))
        return;
    for (const ValueBook::Slot slot : request.tagSlots)
        m_book.fail(slot, Reason::PlcError, plcError, isTold(request));
}

void Reader::failed(const ReadRequest &request, Reason reason)
{
    for (const ValueBook::Slot slot : request.tagSlots)
        m_book.fail(slot, reason, 0, isTold(request));
    if (ReadGroup *group = groupOf(request))
        group->failed(request.block);
}

} // namespace kvlink
