// SPDX-License-Identifier: MIT
#include "postgresql_writer.h"

#include "copy_rows.h"
#include "postgresql_schema.h"

namespace kvgateway
{

namespace
{

// %S is the schema, %C the columns of a row. What is sent in one go is done to its end, whatever
// happens to us: no lock waits for a gateway that is gone.
constexpr char makeIncoming[] =
    "CREATE TEMP TABLE kv_incoming ON COMMIT DELETE ROWS AS SELECT %C FROM %S.samples WITH NO DATA";
constexpr char copyIncoming[] = "BEGIN; COPY pg_temp.kv_incoming (%C) FROM STDIN (FORMAT binary)";
constexpr char insertSamples[] = "INSERT INTO %S.samples (%C) SELECT %C FROM pg_temp.kv_incoming "
                                 "ON CONFLICT (tag, time, seq) DO NOTHING; COMMIT";
// A number is used up by each attempt to insert, so nothing is tried that is there.
constexpr char insertTags[] =
    "INSERT INTO %S.tags (site, name, plc) SELECT $1, n, split_part(n, '.', 1) FROM unnest($2::text[]) AS n "
    "WHERE NOT EXISTS (SELECT FROM %S.tags WHERE site = $1 AND name = n) "
    "ON CONFLICT (site, name) DO NOTHING";
constexpr char updateTags[] =
    "UPDATE %S.tags AS t SET unit = n.unit, comment = n.comment "
    "FROM unnest($2::text[], $3::text[], $4::text[]) AS n(name, unit, comment) WHERE t.site = $1 "
    "AND t.name = n.name AND (t.unit, t.comment) IS DISTINCT FROM (n.unit, n.comment)";
constexpr char selectTags[] = "SELECT name, id FROM %S.tags WHERE site = $1 AND name = ANY($2::text[])";

// {"a","b"}
QByteArray arrayText(const std::vector<QByteArray> &texts)
{
    QByteArray all = "{";
    for (QByteArray text : texts) {
        text.replace('\\', "\\\\").replace('"', "\\\"").replace('\0', "");
        all += (all.size() > 1 ? ",\"" : "\"") + text + '"';
    }
    return all + '}';
}

// Errors that lie in the row itself: its data, a rule of the table, a trigger that somebody added.
// One of them is not: a tag that somebody removed from the database meanwhile is made again. The
// name of its rule has a prefix in a part of a hypertable.
bool isOfTheRow(const PqProblem &problem)
{
    const QByteArray &state = problem.state;
    const bool hasNoTag = state == "23503" && problem.constraint.endsWith("samples_tag_fkey");
    return !hasNoTag && (state.startsWith("22") || state.startsWith("23") || state.startsWith("44") ||
                         state.startsWith("P0"));
}

} // namespace

QByteArray PostgresqlWriter::sql(const char *text) const
{
    return QByteArray(text).replace("%S", quotedSchema(m_config.schema)).replace("%C", CopyRows::columns);
}

bool PostgresqlWriter::open(QString &problem)
{
    PqProblem trouble;
    m_ids.clear();
    if (m_link.open(m_config, trouble) && checkSchema(m_link, m_config.schema, problem) &&
        m_link.run(sql(makeIncoming), {}, trouble))
        return true;
    if (problem.isEmpty())
        problem = trouble.text;
    return false;
}

void PostgresqlWriter::close()
{
    m_link.close();
}

bool PostgresqlWriter::isAlive(QString &problem)
{
    PqProblem trouble;
    if (m_link.isAlive(trouble))
        return true;
    problem = trouble.text;
    return false;
}

bool PostgresqlWriter::takeTags(const std::vector<TagFacts> &tags, QString &problem)
{
    std::vector<QByteArray> names, units, comments;
    for (const TagFacts &tag : tags) {
        names.push_back(tag.name.toUtf8());
        units.push_back(tag.unit.toUtf8());
        comments.push_back(tag.comment.toUtf8());
    }
    PqProblem trouble;
    const QByteArray all = arrayText(names);
    if (names.empty() ||
        (addTags(names, trouble) &&
         m_link.run(sql(updateTags), {m_config.site.toUtf8(), all, arrayText(units), arrayText(comments)},
                    trouble)))
        return true;
    problem = trouble.text;
    return false;
}

bool PostgresqlWriter::addTags(const std::vector<QByteArray> &names, PqProblem &problem)
{
    const std::vector<QByteArray> parameters{m_config.site.toUtf8(), arrayText(names)};
    if (!m_link.run(sql(insertTags), parameters, problem))
        return false;
    const auto found = m_link.run(sql(selectTags), parameters, problem);
    for (int row = 0; found && row < found->count(); ++row)
        m_ids.insert(QString::fromUtf8(found->text(row, 0)), found->text(row, 1).toInt());
    return found.has_value();
}

// Rows of tags that the configuration does not have any more may still be stored.
bool PostgresqlWriter::knowTags(const std::vector<OutletRow> &rows, PqProblem &problem)
{
    std::vector<QByteArray> unknown;
    for (const OutletRow &row : rows) {
        if (!m_ids.contains(row.tag))
            unknown.push_back(row.tag.toUtf8());
    }
    return unknown.empty() || addTags(unknown, problem);
}

WriteResult PostgresqlWriter::write(const std::vector<OutletRow> &rows, QString &problem)
{
    PqProblem trouble;
    if (!knowTags(rows, trouble)) {
        problem = trouble.text;
        return WriteResult::Lost;
    }
    CopyRows copy;
    for (const OutletRow &row : rows)
        copy.add(m_ids.value(row.tag), row);
    if (m_link.copy(sql(copyIncoming), std::move(copy).finish(), trouble) &&
        m_link.run(sql(insertSamples), {}, trouble))
        return WriteResult::Written;
    problem = trouble.text;
    return refusal(trouble);
}

WriteResult PostgresqlWriter::refusal(const PqProblem &problem)
{
    PqProblem ignored;
    const bool isRefused = isOfTheRow(problem) && m_link.run("ROLLBACK", {}, ignored);
    return isRefused ? WriteResult::Refused : WriteResult::Lost;
}

} // namespace kvgateway
