// SPDX-License-Identifier: MIT
// Logged values in an SQLite database: table samples(time, name, value, unit, quality, error),
// found by name and time.
#include "log_sink.h"

#include <QFile>

#include <sqlite3.h>
#include <sys/stat.h>

namespace kvhost
{

namespace
{

constexpr char createTable[] =
    "CREATE TABLE IF NOT EXISTS samples(time INTEGER NOT NULL, name TEXT NOT NULL, value, "
    "unit TEXT, quality TEXT NOT NULL, error TEXT)";
constexpr char createIndex[] = "CREATE INDEX IF NOT EXISTS samples_name_time ON samples(name, time)";
constexpr char insertRow[] =
    "INSERT INTO samples(time, name, value, unit, quality, error) VALUES(?, ?, ?, ?, ?, ?)";
// Readers then stop no writer; and a power cut loses the last second, but never the database.
constexpr char setWal[] = "PRAGMA journal_mode=WAL";
constexpr char setSynchronous[] = "PRAGMA synchronous=NORMAL";
constexpr int busyMs = 2000; // another program's lock is waited for: this thread does nothing else
constexpr qint64 removeEveryMs = 3600 * 1000;

class SqliteSink : public LogSink
{
public:
    SqliteSink(QString path, kvlink::Duration keep) : m_path(std::move(path)), m_keep(keep) {}
    ~SqliteSink() override { close(); }

    bool open(QString &problem) override
    {
        if (openDatabase())
            return true;
        problem = lastProblem();
        close();
        return false;
    }

    // A batch is one transaction: all of it is there, or nothing.
    std::size_t write(const std::vector<LogRow> &batch, QString &problem) override
    {
        if (m_insert != nullptr && !isInPlace())
            close();
        if ((m_insert != nullptr || openDatabase()) && run("BEGIN IMMEDIATE")) {
            if (insertAll(batch) && run("COMMIT")) {
                removeOutdated();
                return batch.size();
            }
            problem = lastProblem();
            run("ROLLBACK");
            return 0;
        }
        problem = lastProblem();
        if (m_insert == nullptr)
            close();
        return 0;
    }

    void reopen() override { close(); }

private:
    bool openDatabase()
    {
        close();
        const QByteArray path = QFile::encodeName(m_path);
        if (sqlite3_open(path.constData(), &m_database) != SQLITE_OK)
            return false;
        sqlite3_busy_timeout(m_database, busyMs);
        const bool isGood = run(setWal) && run(setSynchronous) && run(createTable) && run(createIndex) &&
                            sqlite3_prepare_v2(m_database, insertRow, -1, &m_insert, nullptr) == SQLITE_OK;
        return isGood && ::stat(path.constData(), &m_opened) == 0;
    }

    bool isInPlace() const
    {
        struct stat named = {};
        return ::stat(QFile::encodeName(m_path).constData(), &named) == 0 &&
               named.st_dev == m_opened.st_dev && named.st_ino == m_opened.st_ino;
    }

    bool run(const char *statement)
    {
        return sqlite3_exec(m_database, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    bool insertAll(const std::vector<LogRow> &batch)
    {
        for (const LogRow &row : batch) {
            sqlite3_reset(m_insert);
            bind(row.row);
            if (sqlite3_step(m_insert) != SQLITE_DONE) {
                sqlite3_reset(m_insert);
                return false;
            }
        }
        sqlite3_reset(m_insert);
        return true;
    }

    void bind(const Row &row)
    {
        sqlite3_bind_int64(m_insert, 1, row.timeMs);
        bindText(2, row.name);
        bindValue(row);
        bindText(4, row.unit);
        bindText(5, kvlink::qualityName(row.quality));
        bindText(6, row.error);
    }

    void bindText(int place, const QString &text)
    {
        const QByteArray bytes = text.toUtf8();
        if (text.isEmpty())
            sqlite3_bind_null(m_insert, place);
        else
            sqlite3_bind_text(m_insert, place, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
    }

    void bindValue(const Row &row)
    {
        bool isWhole = false;
        const qint64 number = row.value.toLongLong(&isWhole);
        if (!row.hasValue || !row.isNumeric)
            bindText(3, row.value);
        else if (isWhole)
            sqlite3_bind_int64(m_insert, 3, number);
        else
            sqlite3_bind_double(m_insert, 3, row.value.toDouble());
    }

    void removeOutdated()
    {
        const qint64 now = nowMs();
        if (m_keep.count() == 0 || now - m_removedMs < removeEveryMs)
            return;
        m_removedMs = now;
        const qint64 oldest = now - std::chrono::duration_cast<std::chrono::milliseconds>(m_keep).count();
        run(QStringLiteral("DELETE FROM samples WHERE time < %1").arg(oldest).toLatin1().constData());
    }

    QString lastProblem() const
    {
        const char *text = m_database == nullptr ? "out of memory" : sqlite3_errmsg(m_database);
        return QStringLiteral("%1: %2").arg(m_path, QString::fromUtf8(text));
    }

    void close()
    {
        sqlite3_finalize(m_insert);
        m_insert = nullptr;
        sqlite3_close(m_database);
        m_database = nullptr;
    }

    QString m_path;
    kvlink::Duration m_keep;
    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_insert = nullptr;
    struct stat m_opened = {};
    qint64 m_removedMs = 0;
};

} // namespace

std::unique_ptr<LogSink> sqliteSink(const QString &path, kvlink::Duration keep)
{
    return std::make_unique<SqliteSink>(path, keep);
}

} // namespace kvhost
