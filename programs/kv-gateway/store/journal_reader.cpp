// SPDX-License-Identifier: MIT
#include "journal_reader.h"

#include "codes.h"
#include "schema.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr int mostRows = 10'000;
constexpr char eventColumns[] = "SELECT seq, time, kind, plc, tag, text, cause FROM events";
constexpr char auditColumns[] = "SELECT seq, time, correlation, who, source, plc, tag, old_shape, old_value, "
                                "new_shape, new_value, outcome, "
                                "reason, text FROM audit";
constexpr char allLastValues[] =
    "SELECT tag, time, quality, reason, plc_error, shape, value FROM last_values ORDER BY tag";

// What the query asks for and nothing else, so that the indexes serve.
class Newest
{
public:
    Newest(const char *columns, qint64 beforeSeq, const TimeRange &range)
        : m_text(QByteArray(columns) + " WHERE seq < ?1 AND time >= ?2 AND time < ?3"), m_numbers{
                                                                                            beforeSeq,
                                                                                            toMs(range.from),
                                                                                            toMs(range.to)}
    {
    }

    // An empty text asks for all.
    void addCondition(const char *column, const QString &text)
    {
        if (text.isEmpty())
            return;
        m_texts.append(text);
        m_text += QByteArray(" AND ") + column + " = ?" +
                  QByteArray::number(int(m_numbers.size()) + int(m_texts.size()));
    }

    std::unique_ptr<Statement> statement(Database &database, int limit)
    {
        m_text += " ORDER BY seq DESC LIMIT " + QByteArray::number(std::clamp(limit, 1, mostRows));
        auto statement = std::make_unique<Statement>(database, m_text.constData());
        int parameter = 0;
        for (const qint64 number : m_numbers)
            statement->bind(++parameter, number);
        for (const QString &text : m_texts)
            statement->bind(++parameter, text);
        return statement;
    }

private:
    QByteArray m_text;
    std::array<qint64, 3> m_numbers{};
    QStringList m_texts;
};

} // namespace

JournalReader::JournalReader(std::unique_ptr<Database> database) : m_database(std::move(database)) {}
JournalReader::~JournalReader() = default;

std::unique_ptr<JournalReader> JournalReader::open(const QString &folder, QString &problem)
{
    auto database = openToRead(folder + QStringLiteral("/journal.sqlite"), journalSchema(), problem);
    return std::unique_ptr<JournalReader>(database ? new JournalReader(std::move(database)) : nullptr);
}

std::optional<std::vector<EventRow>> JournalReader::events(const EventQuery &query, QString &problem) const
{
    std::vector<EventRow> events;
    Newest newest(eventColumns, query.beforeSeq, query.range);
    newest.addCondition("kind", query.kind ? eventKindName(*query.kind) : QString());
    newest.addCondition("plc", query.plc);
    newest.addCondition("tag", query.tag);
    const auto statement = newest.statement(*m_database, query.limit);
    Statement &rows = *statement;
    while (rows.step())
        events.push_back({rows.integer(0), fromMs(rows.integer(1)),
                          eventKindFromName(rows.text(2)).value_or(EventKind::Service), rows.text(3),
                          rows.text(4), rows.text(5), rows.text(6)});
    if (!rows.hasFailed())
        return events;
    problem = m_database->problem();
    return {};
}

std::optional<std::vector<AuditRow>> JournalReader::audit(const AuditQuery &query, QString &problem) const
{
    std::vector<AuditRow> audit;
    Newest newest(auditColumns, query.beforeSeq, query.range);
    newest.addCondition("who", query.who);
    newest.addCondition("plc", query.plc);
    newest.addCondition("tag", query.tag);
    newest.addCondition("correlation", query.correlation);
    const auto statement = newest.statement(*m_database, query.limit);
    Statement &rows = *statement;
    while (rows.step())
        audit.push_back({rows.integer(0), fromMs(rows.integer(1)), rows.text(2), rows.text(3), rows.text(4),
                         rows.text(5), rows.text(6), valueOf(rows, 7), valueOf(rows, 9),
                         outcomeFromCode(rows.text(11)), reasonFromName(rows.text(12)), rows.text(13)});
    if (!rows.hasFailed())
        return audit;
    problem = m_database->problem();
    return {};
}

std::optional<std::vector<LastValue>> JournalReader::lastValues(QString &problem) const
{
    std::vector<LastValue> values;
    Statement rows(*m_database, allLastValues);
    while (rows.step()) {
        LastValue last;
        last.tag = rows.text(0);
        kvlink::Sample &sample = last.sample;
        sample.time = fromMs(rows.integer(1));
        sample.quality = qualityFromName(rows.text(2));
        sample.reason = reasonFromName(rows.text(3));
        sample.plcError = quint8(rows.integer(4));
        sample.value = valueOf(rows, 5);
        // Nobody has read it since.
        if (sample.isGood() || sample.quality == kvlink::Quality::Pending)
            sample.quality = kvlink::Quality::Stale;
        values.push_back(std::move(last));
    }
    if (!rows.hasFailed())
        return values;
    problem = m_database->problem();
    return {};
}

} // namespace kvgateway
