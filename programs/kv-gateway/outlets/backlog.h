// SPDX-License-Identifier: MIT
// Rows that an outlet has not taken, or not acknowledged, on disk: outlet-NAME.sqlite in the data
// folder. Bounded by size and age; beyond, the oldest rows are dropped and counted.
//
// A killed service loses nothing that was saved; a power cut costs the last seconds.
#pragma once

#include "outlet.h"

#include "store/clock_watch.h"
#include "store/database.h"

#include <QHash>

#include <optional>
#include <unordered_set>

namespace kvgateway
{

struct BacklogLimits {
    qint64 bytes = 1'000'000'000;                      ///< of the file in use; 0: no limit
    kvlink::Duration age = std::chrono::hours(7 * 24); ///< of a row; 0: no limit
};

/// One thread.
class Backlog
{
public:
    /// Opens or makes the file, however large it is, at once. One that is found damaged is set
    /// aside, and a new one is made. Damage further inside shows later: see isBroken().
    /// \param notice what was done about a damaged file; empty otherwise
    /// \return nullptr with a problem
    static std::unique_ptr<Backlog> open(const QString &path, const BacklogLimits &limits, const Clock &clock,
                                         QString &notice, QString &problem);

    /// Renames a damaged file to NAME.broken-1, -2, ...; nobody may have it open.
    /// \return what was done, for people
    static QString setAside(const QString &path);

    /// The first number of a new file: microseconds since 1970. So a file that somebody removed, or
    /// that was damaged, does not bring numbers back.
    static quint64 firstSeq(const Clock &clock);
    /// A number that no row had, whatever crashed before.
    quint64 nextSeq() { return m_nextSeq++; }
    void useNoneUpTo(quint64 seq) { m_nextSeq = std::max(m_nextSeq, seq + 1); }
    /// save() is due, if only for the numbers.
    bool isReserveLow() const;
    /// One transaction: adds rows, removes others, and remembers how far the numbers are used.
    /// \return false with the problem, and nothing was changed
    bool save(const std::vector<OutletRow> &rows, const std::unordered_set<quint64> &removals,
              QString &problem);
    /// The oldest rows with a larger number, in the order of their numbers.
    std::vector<OutletRow> rowsAfter(quint64 seq, int most);
    /// The newest row of each tag, as far as it is one of the last 100,000; in the order
    /// of their numbers.
    std::vector<OutletRow> newestRows();
    /// Drops the oldest rows beyond the limits; a part at a time.
    /// \return how many
    qint64 dropBeyondLimits();
    /// Gives the numbers back that were set aside and not used; at the end.
    void close();

    qint64 count() const { return m_count; }
    qint64 bytes();
    /// The file was found damaged: it is to be closed and set aside.
    bool isBroken() const { return m_isBroken; }

private:
    Backlog(std::unique_ptr<Database> database, const BacklogLimits &limits, const Clock &clock);
    bool load();
    bool write(const std::vector<OutletRow> &rows, const std::unordered_set<quint64> &removals);
    bool insert(const OutletRow &row);
    qint64 tagId(const QString &name);
    bool reserve(quint64 upTo);
    bool setFact(const char *name, qint64 value);
    std::optional<qint64> fact(const char *name);
    OutletRow rowOf(const Statement &query) const;
    void noteDamage(const Statement &query);
    qint64 dropOldest(qint64 rows, qint64 beforeMs);

    std::unique_ptr<Database> m_database;
    const BacklogLimits m_limits;
    const Clock &m_clock;
    ClockWatch m_watch;
    kvlink::SteadyTime m_noAgeUntil{}; ///< the time of day may be wrong until then
    std::unique_ptr<Statement> m_insert, m_remove;
    QHash<QString, qint64> m_ids;
    QHash<qint64, QString> m_names;
    quint64 m_nextSeq = 1;
    quint64 m_reserved = 1; ///< numbers below may have been used
    qint64 m_count = 0;
    bool m_isBroken = false;
};

} // namespace kvgateway
