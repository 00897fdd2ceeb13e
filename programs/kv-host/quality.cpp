#include "quality.h"

#include <algorithm>

namespace kvhost
{

const char *qualityName(Quality quality)
{
    static const char *const names[] = {"good", "stale", "bad", "never", "pending"};
    return names[int(quality)];
}

quint64 QualityBook::keyOf(int station, int key, int unit)
{
    return quint64(quint32(unit / PAGE)) | quint64(key & 0xFF) << 32 | quint64(station & 0xFFFF) << 40;
}

template <typename Change>
void QualityBook::forEach(const UnitRange &range, Change change)
{
    const int end = range.first + range.count;
    for (int unit = range.first; unit < end;) {
        const int pageEnd = std::min(end, unit - unit % PAGE + PAGE);
        const auto page = m_pages.find(keyOf(range.station, range.key, unit));
        for (; page != m_pages.end() && unit < pageEnd; ++unit) {
            if (page->tracked[std::size_t(unit % PAGE)])
                change(&page->units[std::size_t(unit % PAGE)]);
        }
        unit = pageEnd;
    }
}

const QualityBook::Unit *QualityBook::find(const UnitRange &range, int unit) const
{
    const auto page = m_pages.find(keyOf(range.station, range.key, unit));
    if (page == m_pages.end() || !page->tracked[std::size_t(unit % PAGE)])
        return nullptr;
    return &page->units[std::size_t(unit % PAGE)];
}

void QualityBook::track(const UnitRange &range)
{
    for (int unit = range.first; unit < range.first + range.count; ++unit)
        m_pages[keyOf(range.station, range.key, unit)].tracked.set(std::size_t(unit % PAGE));
}

void QualityBook::read(const UnitRange &range, Time now)
{
    forEach(range, [now](Unit *unit) {
        unit->newRead = now;
        unit->unproved = true;
        unit->unsure = false;
        // The driver puts a value into its store when it builds the write: only a read after the confirmation
        // tells what the PLC holds.
        unit->readBack = unit->writes == 0;
    });
}

void QualityBook::proved(const UnitRange &range)
{
    forEach(range, [](Unit *unit) {
        if (!unit->unproved)
            return;
        unit->unproved = false;
        unit->lastRead = unit->newRead;
        unit->everRead = true;
        unit->bad = false;
        if (unit->readBack)
            unit->readBackDue = false;
    });
}

void QualityBook::lost(const UnitRange &range)
{
    forEach(range, [](Unit *unit) {
        unit->unsure = unit->unsure || unit->unproved;
        unit->unproved = false;
    });
}

void QualityBook::failed(const UnitRange &range, const QString &reason)
{
    lost(range);
    forEach(range, [&reason](Unit *unit) {
        unit->bad = true;
        unit->badReason = reason;
    });
}

bool QualityBook::settled(const UnitRange &range) const
{
    for (int at = range.first; at < range.first + range.count; ++at) {
        const Unit *unit = find(range, at);
        if (unit != nullptr && (unit->unproved || unit->unsure))
            return false;
    }
    return true;
}

void QualityBook::writeQueued(const UnitRange &range)
{
    forEach(range, [](Unit *unit) {
        ++unit->writes;
        unit->readBackDue = true;
        unit->readBack = false;
    });
}

void QualityBook::writeDone(const UnitRange &range)
{
    forEach(range, [](Unit *unit) { unit->writes = std::max(0, unit->writes - 1); });
}

void QualityBook::writeFailed(const UnitRange &range, const QString &reason)
{
    writeDone(range);
    failed(range, reason);
}

QualityBook::State QualityBook::state(const UnitRange &range, Time now) const
{
    State state;
    bool bad = false, never = false, pending = false;
    Time oldest = now;
    for (int at = range.first; at < range.first + range.count; ++at) {
        const Unit *tracked = find(range, at);
        const Unit unit = tracked == nullptr ? Unit() : *tracked;
        bad = bad || unit.bad;
        never = never || !unit.everRead;
        pending = pending || unit.writes > 0 || unit.readBackDue;
        if (unit.bad)
            state.reason = unit.badReason;
        if (unit.everRead)
            oldest = std::min(oldest, unit.lastRead);
    }
    state.everRead = !never;
    state.age = never ? Clock::duration::zero() : now - oldest;
    state.quality = bad                        ? Quality::Bad
                    : pending                  ? Quality::Pending
                    : never                    ? Quality::Never
                    : state.age > m_staleAfter ? Quality::Stale
                                               : Quality::Good;
    return state;
}

} // namespace kvhost
