// SPDX-License-Identifier: MIT
// Writes audit, events and last values, on the store's thread.
#pragma once

#include "history_writer.h"

namespace kvgateway
{

/// What one transaction takes.
struct JournalBatch {
    std::vector<AuditRow> audit;
    std::vector<EventRow> events;
    std::vector<LastValue> lastValues;
    bool isEmpty() const { return audit.empty() && events.empty() && lastValues.empty(); }
};

class JournalWriter
{
public:
    /// Opens or makes journal.sqlite. \return nullptr with what is wrong and what to do
    static std::unique_ptr<JournalWriter> open(const QString &folder, OpenProblem &problem);

    /// One transaction; all or nothing.
    Written write(const JournalBatch &batch);
    /// Removes the events and the audit rows that are older than the retention allows.
    /// \param removedAudit how many rows of the audit went
    Written removeOld(const Retention &retention, kvlink::WallTime now, int &removedAudit);
    /// Of the last call that did not end as done.
    const QString &problem() const { return m_problem; }

private:
    explicit JournalWriter(std::unique_ptr<Database> database);
    void load();
    bool insertAudit(const AuditRow &row);
    bool insertEvent(const EventRow &row);
    bool replaceLast(const LastValue &value);
    bool removeAudit(qint64 cut, int &removed);
    Written failure();

    std::unique_ptr<Database> m_database;
    Statement m_audit;
    Statement m_event;
    Statement m_last;
    qint64 m_nextAudit = 1;
    qint64 m_nextEvent = 1;
    QString m_problem;
};

} // namespace kvgateway
