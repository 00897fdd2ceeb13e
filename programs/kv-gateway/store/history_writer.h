// SPDX-License-Identifier: MIT
// Writes the history, on the store's thread: rows as they come, roll-ups, and what is too old.
//
// New rows are appended to `recent`, which touches few pages however many tags there are. Now and
// then they are merged into `samples`, which lies sorted by tag and time, and rolled up on the way.
// A crash loses nothing of this: it is all in one transaction.
#pragma once

#include "database.h"
#include "records.h"
#include "store.h"

#include <QHash>

#include <memory>

namespace kvgateway
{

enum class Written : quint8 { Done, Full, Failed };

class HistoryWriter
{
public:
    /// Rows in `recent` from which on they are merged; and the age of the oldest.
    static constexpr int mergeRows = 100'000;
    static constexpr kvlink::Duration mergeAge = std::chrono::minutes(1);

    /// Opens or makes history.sqlite. \return nullptr with what is wrong and what to do
    static std::unique_ptr<HistoryWriter> open(const QString &folder, OpenProblem &problem);

    /// One transaction; all rows or none.
    /// \param now is noted as the time at which the service was alive
    Written write(const std::vector<HistoryRow> &rows, kvlink::WallTime now);
    /// Whether there are enough rows to merge, or old enough ones.
    bool isMergeDue(kvlink::SteadyTime now) const;
    Written merge(kvlink::SteadyTime now);
    /// Ends all values that were good when the service stopped last, at the time at which it was
    /// last seen alive. \param downFrom that time; none in a new database
    Written endOldValues(std::optional<kvlink::WallTime> &downFrom);
    /// Remembers that the service was alive.
    Written noteAlive(kvlink::WallTime now);

    qint64 walBytes() const;
    /// Of the last call that did not end as done: "PATH: database or disk is full"
    const QString &problem() const { return m_problem; }
    Database &database() { return *m_database; }

private:
    explicit HistoryWriter(std::unique_ptr<Database> database);
    bool load();
    Written failure() const { return m_database->isFull() ? Written::Full : Written::Failed; }
    qint64 tagId(const QString &name);
    bool insert(const HistoryRow &row);
    bool setFact(const char *name, qint64 value);
    bool rollUpRecent();

    std::unique_ptr<Database> m_database;
    std::unique_ptr<Statement> m_insert;
    QHash<QString, qint64> m_tags;
    qint64 m_nextSeq = 1;
    int m_recentRows = 0;
    kvlink::SteadyTime m_mergedAt{};
    QString m_problem;
};

} // namespace kvgateway
