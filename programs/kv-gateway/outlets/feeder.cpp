// SPDX-License-Identifier: MIT
#include "feeder.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr kvlink::Duration answerDue = 100ms;    // a row without an acknowledgement goes to disk
constexpr kvlink::Duration removalsEvery = 50ms; // of rows that are acknowledged: fewer commits
constexpr kvlink::Duration limitsEvery = 1s;
constexpr kvlink::Duration saveAgainAfter = 1s;
constexpr kvlink::Duration openAgainAfter = 5s;
constexpr int mostStoredAtOnce = 1000;

} // namespace

Feeder::Feeder(FeederSettings settings, Outlet &outlet, const Clock &clock)
    : m_settings(std::move(settings)), m_outlet(outlet), m_clock(clock),
      m_pace(m_settings.drainRate, clock.steady())
{
}

QString Feeder::step(News news)
{
    QString notice;
    openBacklog(notice);
    settle(news);
    m_outlet.tick();
    followSession();
    admit(std::move(news.fresh));
    offerLive();
    storeUnanswered();
    save();
    drain();
    limit();
    takeCounts();
    return notice;
}

void Feeder::openBacklog(QString &notice)
{
    if (m_backlog && m_backlog->isBroken())
        notice = giveBacklogUp();
    if (m_backlog || m_clock.steady() < m_nextOpen)
        return;
    m_nextOpen = m_clock.steady() + openAgainAfter;
    m_backlog = Backlog::open(m_settings.path, m_settings.limits, m_clock, notice, m_counts.diskProblem);
    if (!m_backlog)
        return;
    m_counts.diskProblem.clear();
    m_backlog->useNoneUpTo(m_ownSeq);
    m_cursor = 0;
    // What an earlier run could not hand over: the newest of each tag is owed as a live value.
    for (OutletRow &row : m_backlog->newestRows()) {
        if (m_newest.contains(row.tag) || m_unsaved.contains(row.seq))
            continue;
        m_newest.insert(row.tag, row);
        m_owed.insert(row.tag, {row, m_clock.steady(), true});
    }
}

// What is in memory as well goes to the next file; the rest is lost.
QString Feeder::giveBacklogUp()
{
    qint64 lost = m_backlog->count() - qint64(m_removals.size());
    const auto keep = [&](const Held &held) {
        if (held.isStored && m_unsaved.emplace(held.row.seq, held.row).second)
            --lost;
    };
    for (const auto &[seq, held] : m_inFlight)
        keep(held);
    for (const Held &held : m_owed)
        keep(held);
    for (const Held &held : m_live)
        keep(held);
    m_counts.dropped += quint64(std::max<qint64>(0, lost));
    m_removals.clear();
    m_ownSeq = m_backlog->nextSeq(); // the clock may have been set back since
    m_backlog.reset();
    return Backlog::setAside(m_settings.path);
}

void Feeder::settle(const News &news)
{
    for (const quint64 seq : news.acknowledged)
        forget(seq);
    for (const quint64 seq : news.refused)
        forget(seq);
    for (const quint64 seq : news.postponed)
        postpone(seq);
    m_counts.acknowledged += news.acknowledged.size();
    m_counts.refused += news.refused.size();
}

void Feeder::forget(quint64 seq)
{
    const auto found = m_inFlight.find(seq);
    if (found == m_inFlight.end())
        return;
    if (found->second.isStored && m_unsaved.erase(seq) == 0)
        m_removals.insert(seq);
    m_inFlight.erase(found);
}

// It waits on disk, behind the cursor.
void Feeder::postpone(quint64 seq)
{
    const auto found = m_inFlight.find(seq);
    if (found == m_inFlight.end())
        return;
    if (!found->second.isLive)
        m_pace.giveBack();
    store(found->second);
    m_inFlight.erase(found);
}

// Another connection: what the last one did not acknowledge goes again. Of live rows only the
// newest of each tag goes as a live one again.
void Feeder::followSession()
{
    OutletState state = m_outlet.state();
    std::swap(m_state, state);
    if (m_state.round != state.round)
        m_cursor = 0;
    if (m_state.session == state.session)
        return;
    std::deque<Held> back;
    for (auto &[seq, held] : m_inFlight) {
        if (held.isLive)
            back.push_back(std::move(held));
    }
    m_inFlight.clear();
    m_young.clear();
    m_cursor = 0;
    m_live.insert(m_live.begin(), std::make_move_iterator(back.begin()), std::make_move_iterator(back.end()));
    storeWaiting();
    if (m_state.isReady() && m_state.wantsAll)
        repeatAll();
}

void Feeder::repeatAll()
{
    for (auto newest = m_newest.begin(); newest != m_newest.end();) {
        if (!m_outlet.wantsNewest(newest->tag)) {
            newest = m_newest.erase(newest);
            continue;
        }
        if (!m_owed.contains(newest->tag))
            m_owed.insert(newest->tag, {*newest, m_clock.steady(), false, true});
        ++newest;
    }
}

quint64 Feeder::nextSeq()
{
    if (m_backlog)
        return m_backlog->nextSeq();
    m_ownSeq = std::max(m_ownSeq + 1, Backlog::firstSeq(m_clock));
    return m_ownSeq;
}

void Feeder::admit(std::vector<OutletRow> fresh)
{
    for (OutletRow &row : fresh) {
        row.seq = nextSeq();
        // A tag that was never read is bad from now on.
        if (row.sample.time == kvlink::WallTime{})
            row.sample.time = m_clock.wall();
        m_outlet.note(row);
        m_newest.insert(row.tag, row);
        m_live.push_back({std::move(row), m_clock.steady()});
    }
}

void Feeder::store(Held &held)
{
    if (held.isStored || held.isRepeat)
        return;
    held.isStored = true;
    m_unsaved.emplace(held.row.seq, held.row);
}

// The outlet does not take them: all go to disk, and the newest of each tag is owed.
void Feeder::storeWaiting()
{
    for (Held &held : m_live) {
        store(held);
        const auto older = m_owed.find(held.row.tag);
        if (older == m_owed.end()) {
            m_owed.insert(held.row.tag, held);
            continue;
        }
        // The newer one is owed. A row that was under way and comes back may be the older one.
        if (older->row.seq < held.row.seq)
            std::swap(*older, held);
        // It is not live any more: the drain has to find it.
        m_cursor = std::min(m_cursor, held.row.seq - 1);
    }
    m_live.clear();
}

void Feeder::recallOwed()
{
    if (m_owed.isEmpty())
        return;
    std::vector<Held> owed;
    const std::deque<Held> newer = std::exchange(m_live, {});
    for (const Held &held : newer) {
        if (const auto older = m_owed.constFind(held.row.tag); older != m_owed.constEnd()) {
            m_cursor = std::min(m_cursor, older->row.seq - 1);
            m_owed.erase(older);
        }
    }
    for (Held &held : m_owed)
        owed.push_back(std::move(held));
    m_owed.clear();
    std::sort(owed.begin(), owed.end(),
              [](const Held &one, const Held &other) { return one.row.seq < other.row.seq; });
    for (Held &held : owed) {
        held.since = m_clock.steady();
        m_live.push_back(std::move(held));
    }
    m_live.insert(m_live.end(), newer.begin(), newer.end());
}

void Feeder::offerLive()
{
    if (m_state.isReady())
        recallOwed();
    while (m_state.isReady() && !m_live.empty()) {
        std::vector<OutletRow> rows;
        for (auto held = m_live.begin(); held != m_live.end() && int(rows.size()) < mostStoredAtOnce; ++held)
            rows.push_back(held->row);
        const std::size_t taken = m_outlet.offer(rows, OfferKind::Live);
        for (std::size_t i = 0; i < taken; ++i) {
            Held held = std::move(m_live.front());
            m_live.pop_front();
            const quint64 seq = held.row.seq;
            if (!held.isStored && !held.isRepeat)
                m_young.emplace_back(m_clock.steady(), seq);
            m_inFlight.insert_or_assign(seq, std::move(held));
        }
        if (taken < rows.size())
            break;
    }
    const bool isLate = !m_live.empty() && m_live.front().since + answerDue <= m_clock.steady();
    if (!m_live.empty() && (!m_state.isReady() || isLate))
        storeWaiting();
}

void Feeder::storeUnanswered()
{
    while (!m_young.empty() && m_young.front().first + answerDue <= m_clock.steady()) {
        const auto found = m_inFlight.find(m_young.front().second);
        if (found != m_inFlight.end())
            store(found->second);
        m_young.pop_front();
    }
}

void Feeder::save()
{
    saveToDisk();
    // Only what the disk did not take waits in memory.
    while (m_unsaved.size() > FeederSettings::mostUnsaved) {
        m_unsaved.erase(m_unsaved.begin());
        ++m_counts.dropped;
    }
}

void Feeder::saveToDisk()
{
    const kvlink::SteadyTime now = m_clock.steady();
    const bool areRemovalsDue = !m_removals.empty() && m_savedAt + removalsEvery <= now;
    if (!m_backlog || now < m_nextSave ||
        (m_unsaved.empty() && !areRemovalsDue && !m_backlog->isReserveLow()))
        return;
    std::vector<OutletRow> rows;
    rows.reserve(m_unsaved.size());
    for (const auto &[seq, row] : m_unsaved)
        rows.push_back(row);
    m_savedAt = now;
    if (!m_backlog->save(rows, m_removals, m_counts.diskProblem)) {
        m_nextSave = now + saveAgainAfter;
        return;
    }
    m_counts.diskProblem.clear();
    if (!rows.empty())
        m_cursor = std::min(m_cursor, rows.front().seq - 1);
    m_unsaved.clear();
    m_removals.clear();
}

// What is live goes first: nothing is drained while some of it waits. What is owed is on disk, too,
// and would go twice.
void Feeder::drain()
{
    if (!m_backlog || !m_state.isReady() || !m_live.empty() || !m_owed.empty() || m_backlog->count() == 0)
        return;
    const int most = std::min(m_pace.allowance(m_clock.steady()), mostStoredAtOnce);
    if (most <= 0)
        return;
    const std::vector<OutletRow> rows = nextStored(most);
    const std::size_t taken = rows.empty() ? 0 : m_outlet.offer(rows, OfferKind::Stored);
    for (std::size_t i = 0; i < taken; ++i) {
        m_cursor = rows[i].seq;
        m_inFlight.insert_or_assign(rows[i].seq, Held{rows[i], m_clock.steady(), true, false, false});
    }
    m_pace.take(taken);
}

// Those in flight are left out, and those that are acknowledged and not removed yet.
std::vector<OutletRow> Feeder::nextStored(int most)
{
    std::vector<OutletRow> rows;
    while (rows.empty()) {
        const std::vector<OutletRow> found = m_backlog->rowsAfter(m_cursor, most);
        if (found.empty())
            break;
        for (const OutletRow &row : found) {
            if (!m_inFlight.contains(row.seq) && !m_removals.contains(row.seq))
                rows.push_back(row);
        }
        if (rows.empty())
            m_cursor = found.back().seq;
    }
    return rows;
}

void Feeder::limit()
{
    if (!m_backlog || m_limitedAt + limitsEvery > m_clock.steady())
        return;
    m_limitedAt = m_clock.steady();
    m_counts.dropped += quint64(m_backlog->dropBeyondLimits());
    m_counts.storedBytes = m_backlog->bytes();
}

void Feeder::takeCounts()
{
    m_counts.stored = m_backlog ? m_backlog->count() : 0;
    m_counts.inFlight = qint64(m_inFlight.size());
}

void Feeder::finish(const News &last)
{
    settle(last);
    storeWaiting();
    for (auto &[seq, held] : m_inFlight)
        store(held);
    m_savedAt = m_nextSave = {};
    save();
    if (m_backlog)
        m_backlog->close();
    takeCounts();
}

} // namespace kvgateway
