// SPDX-License-Identifier: MIT
// The store: history, audit, events and last values in two SQLite databases of a data folder,
// written by one thread. Whoever adds rows never waits for the disk.
//
//     Store store(settings, clock);
//     QString problem;
//     if (!store.start(problem)) ...
//     store.addHistory({{"line1.speed", sample}});
//     auto reader = HistoryReader::open(folder, problem);   // one for each reading thread
#pragma once

#include "clock.h"
#include "records.h"

#include <functional>
#include <memory>

namespace kvgateway
{

/// How long rows are kept; 0 is forever.
struct Retention {
    kvlink::Duration rows = std::chrono::hours(30 * 24);     ///< of the history, each change
    kvlink::Duration minutes = std::chrono::hours(400 * 24); ///< rolled up by minute
    kvlink::Duration hours{0};                               ///< rolled up by hour
    kvlink::Duration events = std::chrono::hours(400 * 24);
    kvlink::Duration audit{0};
    /// Of history.sqlite; 0: no limit. Near it the oldest rows go, whatever their age. At least
    /// 1 MiB.
    qint64 historyBytes = 0;
};

struct StoreSettings {
    QString folder; ///< made if it is missing
    bool keepHistory = true;
    Retention retention;
    int mostHistoryQueued = 200'000; ///< rows that wait; beyond, rows are lost and counted
    int mostAuditQueued = 10'000;
    int mostEventsQueued = 10'000;
    kvlink::Duration collect = std::chrono::milliseconds(250); ///< rows of this time are committed together
    /// Gets the events that the store itself adds, on its thread: a full disk keeps them out of the
    /// event log. May be empty.
    std::function<void(const EventRow &event)> onEvent;
};

enum class HistoryState : quint8 {
    Off, ///< not wanted, or the store was not started
    Running,
    Full,   ///< the disk or the size limit: nothing is kept until there is room again
    Failed, ///< the database cannot be written for another reason; tried again
};

/// "off", "running", "full", "failed".
QString historyStateName(HistoryState state);

/// How long commits took.
struct CommitTimes {
    /// Upper bounds in seconds; the counts are of each bound alone, the last one of all above.
    static constexpr std::array<double, 12> bounds{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                                   0.1,   0.25,   0.5,   1,    2.5,   5};
    std::array<quint64, bounds.size() + 1> counts{};
    double sum = 0; ///< seconds
};

struct StoreStatus {
    HistoryState history = HistoryState::Off;
    QString historyProblem;         ///< what is wrong and what to do; empty while all is well
    QString journalProblem;         ///< the same of audit, events and last values
    quint64 historyRows = 0;        ///< committed since the start
    quint64 droppedHistoryRows = 0; ///< lost since the start: the queue was full
    quint64 droppedEvents = 0;
    qint64 queuedHistoryRows = 0;
    qint64 queuedAuditRows = 0;
    qint64 historyBytes = 0; ///< used in history.sqlite
    qint64 walBytes = 0;     ///< of history.sqlite-wal
    CommitTimes historyCommits;
};

/// Every call from any thread. Calls that add take a lock for as long as it takes to append.
class Store
{
public:
    /// \param clock outlives the store
    Store(const StoreSettings &settings, const Clock &clock);
    ~Store(); ///< stops
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    /// Opens or makes the databases, brings old ones to this version, ends the values that were
    /// good when the service stopped last, and starts the thread.
    /// \return false with what is wrong and what to do: no such folder, no right to write, another
    ///   service has the folder, a database of a newer version, a file that is not a database of
    ///   this program. On failure nothing was changed.
    bool start(QString &problem);
    /// Writes what waits and ends the thread.
    /// \return false if the disk did not take all of it
    bool stop();

    void addHistory(std::vector<HistoryRow> rows);
    /// \return false if too many wait already, since the disk does not take them: the row is not
    ///   kept. A write that cannot be recorded should then not be sent.
    bool addAudit(AuditRow row);
    /// The next addAudit() will be taken.
    bool canAudit() const;
    void addEvent(EventRow row);
    /// Replaces the last value of each of these tags; call it now and then with those that changed,
    /// and before stop() with all. Of tags that are not named the old one stays.
    void keepLast(const std::vector<LastValue> &values);

    /// From the next step of the thread on.
    void setRetention(const Retention &retention);
    /// Returns when all that was added before is committed, or was lost. \return false
    /// after \a longest
    bool flush(kvlink::Duration longest);
    StoreStatus status() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace kvgateway
