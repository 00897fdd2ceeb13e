// SPDX-License-Identifier: MIT
#include "engine/reader.h"

#include <algorithm>
#include <set>

namespace kvlink
{

namespace
{

constexpr int stalePeriods = 3;
constexpr int mostLosses = 2; // a read that somebody asked for survives one loss of the link
constexpr Duration costsLookedAtEvery = 10s;
constexpr double costsChangedBy = 2.0;
constexpr SteadyTime never = SteadyTime::max();

int bytesOfUnit(const Device &device)
{
    if (device.field != Field::Whole)
        return bytesOfTriple;
    return device.element == Element::DoubleWord ? bytesOfDoubleWord : bytesOfWord;
}

} // namespace

Reader::Reader(ValueBook &book, const LinkSettings &settings, double secondsPerByte)
    : m_book(book), m_maxBlock(settings.maxBlock), m_cost(secondsPerByte), m_plannedCost(m_cost.turnaround())
{
}

// --- tags ----------------------------------------------------------------------------------------

UnitRange Reader::rangeOf(ValueBook::Slot slot) const
{
    const Place &place = m_book.tag(slot).place;
    const int ofValue = place.element == Element::Bit ? 1 : place.elementsPerValue();
    return {place.firstUnit(), place.unitCount(), ofValue, slot};
}

void Reader::addTo(Groups &groups, const Device &device, const UnitRange &range, SteadyTime staleAt)
{
    groups.try_emplace(device.readArea, device).first->second.add(range, staleAt);
}

void Reader::add(const std::vector<ValueBook::Slot> &tagSlots, bool online, SteadyTime now)
{
    Asked fresh;
    fresh.at = now;
    std::set<Duration> begun;
    for (const ValueBook::Slot slot : tagSlots) {
        const EngineTag &tag = m_book.tag(slot);
        if (tag.period <= Duration(0))
            continue;
        const auto [pass, isNew] = m_passes.try_emplace(tag.period, Pass{PassClock(tag.period), {}});
        addTo(pass->second.groups, *tag.place.device, rangeOf(slot), now + stalePeriods * tag.period);
        m_nextStale = std::min(m_nextStale, now + stalePeriods * tag.period);
        if (online && isNew) {
            pass->second.clock.passNow(now);
            begun.insert(tag.period);
        }
        // A tag of a period that has its rhythm already need not wait for the next pass.
        if (online && !begun.contains(tag.period))
            addTo(fresh.groups, *tag.place.device, rangeOf(slot), never);
    }
    if (!fresh.groups.empty())
        m_asked.push_back(std::move(fresh));
}

void Reader::remove(ValueBook::Slot slot)
{
    m_pieces.forget(slot);
    const EngineTag &tag = m_book.tag(slot);
    const auto pass = m_passes.find(tag.period);
    if (pass == m_passes.end())
        return;
    Groups &groups = pass->second.groups;
    const auto group = groups.find(tag.place.readArea());
    group->second.remove(rangeOf(slot));
    if (group->second.isEmpty())
        groups.erase(group);
    if (!groups.empty())
        return;
    m_missedOfGone += pass->second.clock.missed();
    m_passes.erase(pass);
}

void Reader::readNow(ReadId id, std::vector<ValueBook::Slot> tagSlots, SteadyTime now)
{
    Asked asked;
    asked.id = id;
    asked.at = now;
    std::sort(tagSlots.begin(), tagSlots.end());
    tagSlots.erase(std::unique(tagSlots.begin(), tagSlots.end()), tagSlots.end());
    for (const ValueBook::Slot slot : tagSlots)
        addTo(asked.groups, *m_book.tag(slot).place.device, rangeOf(slot), never);
    m_asked.push_back(std::move(asked));
}

// --- the link ------------------------------------------------------------------------------------

void Reader::linkReady(SteadyTime now)
{
    for (auto &[period, pass] : m_passes) {
        for (auto &[area, group] : pass.groups)
            group.forgetRefusals();
        pass.clock.passNow(now);
    }
}

void Reader::linkLost()
{
    for (auto &[period, pass] : m_passes) {
        pass.clock.abandon();
        for (auto &[area, group] : pass.groups)
            group.forgetAges();
    }
    m_nextStale = SteadyTime::max();
    m_pieces.clear();
    std::erase_if(m_asked, [this](Asked &asked) {
        const bool ends = ++asked.losses >= mostLosses;
        if (ends && asked.id != 0)
            m_ended.push_back(asked.id);
        return ends || asked.id == 0;
    });
}

void Reader::endReads()
{
    for (const Asked &asked : m_asked) {
        if (asked.id != 0)
            m_ended.push_back(asked.id);
    }
    m_asked.clear();
}

// --- time ----------------------------------------------------------------------------------------

void Reader::tick(SteadyTime now, bool online)
{
    for (auto &[period, pass] : m_passes)
        pass.clock.tick(now, online);
    if (now >= m_nextStale)
        ageAll(now);
    if (now - m_costsLookedAt >= costsLookedAtEvery)
        replanIfCostsChanged(now);
}

void Reader::ageAll(SteadyTime now)
{
    m_nextStale = SteadyTime::max();
    for (auto &[period, pass] : m_passes) {
        for (auto &[area, group] : pass.groups) {
            group.replan(limitsOf(group.device())); // tags that came since age as well
            // Named again: clang 14 captures no structured binding.
            const SteadyTime next = group.age(now, [this, &aged = group](const ReadBlock &block) {
                for (const UnitRange &tag : aged.tagsOf(block))
                    m_book.age(tag.slot);
            });
            m_nextStale = std::min(m_nextStale, next);
        }
    }
}

void Reader::replanIfCostsChanged(SteadyTime now)
{
    if (!m_cost.isMeasured())
        return;
    m_costsLookedAt = now;
    const double cost = m_cost.turnaround();
    if (cost < m_plannedCost * costsChangedBy && cost > m_plannedCost / costsChangedBy)
        return;
    m_plannedCost = cost;
    for (auto &[period, pass] : m_passes) {
        for (auto &[area, group] : pass.groups)
            group.invalidate();
    }
}

SteadyTime Reader::nextDeadline() const
{
    SteadyTime next = m_nextStale;
    for (const auto &[period, pass] : m_passes)
        next = std::min(next, pass.clock.next());
    return next;
}

// --- reading -------------------------------------------------------------------------------------

PlanLimits Reader::limitsOf(const Device &device) const
{
    PlanLimits limits;
    limits.mostUnits = std::min(m_maxBlock, device.mostUnits);
    limits.requestSeconds = m_plannedCost + bytesOfFrame * m_cost.perByte();
    limits.unitSeconds = bytesOfUnit(device) * m_cost.perByte();
    return limits;
}

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
    return !m_asked.empty() || std::any_of(m_passes.begin(), m_passes.end(),
                                           [](const auto &entry) { return entry.second.clock.isRunning(); });
}

bool Reader::next(ReadRequest &request, SteadyTime now)
{
    for (;;) {
        Pass *pass = mostUrgent();
        if (!m_asked.empty() && (pass == nullptr || m_asked.front().at <= pass->clock.deadline())) {
            Asked &asked = m_asked.front();
            request.period = {};
            request.due = asked.at;
            if (nextOf(asked.groups, quint64(asked.losses) + 1, request, now))
                return true;
            if (asked.id != 0)
                m_ended.push_back(asked.id);
            m_asked.pop_front();
            continue;
        }
        if (pass == nullptr)
            return false;
        request.period = pass->clock.period();
        request.due = pass->clock.due();
        if (nextOf(pass->groups, pass->clock.number(), request, now))
            return true;
        pass->clock.ended(now);
    }
}

bool Reader::nextOf(Groups &groups, quint64 pass, ReadRequest &request, SteadyTime now)
{
    for (auto &[area, group] : groups) {
        group.forgetOldCuts(now);
        group.replan(limitsOf(group.device()));
        const ReadBlock *block = group.next(pass, now);
        if (block == nullptr)
            continue;
        request.device = &group.device();
        const PlannedBlock &planned = *block; // its plan alone: the state stays with the group
        request.block = planned;
        request.tagSlots.clear();
        for (const UnitRange &tag : group.tagsOf(*block))
            request.tagSlots.push_back(tag.slot);
        return true;
    }
    return false;
}

// Where a request came from; null if its tags have gone since.
ReadGroup *Reader::groupOf(const ReadRequest &request)
{
    Groups *groups = nullptr;
    if (request.period == Duration(0))
        groups = m_asked.empty() ? nullptr : &m_asked.front().groups;
    else if (const auto pass = m_passes.find(request.period); pass != m_passes.end())
        groups = &pass->second.groups;
    if (groups == nullptr)
        return nullptr;
    const auto group = groups->find(request.device->readArea);
    return group == groups->end() ? nullptr : &group->second;
}

// What somebody asked for is told even if it has not changed.
bool Reader::isTold(const ReadRequest &request) const
{
    return request.period == Duration(0) && !m_asked.empty() && m_asked.front().id != 0;
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
        if (const auto group = pass->second.groups.find(request.device->readArea);
            group != pass->second.groups.end())
            group->second.ageAtLatest(staleAt);
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
