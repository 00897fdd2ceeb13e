// SPDX-License-Identifier: MIT
#include "backlog.h"

#include "store/codes.h"

#include <QFile>
#include <QSet>

#include <algorithm>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr unsigned ownerAndGroup = 0640;
constexpr qint64 version = 2;
// So that a crash repeats none, without a commit for each. The half of it that is always left is
// more than one step takes.
constexpr quint64 seqsSetAside = 300'000;
constexpr qint64 dropShare = 20;         // a full file loses its oldest twentieth
constexpr qint64 mostLookedAt = 100'000; // for the newest row of each tag
constexpr qint64 mostDropped = 20'000;   // at once, so that saving goes on
constexpr kvlink::Duration suspectJump = 1h;
constexpr kvlink::Duration suspectFor = 24h;

constexpr char makeTables[] = R"(
BEGIN IMMEDIATE;
CREATE TABLE tags(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
CREATE TABLE rows(
    seq INTEGER PRIMARY KEY,
    tag INTEGER NOT NULL,
    time INTEGER NOT NULL,     -- of the value, ms since 1970, UTC
    quality INTEGER NOT NULL,
    reason INTEGER NOT NULL,
    plc_error INTEGER NOT NULL,
    shape INTEGER NOT NULL,
    value,
    added INTEGER NOT NULL     -- when it came here; age counts from then
);
CREATE TABLE facts(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO facts VALUES('next_seq', 0), ('rows', 0);
PRAGMA user_version=2;
COMMIT;
)";
// Version 1 did not know how many rows there are.
constexpr char countOnce[] = R"(
BEGIN IMMEDIATE;
INSERT INTO facts SELECT 'rows', count(*) FROM rows;
PRAGMA user_version=2;
COMMIT;
)";
constexpr char seqFact[] = "next_seq";
constexpr char countFact[] = "rows"; // counting them reads the whole file
constexpr char selectRows[] = "SELECT seq, tag, time, quality, reason, plc_error, shape, value FROM rows ";

std::unique_ptr<Database> openTables(const QString &path, OpenProblem &problem)
{
    auto database = Database::open(path, Database::Use::History, ownerAndGroup, problem);
    if (!database)
        return nullptr;
    const qint64 found = database->number("PRAGMA user_version");
    if (found > version) {
        problem.text =
            QStringLiteral("%1 is of a newer kv-gateway: install that, or move the file away").arg(path);
        return nullptr;
    }
    // On purpose without a check of the whole file: of 1 GB it takes many seconds, in which values
    // wait in memory.
    const bool isReadable = !database->isBroken();
    if (isReadable && (found == version || database->run(found == 0 ? makeTables : countOnce)))
        return database;
    problem = {database->problem(), database->isFull(), database->isBroken()};
    return nullptr;
}

} // namespace

Backlog::Backlog(std::unique_ptr<Database> database, const BacklogLimits &limits, const Clock &clock)
    : m_database(std::move(database)), m_limits(limits), m_clock(clock), m_watch(clock)
{
}

std::unique_ptr<Backlog> Backlog::open(const QString &path, const BacklogLimits &limits, const Clock &clock,
                                       QString &notice, QString &problem)
{
    const auto attempt = [&](OpenProblem &trouble) -> std::unique_ptr<Backlog> {
        auto database = openTables(path, trouble);
        if (!database)
            return nullptr;
        std::unique_ptr<Backlog> backlog(new Backlog(std::move(database), limits, clock));
        if (backlog->load())
            return backlog;
        const Database &failed = *backlog->m_database;
        trouble = {failed.problem(), failed.isFull(), backlog->m_isBroken};
        return nullptr;
    };
    OpenProblem trouble;
    auto backlog = attempt(trouble);
    if (!backlog && trouble.isBroken) {
        notice = setAside(path);
        backlog = attempt(trouble);
    }
    if (!backlog)
        problem = trouble.text;
    return backlog;
}

QString Backlog::setAside(const QString &path)
{
    for (int i = 1; i < 1000; ++i) {
        const QString name = path + QStringLiteral(".broken-%1").arg(i);
        if (QFile::exists(name))
            continue;
        // What belongs to the damaged file must not be taken for the new one's.
        for (const char *log : {"-wal", "-shm"})
            QFile::rename(path + QLatin1String(log), name + QLatin1String(log));
        if (QFile::rename(path, name))
            return QStringLiteral("%1 was damaged and is set aside as %2; a new one begins").arg(path, name);
        break;
    }
    return QStringLiteral("%1 is damaged and cannot be set aside: move it away").arg(path);
}

quint64 Backlog::firstSeq(const Clock &clock)
{
    return quint64(std::max<qint64>(1, clock.wall().time_since_epoch().count()));
}

bool Backlog::load()
{
    m_insert = std::make_unique<Statement>(*m_database,
                                           "INSERT OR IGNORE INTO rows VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
    m_remove = std::make_unique<Statement>(*m_database, "DELETE FROM rows WHERE seq = ?");
    Statement tags(*m_database, "SELECT id, name FROM tags");
    while (tags.step()) {
        m_ids.insert(tags.text(1), tags.integer(0));
        m_names.insert(tags.integer(0), tags.text(1));
    }
    noteDamage(tags);
    const std::optional<qint64> count = fact(countFact), reserved = fact(seqFact);
    if (tags.hasFailed() || !count || !reserved)
        return false;
    m_count = *count;
    m_reserved = quint64(*reserved);
    // By the clock as well: a power cut, or a full disk, may have cost what was set aside.
    m_nextSeq = std::max(m_reserved, firstSeq(m_clock));
    // On purpose no failure: a full disk must not keep what is stored from going out.
    reserve(m_nextSeq + seqsSetAside);
    return true;
}

std::optional<qint64> Backlog::fact(const char *name)
{
    Statement get(*m_database, "SELECT value FROM facts WHERE name = ?");
    if (get.bind(1, QString::fromLatin1(name)).step())
        return get.integer(0);
    noteDamage(get);
    return std::nullopt;
}

bool Backlog::setFact(const char *name, qint64 value)
{
    Statement set(*m_database, "UPDATE facts SET value = ? WHERE name = ?");
    return set.bind(1, value).bind(2, QString::fromLatin1(name)).finish();
}

void Backlog::noteDamage(const Statement &query)
{
    m_isBroken = m_isBroken || (query.hasFailed() && m_database->isBroken());
}

bool Backlog::save(const std::vector<OutletRow> &rows, const std::unordered_set<quint64> &removals,
                   QString &problem)
{
    const qint64 before = m_count;
    Transaction transaction(*m_database);
    if (transaction.isOpen() && write(rows, removals) && transaction.commit())
        return true;
    problem = m_database->problem();
    m_isBroken = m_isBroken || m_database->isBroken();
    m_count = before;
    m_reserved = std::min(m_reserved, m_nextSeq); // set aside again with the next try
    // Tags that were added in the transaction are gone with it.
    m_ids.clear();
    return false;
}

bool Backlog::write(const std::vector<OutletRow> &rows, const std::unordered_set<quint64> &removals)
{
    if (isReserveLow() && !reserve(m_nextSeq + seqsSetAside))
        return false;
    for (const OutletRow &row : rows) {
        if (!insert(row))
            return false;
    }
    for (const quint64 seq : removals) {
        if (!m_remove->bind(1, qint64(seq)).finish())
            return false;
        m_count -= m_database->changes();
    }
    return setFact(countFact, m_count);
}

bool Backlog::isReserveLow() const
{
    return m_nextSeq + seqsSetAside / 2 > m_reserved;
}

bool Backlog::reserve(quint64 upTo)
{
    if (!setFact(seqFact, qint64(upTo)))
        return false;
    m_reserved = upTo;
    return true;
}

qint64 Backlog::tagId(const QString &name)
{
    const auto known = m_ids.constFind(name);
    if (known != m_ids.constEnd())
        return *known;
    Statement insert(*m_database, "INSERT OR IGNORE INTO tags(name) VALUES(?)");
    Statement select(*m_database, "SELECT id FROM tags WHERE name = ?");
    if (!insert.bind(1, name).finish() || !select.bind(1, name).step())
        return 0;
    const qint64 id = select.integer(0);
    m_ids.insert(name, id);
    m_names.insert(id, name);
    return id;
}

bool Backlog::insert(const OutletRow &row)
{
    const qint64 tag = tagId(row.tag);
    if (tag == 0)
        return false;
    m_insert->bind(1, qint64(row.seq)).bind(2, tag).bind(3, toMs(row.sample.time));
    m_insert->bind(4, qint64(qualityCode(row.sample.quality)));
    m_insert->bind(5, qint64(reasonCode(row.sample.reason))).bind(6, qint64(row.sample.plcError));
    bindValue(*m_insert, 7, row.sample.value);
    m_insert->bind(9, toMs(m_clock.wall()));
    if (!m_insert->finish())
        return false;
    m_count += m_database->changes();
    return true;
}

OutletRow Backlog::rowOf(const Statement &query) const
{
    OutletRow row;
    row.seq = quint64(query.integer(0));
    row.tag = m_names.value(query.integer(1));
    row.sample.time = fromMs(query.integer(2));
    row.sample.quality = qualityFromCode(query.integer(3));
    row.sample.reason = reasonFromCode(query.integer(4));
    row.sample.plcError = quint8(query.integer(5));
    row.sample.value = valueOf(query, 6);
    return row;
}

std::vector<OutletRow> Backlog::rowsAfter(quint64 seq, int most)
{
    Statement query(*m_database,
                    QByteArray(selectRows).append("WHERE seq > ? ORDER BY seq LIMIT ?").constData());
    query.bind(1, qint64(seq)).bind(2, qint64(most));
    std::vector<OutletRow> rows;
    while (query.step())
        rows.push_back(rowOf(query));
    noteDamage(query);
    return rows;
}

// From the end, until all tags were seen: a look at each row would take as long as
// reading the file.
std::vector<OutletRow> Backlog::newestRows()
{
    Statement query(*m_database, QByteArray(selectRows).append("ORDER BY seq DESC LIMIT ?").constData());
    query.bind(1, mostLookedAt);
    std::vector<OutletRow> rows;
    QSet<qint64> seen;
    while (seen.size() < m_names.size() && query.step()) {
        const qint64 tag = query.integer(1);
        if (seen.contains(tag))
            continue;
        seen.insert(tag);
        rows.push_back(rowOf(query));
    }
    noteDamage(query);
    std::reverse(rows.begin(), rows.end());
    return rows;
}

qint64 Backlog::bytes()
{
    return (m_database->number("PRAGMA page_count") - m_database->number("PRAGMA freelist_count")) *
           m_database->number("PRAGMA page_size");
}

qint64 Backlog::dropOldest(qint64 rows, qint64 beforeMs)
{
    Statement drop(*m_database, "DELETE FROM rows WHERE seq IN (SELECT seq FROM rows ORDER BY seq LIMIT ?) "
                                "AND added < ?");
    Transaction transaction(*m_database);
    if (!transaction.isOpen() || !drop.bind(1, rows).bind(2, beforeMs).finish()) {
        noteDamage(drop);
        return 0;
    }
    const qint64 dropped = m_database->changes();
    if (!setFact(countFact, m_count - dropped) || !transaction.commit())
        return 0;
    m_count -= dropped;
    return dropped;
}

qint64 Backlog::dropBeyondLimits()
{
    // A time of day that jumped ahead makes no row old: perhaps it is the clock that is wrong.
    const auto jump = m_watch.look(m_clock);
    if (jump && *jump >= suspectJump)
        m_noAgeUntil = m_clock.steady() + suspectFor;
    qint64 dropped = 0;
    if (m_count > 0 && m_limits.age.count() > 0 && m_clock.steady() >= m_noAgeUntil)
        dropped = dropOldest(mostDropped, toMs(m_clock.wall() - m_limits.age));
    if (m_count > 0 && m_limits.bytes > 0 && bytes() > m_limits.bytes)
        dropped += dropOldest(std::min(mostDropped, m_count / dropShare + 1), toMs(endOfTime));
    return dropped;
}

void Backlog::close()
{
    reserve(m_nextSeq);
}

} // namespace kvgateway
