// SPDX-License-Identifier: MIT
#include "schema.h"

namespace kvgateway
{

namespace
{

// What it is to be read with: sqlite3 shows the view `history` with names and times, all the rest
// as it lies there.
constexpr char historyStep1[] = R"(
CREATE TABLE tags(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    tip_time INTEGER,          -- of the last row that was rolled up
    tip_good INTEGER NOT NULL DEFAULT 0,
    tip_value REAL             -- the number that holds since then
);
CREATE TABLE qualities(code INTEGER PRIMARY KEY, name TEXT NOT NULL);
CREATE TABLE reasons(code INTEGER PRIMARY KEY, name TEXT NOT NULL);
CREATE TABLE facts(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE recent(
    seq INTEGER PRIMARY KEY,
    tag INTEGER NOT NULL,
    time INTEGER NOT NULL,
    quality INTEGER NOT NULL,
    reason INTEGER NOT NULL,
    plc_error INTEGER NOT NULL,
    shape INTEGER NOT NULL,    -- 0: as it is; 1: a bit; 2: a list, as JSON
    value
);
CREATE TABLE samples(
    tag INTEGER NOT NULL,
    time INTEGER NOT NULL,
    seq INTEGER NOT NULL,
    quality INTEGER NOT NULL,
    reason INTEGER NOT NULL,
    plc_error INTEGER NOT NULL,
    shape INTEGER NOT NULL,
    value,
    PRIMARY KEY(tag, time, seq)
) WITHOUT ROWID;
CREATE TABLE minutes(
    tag INTEGER NOT NULL,
    start INTEGER NOT NULL,
    min REAL, max REAL, mean REAL,
    good INTEGER NOT NULL,     -- milliseconds with a good value
    count INTEGER NOT NULL,    -- good rows
    last REAL,                 -- the number that holds at the end; NULL: none
    PRIMARY KEY(tag, start)
) WITHOUT ROWID;
CREATE TABLE hours(
    tag INTEGER NOT NULL,
    start INTEGER NOT NULL,
    min REAL, max REAL, mean REAL,
    good INTEGER NOT NULL,
    count INTEGER NOT NULL,
    last REAL,
    PRIMARY KEY(tag, start)
) WITHOUT ROWID;
CREATE VIEW history AS
    SELECT r.seq AS seq, strftime('%Y-%m-%dT%H:%M:%fZ', r.time / 1000.0, 'unixepoch') AS time, t.name AS tag,
           q.name AS quality, e.name AS reason, r.value AS value
    FROM (SELECT seq, tag, time, quality, reason, value FROM samples
          UNION ALL SELECT seq, tag, time, quality, reason, value FROM recent) AS r
    JOIN tags AS t ON t.id = r.tag
    JOIN qualities AS q ON q.code = r.quality
    JOIN reasons AS e ON e.code = r.reason;
)";

constexpr char journalStep1[] = R"(
CREATE TABLE audit(
    seq INTEGER PRIMARY KEY,
    time INTEGER NOT NULL,
    correlation TEXT NOT NULL,
    who TEXT NOT NULL,
    source TEXT NOT NULL,
    plc TEXT NOT NULL,
    tag TEXT NOT NULL,
    old_value, old_shape INTEGER NOT NULL,
    new_value, new_shape INTEGER NOT NULL,
    outcome TEXT NOT NULL,     -- 'asked', then one row with how it ended
    reason TEXT NOT NULL,
    text TEXT NOT NULL
);
CREATE INDEX audit_time ON audit(time);
CREATE INDEX audit_tag ON audit(tag, seq);
CREATE INDEX audit_correlation ON audit(correlation);
CREATE TRIGGER audit_no_update BEFORE UPDATE ON audit
    BEGIN SELECT RAISE(ABORT, 'the audit is append only: no row can be changed'); END;
CREATE TRIGGER audit_no_replace BEFORE INSERT ON audit WHEN EXISTS(SELECT 1 FROM audit WHERE seq = NEW.seq)
    BEGIN SELECT RAISE(ABORT, 'the audit is append only: no row can be replaced'); END;
CREATE TABLE events(
    seq INTEGER PRIMARY KEY,
    time INTEGER NOT NULL,
    kind TEXT NOT NULL,
    plc TEXT NOT NULL,
    tag TEXT NOT NULL,
    text TEXT NOT NULL,
    cause TEXT NOT NULL
);
CREATE INDEX events_time ON events(time);
CREATE INDEX events_plc ON events(plc, seq);
CREATE INDEX events_tag ON events(tag, seq);
CREATE TABLE last_values(
    tag TEXT PRIMARY KEY,
    time INTEGER NOT NULL,
    quality TEXT NOT NULL,
    reason TEXT NOT NULL,
    plc_error INTEGER NOT NULL,
    shape INTEGER NOT NULL,
    value
) WITHOUT ROWID;
)";

bool isOurs(Database &database, const Schema &schema, qint64 version, OpenProblem &problem)
{
    const qint64 id = database.number("PRAGMA application_id");
    const bool isNew = version == 0 && id == 0 && database.number("SELECT count(*) FROM sqlite_schema") == 0;
    if (isNew || id == schema.applicationId)
        return true;
    problem.text = QStringLiteral("%1 is not a database of kv-gateway; move it away").arg(database.path());
    return false;
}

bool isKnown(Database &database, const Schema &schema, qint64 version, OpenProblem &problem)
{
    if (version <= qint64(schema.steps.size()))
        return true;
    problem.text =
        QStringLiteral("%1 has version %2, and this kv-gateway knows versions up to %3: install the newer "
                       "kv-gateway again, or move the file away")
            .arg(database.path())
            .arg(version)
            .arg(schema.steps.size());
    return false;
}

// SQLite tells only when it reads whether a file is a database at all.
std::optional<qint64> versionOf(Database &database, OpenProblem &problem)
{
    Statement asked(database, "PRAGMA user_version");
    if (asked.step())
        return asked.integer(0);
    problem.text = QStringLiteral("%1; move the file away").arg(database.problem());
    return {};
}

// None: it is not ours, or newer than this program.
std::optional<qint64> knownVersionOf(Database &database, const Schema &schema, OpenProblem &problem)
{
    const std::optional<qint64> version = versionOf(database, problem);
    const bool isGood = version && isOurs(database, schema, *version, problem) &&
                        isKnown(database, schema, *version, problem);
    return isGood ? version : std::nullopt;
}

} // namespace

constexpr char auditDeleteTriggerText[] = R"(
CREATE TRIGGER audit_no_delete BEFORE DELETE ON audit
    BEGIN SELECT RAISE(ABORT, 'the audit is append only: no row can be removed'); END;
)";
const char *const auditDeleteTrigger = auditDeleteTriggerText;

const Schema &historySchema()
{
    static const Schema schema{0x4b564748, {historyStep1}}; // "KVGH"
    return schema;
}

const Schema &journalSchema()
{
    static const QByteArray step1 = QByteArray(journalStep1) + auditDeleteTrigger;
    static const Schema schema{0x4b56474a, {step1.constData()}}; // "KVGJ"
    return schema;
}

bool bringUpToDate(Database &database, const Schema &schema, OpenProblem &problem)
{
    const std::optional<qint64> version = knownVersionOf(database, schema, problem);
    if (!version)
        return false;
    if (*version == qint64(schema.steps.size()))
        return true;
    Transaction transaction(database);
    bool isDone = transaction.isOpen();
    for (auto i = std::size_t(*version); isDone && i < schema.steps.size(); ++i)
        isDone = database.run(schema.steps[i]);
    isDone = isDone && database.run(QStringLiteral("PRAGMA application_id=%1").arg(schema.applicationId)) &&
             database.run(QStringLiteral("PRAGMA user_version=%1").arg(schema.steps.size())) &&
             transaction.commit();
    if (!isDone)
        problem = {database.problem(), database.isFull()};
    return isDone;
}

bool isUpToDate(Database &database, const Schema &schema, OpenProblem &problem)
{
    const std::optional<qint64> version = knownVersionOf(database, schema, problem);
    if (!version)
        return false;
    if (*version == qint64(schema.steps.size()))
        return true;
    problem.text =
        QStringLiteral("%1 has version %2, and this kv-gateway reads version %3: start the service once, "
                       "which brings it up to date")
            .arg(database.path())
            .arg(*version)
            .arg(schema.steps.size());
    return false;
}

std::unique_ptr<Database> openToRead(const QString &path, const Schema &schema, QString &problem)
{
    OpenProblem found;
    auto database = Database::open(path, Database::Use::Read, 0, found);
    if (database && isUpToDate(*database, schema, found))
        return database;
    problem = found.text;
    return nullptr;
}

} // namespace kvgateway
