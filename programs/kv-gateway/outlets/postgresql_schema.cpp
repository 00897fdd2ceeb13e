// SPDX-License-Identifier: MIT
#include "postgresql_schema.h"

namespace kvgateway
{

namespace
{

// %S is the schema. Each step is one version further; steps that were published never change.
constexpr char firstTables[] = R"(CREATE SCHEMA IF NOT EXISTS %S;
CREATE TABLE %S.facts (
    name text PRIMARY KEY,
    value integer NOT NULL
);
CREATE TYPE %S.quality AS ENUM ('never', 'good', 'stale', 'bad', 'pending');
CREATE TABLE %S.tags (
    id integer GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    site text NOT NULL,
    name text NOT NULL,
    plc text NOT NULL,
    unit text NOT NULL DEFAULT '',
    comment text NOT NULL DEFAULT '',
    UNIQUE (site, name)
);
CREATE TABLE %S.samples (
    tag integer NOT NULL REFERENCES %S.tags,
    time timestamptz NOT NULL,
    seq bigint NOT NULL,
    quality %S.quality NOT NULL,
    reason text,
    value double precision,
    text text,
    list jsonb,
    PRIMARY KEY (tag, time, seq)
);
CREATE VIEW %S.history AS
    SELECT site, name, time, value, text, list, quality, reason, unit, seq
    FROM %S.samples JOIN %S.tags ON id = tag;
CREATE VIEW %S.latest AS
    SELECT site, name, time, value, text, list, quality, reason, unit, seq
    FROM %S.tags CROSS JOIN LATERAL
        (SELECT * FROM %S.samples WHERE tag = id ORDER BY time DESC, seq DESC LIMIT 1) AS newest;
CREATE VIEW %S.minutes AS
    SELECT site, name, date_trunc('minute', time) AS minute, min(value), max(value), avg(value),
        (array_agg(value ORDER BY time DESC, seq DESC))[1] AS last, count(*), unit
    FROM %S.samples JOIN %S.tags ON id = tag
    WHERE quality = 'good' AND value IS NOT NULL
    GROUP BY site, name, date_trunc('minute', time), unit;
)";

constexpr const char *steps[] = {firstTables};
constexpr int newestVersion = int(std::size(steps));

constexpr char selectVersion[] = "SELECT value FROM %S.facts WHERE name = 'version'";
// One at a time in a database: the number is ours and says nothing.
constexpr char begin[] = "BEGIN; SELECT pg_advisory_xact_lock(7188342310574116)";
constexpr char isExtended[] = "SELECT nspname FROM pg_extension JOIN pg_namespace n ON n.oid = extnamespace "
                              "WHERE extname = 'timescaledb'";

QByteArray filled(const char *sql, const QString &schema)
{
    return QByteArray(sql).replace("%S", quotedSchema(schema));
}

QByteArray insertVersion(const QString &schema)
{
    return filled("INSERT INTO %S.facts VALUES ('version', ", schema) + QByteArray::number(newestVersion) +
           ") ON CONFLICT (name) DO UPDATE SET value = excluded.value;\n";
}

// \return 0: there are no tables; none with a problem
std::optional<int> versionOf(PqLink &link, const QString &schema, PqProblem &problem)
{
    const auto table = link.run("SELECT to_regclass($1)", {quotedSchema(schema) + ".facts"}, problem);
    if (!table)
        return std::nullopt;
    if (table->text(0, 0).isEmpty())
        return 0;
    const auto version = link.run(filled(selectVersion, schema), {}, problem);
    if (!version)
        return std::nullopt;
    return version->count() == 0 ? 0 : version->text(0, 0).toInt();
}

QString tooNew(const QString &schema)
{
    return QStringLiteral(
               "the schema \"%1\" is of a newer kv-gateway: install that here, or set another schema")
        .arg(schema);
}

// One text that the database cannot hold would stop all that come after it.
bool isUtf8(PqLink &link, PqProblem &problem)
{
    const auto encoding = link.run("SELECT pg_catalog.current_setting('server_encoding')", {}, problem);
    if (encoding && encoding->text(0, 0) != "UTF8")
        problem.text = QStringLiteral("the database has the encoding %1: make one with ENCODING 'UTF8'")
                           .arg(QString::fromLatin1(encoding->text(0, 0)));
    return encoding && problem.text.isEmpty();
}

bool makeHypertable(PqLink &link, const QString &schema, QString &done, PqProblem &problem)
{
    const auto extension = link.run(isExtended, {}, problem);
    if (!extension)
        return false;
    if (extension->count() == 0)
        return true;
    const QByteArray sql = "SELECT \"" + extension->text(0, 0) + "\".create_hypertable('" +
                           quotedSchema(schema) +
                           ".samples'::regclass, 'time'::name, if_not_exists => true, migrate_data => true)";
    done += QStringLiteral("; the samples are a hypertable of TimescaleDB");
    return link.run(sql, {}, problem).has_value();
}

bool makeSteps(PqLink &link, const QString &schema, QString &done, PqProblem &problem)
{
    if (!isUtf8(link, problem) || !link.run(begin, {}, problem))
        return false;
    const auto found = versionOf(link, schema, problem);
    if (!found)
        return false;
    if (*found > newestVersion) {
        problem.text = tooNew(schema);
        return false;
    }
    for (int version = *found; version < newestVersion; ++version) {
        if (!link.run(filled(steps[version], schema), {}, problem))
            return false;
    }
    if (*found < newestVersion && !link.run(insertVersion(schema), {}, problem))
        return false;
    const char *what = *found == newestVersion ? "was there" : "made";
    done = QStringLiteral("%1, version %2").arg(QString::fromLatin1(what)).arg(newestVersion);
    return makeHypertable(link, schema, done, problem) && link.run("COMMIT", {}, problem).has_value();
}

} // namespace

QByteArray quotedSchema(const QString &schema)
{
    return '"' + schema.toLatin1() + '"';
}

QByteArray schemaSql(const QString &schema)
{
    QByteArray sql = "BEGIN;\n";
    for (const char *step : steps)
        sql += filled(step, schema);
    return sql + insertVersion(schema) + "COMMIT;\n";
}

bool makeSchema(PqLink &link, const QString &schema, QString &done, QString &problem)
{
    PqProblem trouble, ignored;
    if (makeSteps(link, schema, done, trouble))
        return true;
    problem = trouble.text;
    link.run("ROLLBACK", {}, ignored);
    return false;
}

bool checkSchema(PqLink &link, const QString &schema, QString &problem)
{
    PqProblem trouble;
    const auto version = isUtf8(link, trouble) ? versionOf(link, schema, trouble) : std::nullopt;
    if (!version)
        problem = trouble.text;
    else if (*version > newestVersion)
        problem = tooNew(schema);
    else if (*version == 0)
        problem =
            QStringLiteral("the database has no schema \"%1\" of ours: run kv-gateway db init").arg(schema);
    else if (*version < newestVersion)
        problem =
            QStringLiteral("the schema \"%1\" is of an older kv-gateway: run kv-gateway db init").arg(schema);
    return problem.isEmpty();
}

} // namespace kvgateway
