// SPDX-License-Identifier: MIT
#include "postgresql_lock.h"

#include <QCryptographicHash>

#include <limits>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr milliseconds connectPatience = 3s;

// The server itself ends a session that says nothing, even if it never hears of us again: a cut
// line, a machine that hangs. Without it the lock would stay with the dead for hours.
constexpr char setSession[] = "SELECT set_config('application_name', $1, false), "
                              "set_config('idle_session_timeout', $2, false)";
constexpr char takeLock[] = "SELECT pg_try_advisory_lock($1::bigint)";
// Not only that the session is there: a pooler in between could have given us another one.
constexpr char seeLock[] =
    "SELECT count(*) = 1 FROM pg_locks WHERE locktype = 'advisory' AND granted AND objsubid = 1 "
    "AND pid = pg_backend_pid() AND (classid::bigint << 32 | objid::bigint) = $1::bigint";
constexpr char seeHolder[] =
    "SELECT a.application_name, coalesce(host(a.client_addr), 'on the machine of the database') "
    "FROM pg_locks AS l JOIN pg_stat_activity AS a USING (pid) WHERE l.locktype = 'advisory' AND l.granted "
    "AND l.objsubid = 1 AND l.database = (SELECT oid FROM pg_database WHERE datname = current_database()) "
    "AND (l.classid::bigint << 32 | l.objid::bigint) = $1::bigint";

} // namespace

PostgresqlLock::PostgresqlLock(const PostgresqlConfig &config, const QString &shard, const QString &us,
                               const DutyTiming &timing)
    : m_config(config), m_key(QByteArray::number(keyOf(config.site, shard))), m_us(us.toUtf8()),
      m_timing(timing), m_link({connectPatience, duration_cast<milliseconds>(timing.answer)})
{
}

qint64 PostgresqlLock::keyOf(const QString &site, const QString &shard)
{
    const QByteArray text = "kv-gateway\n" + site.toUtf8() + '\n' + shard.toUtf8();
    const QByteArray hash = QCryptographicHash::hash(text, QCryptographicHash::Sha256);
    constexpr int bytes = 8, bitsOfByte = 8;
    quint64 key = 0;
    for (int i = 0; i < bytes; ++i)
        key = key << bitsOfByte | quint8(hash[i]);
    return qint64(key & quint64(std::numeric_limits<qint64>::max()));
}

void PostgresqlLock::close()
{
    m_link.close();
    m_isOpen = false;
    m_isOurs = false;
}

bool PostgresqlLock::open(PqProblem &problem)
{
    const QByteArray silence =
        QByteArray::number(qint64(duration_cast<milliseconds>(m_timing.session).count()));
    m_isOpen = m_link.open(m_config, problem);
    if (!m_isOpen || m_link.run(setSession, {m_us, silence}, problem))
        return m_isOpen;
    const bool isOld = problem.state == "42704"; // there is no such setting
    if (isOld)
        problem.text = QStringLiteral("standing by needs PostgreSQL 14 or newer: %1").arg(problem.text);
    return false;
}

std::optional<bool> PostgresqlLock::isTrue(const char *sql, PqProblem &problem)
{
    const auto rows = m_link.run(sql, {m_key}, problem);
    return rows ? std::optional(rows->count() == 1 && rows->text(0, 0) == "t") : std::nullopt;
}

// Who has got it a moment ago may be gone already.
QString PostgresqlLock::holder(PqProblem &problem)
{
    const auto rows = m_link.run(seeHolder, {m_key}, problem);
    if (!rows || rows->count() == 0)
        return QStringLiteral("another gateway");
    return QStringLiteral("%1 (%2)").arg(QString::fromUtf8(rows->text(0, 0)),
                                         QString::fromUtf8(rows->text(0, 1)));
}

LockAnswer PostgresqlLock::lost(const PqProblem &problem, QString &text)
{
    text = problem.text;
    close();
    return LockAnswer::Lost;
}

LockAnswer PostgresqlLock::ask(QString &text)
{
    PqProblem problem;
    if (!m_isOpen && !open(problem))
        return lost(problem, text);
    const auto isOurs = isTrue(m_isOurs ? seeLock : takeLock, problem);
    if (!isOurs)
        return lost(problem, text);
    if (m_isOurs && !*isOurs)
        return lost({QStringLiteral("the session has lost its lock; is there a pooler in between?"), {}},
                    text);
    m_isOurs = *isOurs;
    if (m_isOurs)
        return LockAnswer::Held;
    text = holder(problem);
    return LockAnswer::Taken;
}

} // namespace kvgateway
