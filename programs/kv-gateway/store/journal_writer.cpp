// SPDX-License-Identifier: MIT
#include "journal_writer.h"

#include "codes.h"
#include "schema.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr unsigned ownerAndGroup = 0640;
constexpr char insertAuditRow[] = "INSERT INTO audit(seq, time, correlation, who, source, plc, tag, "
                                  "old_shape, old_value, new_shape, new_value, "
                                  "outcome, reason, text) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr char insertEventRow[] =
    "INSERT INTO events(seq, time, kind, plc, tag, text, cause) VALUES(?, ?, ?, ?, ?, ?, ?)";
constexpr char replaceLastValue[] =
    "INSERT OR REPLACE INTO last_values(tag, time, quality, reason, plc_error, shape, value) "
    "VALUES(?, ?, ?, ?, ?, ?, ?)";

} // namespace

JournalWriter::JournalWriter(std::unique_ptr<Database> database)
    : m_database(std::move(database)), m_audit(*m_database, insertAuditRow),
      m_event(*m_database, insertEventRow), m_last(*m_database, replaceLastValue)
{
    load();
}

std::unique_ptr<JournalWriter> JournalWriter::open(const QString &folder, OpenProblem &problem)
{
    auto database = Database::open(folder + QStringLiteral("/journal.sqlite"), Database::Use::Journal,
                                   ownerAndGroup, problem);
    if (!database || !bringUpToDate(*database, journalSchema(), problem))
        return nullptr;
    return std::unique_ptr<JournalWriter>(new JournalWriter(std::move(database)));
}

void JournalWriter::load()
{
    m_nextAudit = m_database->number("SELECT max(seq) FROM audit") + 1;
    m_nextEvent = m_database->number("SELECT max(seq) FROM events") + 1;
}

Written JournalWriter::failure()
{
    m_problem = m_database->problem();
    return m_database->isFull() ? Written::Full : Written::Failed;
}

bool JournalWriter::insertAudit(const AuditRow &row)
{
    m_audit.bind(1, m_nextAudit++).bind(2, toMs(row.time)).bind(3, row.correlation).bind(4, row.who);
    m_audit.bind(5, row.from).bind(6, row.plc).bind(7, row.tag);
    bindValue(m_audit, 8, row.oldValue);
    bindValue(m_audit, 10, row.newValue);
    m_audit.bind(12, outcomeCode(row.outcome)).bind(13, reasonName(row.reason)).bind(14, row.text);
    return m_audit.finish();
}

bool JournalWriter::insertEvent(const EventRow &row)
{
    m_event.bind(1, m_nextEvent++).bind(2, toMs(row.time)).bind(3, eventKindName(row.kind));
    m_event.bind(4, row.plc).bind(5, row.tag).bind(6, row.text).bind(7, row.cause);
    return m_event.finish();
}

bool JournalWriter::replaceLast(const LastValue &value)
{
    const kvlink::Sample &sample = value.sample;
    m_last.bind(1, value.tag).bind(2, toMs(sample.time)).bind(3, kvlink::qualityName(sample.quality));
    m_last.bind(4, reasonName(sample.reason)).bind(5, qint64(sample.plcError));
    bindValue(m_last, 6, sample.value);
    return m_last.finish();
}

Written JournalWriter::write(const JournalBatch &batch)
{
    Written result = Written::Done;
    {
        const auto audit = [this](const AuditRow &row) { return insertAudit(row); };
        const auto event = [this](const EventRow &row) { return insertEvent(row); };
        const auto last = [this](const LastValue &value) { return replaceLast(value); };
        Transaction transaction(*m_database);
        const bool isDone =
            transaction.isOpen() && std::all_of(batch.audit.begin(), batch.audit.end(), audit) &&
            std::all_of(batch.events.begin(), batch.events.end(), event) &&
            std::all_of(batch.lastValues.begin(), batch.lastValues.end(), last) && transaction.commit();
        if (isDone)
            return result;
        result = failure();
    }
    load();
    return result;
}

Written JournalWriter::removeOld(const Retention &retention, kvlink::WallTime now, int &removedAudit)
{
    Transaction transaction(*m_database);
    bool isDone = transaction.isOpen();
    if (isDone && retention.events.count() != 0) {
        Statement events(*m_database, "DELETE FROM events WHERE time < ?");
        isDone = events.bind(1, toMs(now - retention.events)).finish();
    }
    if (isDone && retention.audit.count() != 0)
        isDone = removeAudit(toMs(now - retention.audit), removedAudit);
    return isDone && transaction.commit() ? Written::Done : failure();
}

// The trigger is away only within this transaction. The newest row stays, so that numbers are never
// given out again.
bool JournalWriter::removeAudit(qint64 cut, int &removed)
{
    Statement count(*m_database,
                    "SELECT count(*) FROM audit WHERE time < ? AND seq < (SELECT max(seq) FROM audit)");
    count.bind(1, cut);
    if (!count.step() || count.integer(0) == 0)
        return !count.hasFailed();
    removed = int(count.integer(0));
    count.reset();
    Statement remove(*m_database, "DELETE FROM audit WHERE time < ? AND seq < (SELECT max(seq) FROM audit)");
    return m_database->run("DROP TRIGGER audit_no_delete") && remove.bind(1, cut).finish() &&
           m_database->run(auditDeleteTrigger);
}

} // namespace kvgateway
