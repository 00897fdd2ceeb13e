// Logged values in an SQLite database: table samples(time, name, value, unit, quality, error).
#include "log_sink.h"

#include <QFile>

#include <sqlite3.h>

namespace kvhost
{

namespace
{

constexpr char CREATE[] =
    "CREATE TABLE IF NOT EXISTS samples(time INTEGER NOT NULL, name TEXT NOT NULL, value, "
    "unit TEXT, quality TEXT NOT NULL, error TEXT)";
constexpr char INSERT[] =
    "INSERT INTO samples(time, name, value, unit, quality, error) VALUES(?, ?, ?, ?, ?, ?)";

class SqliteSink : public LogSink
{
public:
    explicit SqliteSink(const QString &path) : m_path(path) {}
    ~SqliteSink() override { close(); }

    bool write(const std::vector<Row> &batch, QString *problem) override
    {
        // A batch is one transaction: all of it is there, or nothing.
        if (open() && run("BEGIN IMMEDIATE")) {
            if (insertAll(batch) && run("COMMIT"))
                return true;
            *problem = lastProblem();
            run("ROLLBACK");
            return false;
        }
        *problem = lastProblem();
        return false;
    }

private:
    bool open()
    {
        if (m_insert != nullptr)
            return true;
        close();
        if (sqlite3_open(QFile::encodeName(m_path).constData(), &m_database) != SQLITE_OK)
            return false;
        // No waiting for another program's lock: what cannot be written now is offered again.
        sqlite3_busy_timeout(m_database, 0);
        return run(CREATE) && sqlite3_prepare_v2(m_database, INSERT, -1, &m_insert, nullptr) == SQLITE_OK;
    }

    bool run(const char *statement)
    {
        return sqlite3_exec(m_database, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    bool insertAll(const std::vector<Row> &batch)
    {
        for (const Row &row : batch) {
            sqlite3_reset(m_insert);
            sqlite3_bind_int64(m_insert, 1, row.timeMs);
            bindText(2, row.name);
            bindValue(row);
            bindText(4, row.unit);
            bindText(5, QString::fromLatin1(qualityName(row.quality)));
            bindText(6, row.error);
            if (sqlite3_step(m_insert) != SQLITE_DONE) {
                sqlite3_reset(m_insert);
                return false;
            }
        }
        sqlite3_reset(m_insert);
        return true;
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
        bool whole = false;
        const qint64 number = row.value.toLongLong(&whole);
        if (!row.hasValue || !row.numeric)
            bindText(3, row.value);
        else if (whole)
            sqlite3_bind_int64(m_insert, 3, number);
        else
            sqlite3_bind_double(m_insert, 3, row.value.toDouble());
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
    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_insert = nullptr;
};

} // namespace

std::unique_ptr<LogSink> sqliteSink(const QString &path)
{
    return std::make_unique<SqliteSink>(path);
}

} // namespace kvhost
