// SPDX-License-Identifier: MIT
#include "history_writer.h"

#include "codes.h"
#include "roll_up.h"
#include "schema.h"

#include <QFileInfo>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr unsigned ownerAndGroup = 0640;
constexpr char insertRow[] = "INSERT INTO recent(seq, tag, time, quality, reason, plc_error, shape, value) "
                             "VALUES(?, ?, ?, ?, ?, ?, ?, ?)";
constexpr char mergeRecent[] =
    "INSERT INTO samples(tag, time, seq, quality, reason, plc_error, shape, value) "
    "SELECT tag, time, seq, quality, reason, plc_error, shape, value FROM recent ORDER BY tag, time, seq";
constexpr char goodTags[] = "SELECT name, tip_time FROM tags WHERE tip_good = 1";

// The roll-ups of one width, one bucket in memory at a time.
class TableBuckets
{
public:
    TableBuckets(Database &database, const char *load, const char *store, qint64 width)
        : m_load(database, load), m_store(database, store), m_width(width)
    {
    }

    RollUp rollUp(qint64 tag, const Tip &tip)
    {
        m_tag = tag;
        return {m_width, RollUp::Between::Skip, [this](qint64 start) -> Bucket & { return at(start); }, tip};
    }
    bool flush()
    {
        if (m_isLoaded)
            store();
        m_isLoaded = false;
        return m_isGood;
    }

private:
    Bucket &at(qint64 start)
    {
        if (!m_isLoaded || start != m_start) {
            flush();
            load(start);
        }
        return m_bucket;
    }
    void load(qint64 start)
    {
        m_start = start;
        m_isLoaded = true;
        m_bucket = {};
        m_load.bind(1, m_tag).bind(2, start);
        if (m_load.step())
            m_bucket = bucketOf(m_load, 0);
        m_load.reset();
    }
    void store()
    {
        m_store.bind(1, m_tag).bind(2, m_start).bind(6, m_bucket.good).bind(7, m_bucket.count);
        if (m_bucket.isEmpty())
            m_store.bindNull(3).bindNull(4).bindNull(5);
        else
            m_store.bind(3, m_bucket.min).bind(4, m_bucket.max).bind(5, m_bucket.mean);
        if (m_bucket.last)
            m_store.bind(8, *m_bucket.last);
        else
            m_store.bindNull(8);
        m_isGood = m_store.finish() && m_isGood;
    }

    Statement m_load;
    Statement m_store;
    qint64 m_width;
    qint64 m_tag = 0;
    qint64 m_start = 0;
    Bucket m_bucket;
    bool m_isLoaded = false;
    bool m_isGood = true;
};

// What a tag holds, from the table of tags.
class Tips
{
public:
    explicit Tips(Database &database)
        : m_load(database, "SELECT tip_time, tip_value FROM tags WHERE id = ?"),
          m_store(database, "UPDATE tags SET tip_time = ?2, tip_good = ?3, tip_value = ?4 WHERE id = ?1")
    {
    }

    Tip load(qint64 tag)
    {
        Tip tip;
        m_load.bind(1, tag);
        if (m_load.step()) {
            tip.time = m_load.integer(0);
            if (!m_load.isNull(1))
                tip.value = m_load.real(1);
        }
        m_load.reset();
        return tip;
    }
    bool store(qint64 tag, const Tip &tip, bool isGood)
    {
        m_store.bind(1, tag).bind(2, tip.time).bind(3, qint64(isGood));
        if (tip.value)
            m_store.bind(4, *tip.value);
        else
            m_store.bindNull(4);
        return m_store.finish();
    }

private:
    Statement m_load;
    Statement m_store;
};

} // namespace

HistoryWriter::HistoryWriter(std::unique_ptr<Database> database) : m_database(std::move(database)) {}

std::unique_ptr<HistoryWriter> HistoryWriter::open(const QString &folder, OpenProblem &problem)
{
    auto database = Database::open(folder + QStringLiteral("/history.sqlite"), Database::Use::History,
                                   ownerAndGroup, problem);
    if (!database || !bringUpToDate(*database, historySchema(), problem))
        return nullptr;
    std::unique_ptr<HistoryWriter> writer(new HistoryWriter(std::move(database)));
    if (writeCodes(*writer->m_database) && writer->load())
        return writer;
    problem = {writer->m_database->problem(), writer->m_database->isFull()};
    return nullptr;
}

bool HistoryWriter::load()
{
    if (!m_insert)
        m_insert = std::make_unique<Statement>(*m_database, insertRow);
    m_tags.clear();
    Statement tags(*m_database, "SELECT id, name FROM tags");
    while (tags.step())
        m_tags.insert(tags.text(1), tags.integer(0));
    const qint64 merged = m_database->number("SELECT value FROM facts WHERE name = 'next_seq'");
    const qint64 newest = m_database->number("SELECT max(seq) FROM recent");
    m_nextSeq = std::max({qint64(1), merged, newest + 1});
    m_recentRows = int(m_database->number("SELECT count(*) FROM recent"));
    return !tags.hasFailed();
}

qint64 HistoryWriter::tagId(const QString &name)
{
    const auto found = m_tags.constFind(name);
    if (found != m_tags.constEnd())
        return found.value();
    Statement add(*m_database, "INSERT INTO tags(name) VALUES(?) RETURNING id");
    add.bind(1, name);
    if (!add.step())
        return 0;
    const qint64 id = add.integer(0);
    if (!add.finish())
        return 0;
    m_tags.insert(name, id);
    return id;
}

bool HistoryWriter::insert(const HistoryRow &row)
{
    const qint64 tag = tagId(row.tag);
    if (tag == 0)
        return false;
    const kvlink::Sample &sample = row.sample;
    m_insert->bind(1, m_nextSeq).bind(2, tag).bind(3, toMs(sample.time));
    m_insert->bind(4, qint64(qualityCode(sample.quality))).bind(5, qint64(reasonCode(sample.reason)));
    m_insert->bind(6, qint64(sample.plcError));
    bindValue(*m_insert, 7, sample.value);
    if (!m_insert->finish())
        return false;
    ++m_nextSeq;
    ++m_recentRows;
    return true;
}

Written HistoryWriter::write(const std::vector<HistoryRow> &rows, kvlink::WallTime now)
{
    Written result = Written::Done;
    {
        Transaction transaction(*m_database);
        const bool isDone =
            transaction.isOpen() &&
            std::all_of(rows.begin(), rows.end(), [this](const HistoryRow &row) { return insert(row); }) &&
            setFact("alive", toMs(now)) && transaction.commit();
        if (isDone)
            return result;
        result = failure();
        m_problem = m_database->problem();
    }
    load(); // without the tags and rows that were rolled back
    return result;
}

bool HistoryWriter::setFact(const char *name, qint64 value)
{
    Statement set(*m_database, "INSERT OR REPLACE INTO facts(name, value) VALUES(?, ?)");
    return set.bind(1, QString::fromLatin1(name)).bind(2, value).finish();
}

Written HistoryWriter::noteAlive(kvlink::WallTime now)
{
    return write({}, now);
}

bool HistoryWriter::isMergeDue(kvlink::SteadyTime now) const
{
    return m_recentRows >= mergeRows || (m_recentRows > 0 && now - m_mergedAt >= mergeAge);
}

Written HistoryWriter::merge(kvlink::SteadyTime now)
{
    m_mergedAt = now;
    Transaction transaction(*m_database);
    const bool isDone = transaction.isOpen() && m_database->run(mergeRecent) && rollUpRecent() &&
                        setFact("next_seq", m_nextSeq) && m_database->run("DELETE FROM recent") &&
                        transaction.commit();
    if (isDone) {
        m_recentRows = 0;
        return Written::Done;
    }
    m_problem = m_database->problem();
    return failure();
}

// In the order in which the rows came: a clock that went back must not make an old value hold.
bool HistoryWriter::rollUpRecent()
{
    TableBuckets minutes(*m_database,
                         "SELECT min, max, mean, good, count, last FROM minutes WHERE tag = ? AND start = ?",
                         "INSERT OR REPLACE INTO minutes VALUES(?, ?, ?, ?, ?, ?, ?, ?)", minuteMs);
    TableBuckets hours(*m_database,
                       "SELECT min, max, mean, good, count, last FROM hours WHERE tag = ? AND start = ?",
                       "INSERT OR REPLACE INTO hours VALUES(?, ?, ?, ?, ?, ?, ?, ?)", hourMs);
    Tips tips(*m_database);
    Statement rows(*m_database, "SELECT tag, time, quality, shape, value FROM recent ORDER BY tag, seq");
    bool isGood = true;
    bool more = rows.step();
    while (more && isGood) {
        const qint64 tag = rows.integer(0);
        const Tip tip = tips.load(tag);
        RollUp minute = minutes.rollUp(tag, tip);
        RollUp hour = hours.rollUp(tag, tip);
        bool isGoodValue = false;
        do {
            isGoodValue = rows.integer(2) == qualityCode(kvlink::Quality::Good);
            const auto number = isGoodValue ? numberOf(valueOf(rows, 3)) : std::nullopt;
            minute.take(rows.integer(1), number);
            hour.take(rows.integer(1), number);
            more = rows.step();
        } while (more && rows.integer(0) == tag);
        isGood = minutes.flush() && hours.flush() && tips.store(tag, minute.tip(), isGoodValue);
    }
    return isGood && !rows.hasFailed();
}

Written HistoryWriter::endOldValues(std::optional<kvlink::WallTime> &downFrom)
{
    const qint64 alive = m_database->number("SELECT value FROM facts WHERE name = 'alive'");
    if (alive == 0)
        return Written::Done;
    downFrom = fromMs(alive);
    if (const Written merged = merge({}); merged != Written::Done)
        return merged;
    std::vector<HistoryRow> ends;
    Statement tags(*m_database, goodTags);
    while (tags.step()) {
        HistoryRow end{tags.text(0), {}};
        end.sample.quality = kvlink::Quality::Stale;
        end.sample.reason = kvlink::Reason::Stopped;
        end.sample.time = fromMs(std::max(alive, tags.integer(1)));
        ends.push_back(std::move(end));
    }
    return write(ends, fromMs(alive));
}

qint64 HistoryWriter::walBytes() const
{
    return QFileInfo(m_database->path() + QStringLiteral("-wal")).size();
}

} // namespace kvgateway
