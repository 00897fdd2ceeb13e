// SPDX-License-Identifier: MIT
// What waits to be written. Bounded: beyond its limits history rows and events are lost and
// counted, and audit rows are refused.
//
// History rows that are lost leave a trace: the value of their tag ends where the first was lost,
// and the newest one is kept, so that the history goes on with it.
#pragma once

#include "journal_writer.h"

#include <QHash>

#include <mutex>

namespace kvgateway
{

/// Every call from any thread; none waits for the disk.
class Inbox
{
public:
    explicit Inbox(const StoreSettings &settings) : m_settings(settings) {}

    void addHistory(std::vector<HistoryRow> rows, kvlink::WallTime now);
    bool addAudit(AuditRow row, kvlink::WallTime now);
    bool canAudit() const;
    void addEvent(EventRow row, kvlink::WallTime now);
    void keepLast(const std::vector<LastValue> &values);

    /// All history rows that wait; what was lost follows as rows that end and go on. What was taken
    /// counts as waiting until it is written; so for the journal.
    std::vector<HistoryRow> takeHistory();
    void setHistoryLeft(qint64 rows); ///< of those that were taken
    /// Some thousand last values at most, so that a commit stays short.
    JournalBatch takeJournal();
    void setAuditLeft(qint64 rows);

    bool isEmpty() const;
    qint64 queuedHistory() const;
    qint64 queuedAudit() const;
    quint64 droppedHistory() const;
    quint64 droppedEvents() const;

private:
    struct Loss {
        kvlink::WallTime first{};
        HistoryRow newest;
    };

    static constexpr std::size_t lastValuesAtOnce = 5000;

    const StoreSettings m_settings;
    mutable std::mutex m_lock;
    std::vector<HistoryRow> m_history;
    QHash<QString, Loss> m_losses;
    std::vector<AuditRow> m_audit;
    std::vector<EventRow> m_events;
    QHash<QString, LastValue> m_lastValues; ///< no more than there are tags, however long a disk is full
    qint64 m_takenHistory = 0;
    qint64 m_takenAudit = 0;
    quint64 m_droppedHistory = 0;
    quint64 m_droppedEvents = 0;
};

} // namespace kvgateway
