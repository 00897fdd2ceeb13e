// SPDX-License-Identifier: MIT
// Feeds one outlet: hands it each change, keeps what it does not take, and forgets nothing before
// the other side has it.
//
//     fresh --> live --> in flight --> acknowledged, gone
//                 |          |
//                 +----------+--> on disk --> stored, in order, at a bounded rate --> in flight
//
// While the outlet takes everything nothing goes to disk. A row that has no acknowledgement after
// 0.1 s does, and everything at once while there is no connection. When the outlet is back, the
// newest value of each tag goes first, as a live one.
#pragma once

#include "backlog.h"
#include "pace.h"

#include <deque>
#include <map>

namespace kvgateway
{

struct FeederSettings {
    QString path; ///< of the file that keeps what the outlet does not take
    BacklogLimits limits;
    int drainRate = 2000;                               ///< stored rows a second
    static constexpr std::size_t mostUnsaved = 100'000; ///< rows in memory that the disk does not take
};

struct FeederCounts {
    quint64 acknowledged = 0; ///< rows that the other side has
    quint64 refused = 0;      ///< rows that it will never take
    quint64 dropped = 0;      ///< rows lost: beyond the limits of size and age, or of memory
    qint64 stored = 0;        ///< rows on disk
    qint64 storedBytes = 0;
    qint64 inFlight = 0; ///< rows handed over and not acknowledged
    QString diskProblem; ///< empty: all is well
};

/// One thread; all waiting is that of its caller.
class Feeder
{
public:
    struct News {
        std::vector<OutletRow> fresh; ///< without a number
        std::vector<quint64> acknowledged;
        std::vector<quint64> refused;
        std::vector<quint64> postponed{}; ///< that wait on disk until the outlet's next round
    };

    /// \param outlet, clock outlive the feeder
    Feeder(FeederSettings settings, Outlet &outlet, const Clock &clock);

    /// One step. Does not wait, but for the disk.
    /// \return what happened to the file, for people; mostly empty
    QString step(News news);
    /// There is something to be done soon, without any news.
    bool isBusy() const
    {
        const bool hasWork = !m_live.empty() || !m_owed.empty() || !m_inFlight.empty() || m_counts.stored > 0;
        return m_state.isReady() && hasWork;
    }
    /// Saves everything that the other side does not have. \param last acknowledgements
    void finish(const News &last);
    const FeederCounts &counts() const { return m_counts; }

private:
    struct Held {
        OutletRow row;
        kvlink::SteadyTime since{};
        bool isStored = false; ///< on disk, or on its way there
        bool isRepeat = false; ///< acknowledged before; not to be kept
        bool isLive = true;    ///< handed over as a live row
    };

    void openBacklog(QString &notice);
    QString giveBacklogUp();
    void settle(const News &news);
    void forget(quint64 seq);
    void postpone(quint64 seq);
    void followSession();
    void repeatAll();
    quint64 nextSeq();
    void admit(std::vector<OutletRow> fresh);
    void store(Held &held);
    void storeWaiting();
    void recallOwed();
    void storeUnanswered();
    void offerLive();
    void save();
    void saveToDisk();
    void drain();
    std::vector<OutletRow> nextStored(int most);
    void limit();
    void takeCounts();

    const FeederSettings m_settings;
    Outlet &m_outlet;
    const Clock &m_clock;
    Pace m_pace;
    std::unique_ptr<Backlog> m_backlog;
    kvlink::SteadyTime m_nextOpen{};
    quint64 m_ownSeq = 0; ///< the last number without a backlog or of one set aside; 0: none
    OutletState m_state;

    std::deque<Held> m_live;            ///< rows to be handed over, in order
    QHash<QString, Held> m_owed;        ///< the newest row of a tag that waits for an outlet that takes it
    std::map<quint64, Held> m_inFlight; ///< handed over, not acknowledged
    std::deque<std::pair<kvlink::SteadyTime, quint64>> m_young; ///< in flight and not on disk
    std::map<quint64, OutletRow> m_unsaved;                     ///< to be written to disk
    std::unordered_set<quint64> m_removals;                     ///< to be removed from it
    QHash<QString, OutletRow> m_newest;                         ///< of each tag
    quint64 m_cursor = 0;                                       ///< stored rows up to here were handed over
    kvlink::SteadyTime m_savedAt{};
    kvlink::SteadyTime m_nextSave{}; ///< after one that failed
    kvlink::SteadyTime m_limitedAt{};
    FeederCounts m_counts;
};

} // namespace kvgateway
