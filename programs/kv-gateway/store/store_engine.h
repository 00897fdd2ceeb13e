// SPDX-License-Identifier: MIT
// What the store's thread does, one step at a time and without a thread, so that tests can take
// each step by itself.
#pragma once

#include "clock_watch.h"
#include "history_removal.h"
#include "inbox.h"

#include <optional>

namespace kvgateway
{

/// One thread at a time.
class StoreEngine
{
public:
    static constexpr kvlink::Duration retryAfter = std::chrono::seconds(5);   ///< when the disk was full
    static constexpr kvlink::Duration aliveEvery = std::chrono::seconds(10);  ///< without any other row
    static constexpr kvlink::Duration removeEvery = std::chrono::minutes(10); ///< what is too old
    /// After the clock jumped ahead so far, nothing is removed for a day: it may be the clock that
    /// is wrong, not the rows that are old.
    static constexpr kvlink::Duration largeJump = std::chrono::hours(1);
    static constexpr kvlink::Duration holdRemoval = std::chrono::hours(24);

    /// \param clock, inbox outlive the engine
    StoreEngine(const StoreSettings &settings, const Clock &clock, Inbox &inbox);
    ~StoreEngine();

    /// See Store::start().
    bool open(QString &problem);
    /// Writes what waits, and looks after the databases. Never throws, and comes back to a
    /// full disk later.
    void step();
    /// The last step: also notes when the service ended.
    void close();
    void setRetention(const Retention &retention);

    /// All that was taken from the inbox is written, and there is nothing in it.
    bool isIdle() const;
    /// Of the inbox the queues are not in it.
    StoreStatus status() const { return m_status; }

private:
    bool lockFolder(QString &problem);
    bool openHistory(OpenProblem &problem);
    bool openJournal(OpenProblem &problem);
    void noteDownTime(kvlink::WallTime from);
    void watchClock();
    void writeJournal(kvlink::SteadyTime now);
    void writeHistory(kvlink::SteadyTime now);
    bool writeHistoryPart();
    void noteHistory(Written result, const QString &problem, kvlink::SteadyTime now);
    void noteJournal(Written result, const QString &problem, kvlink::SteadyTime now);
    void remove(kvlink::SteadyTime now);
    void removeAges(kvlink::SteadyTime now);
    void event(EventKind kind, const QString &text, const QString &cause);

    StoreSettings m_settings;
    const Clock &m_clock;
    Inbox &m_inbox;
    int m_lockFd = -1;
    std::unique_ptr<HistoryWriter> m_history;
    std::unique_ptr<HistoryRemoval> m_removal;
    std::unique_ptr<JournalWriter> m_journal;
    ClockWatch m_watch;
    std::vector<HistoryRow> m_rows; ///< taken, and not written yet
    JournalBatch m_batch;           ///< the same
    kvlink::SteadyTime m_historyRetry{}, m_journalRetry{};
    kvlink::SteadyTime m_lastAlive{};
    kvlink::SteadyTime m_nextRemoval{};
    kvlink::SteadyTime m_nextSizeTry{};
    StoreStatus m_status;
};

} // namespace kvgateway
