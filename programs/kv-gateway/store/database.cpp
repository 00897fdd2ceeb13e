// SPDX-License-Identifier: MIT
#include "database.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace kvgateway
{

namespace
{

// Nothing is left to a default of the library. The page cache bounds the memory of a connection.
constexpr char forAll[] = "PRAGMA busy_timeout=2000;" // another program's lock is waited for
                          "PRAGMA trusted_schema=OFF;"
                          "PRAGMA cache_size=-4096;";
constexpr char forWriters[] = "PRAGMA wal_autocheckpoint=1000;"
                              "PRAGMA journal_size_limit=16777216;"
                              // A row that is replaced counts as deleted: no trigger is evaded.
                              "PRAGMA recursive_triggers=ON;";
// Synced with each checkpoint: a power cut costs the last rows, never the database.
constexpr char forHistory[] = "PRAGMA synchronous=NORMAL";
// Synced with each commit: who wrote what is known after a power cut, too.
constexpr char forJournal[] = "PRAGMA synchronous=FULL";
constexpr char forReaders[] = "PRAGMA query_only=ON";

constexpr int primaryCode = 0xff; // of an extended result code

bool makeFile(const QString &path, unsigned mode)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, mode);
    return fd >= 0 && ::close(fd) == 0;
}

} // namespace

std::unique_ptr<Database> Database::open(const QString &path, Use use, unsigned mode, OpenProblem &problem)
{
    std::unique_ptr<Database> database(new Database(path));
    if (use == Use::Read ? !QFileInfo::exists(path) : !makeFile(path, mode)) {
        const int error = use == Use::Read ? ENOENT : errno;
        problem = {QStringLiteral("%1: %2").arg(path, qt_error_string(error)), error == ENOSPC, false};
        return nullptr;
    }
    if (!database->openFile() || !database->configure(use)) {
        problem = {database->problem(), database->isFull(), database->isBroken()};
        return nullptr;
    }
    return database;
}

bool Database::openFile()
{
    // On purpose: readers too open for writing, since a write-ahead log may have to be recovered
    // before it can be read. Where that is not permitted SQLite opens for reading by itself.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int result = sqlite3_open_v2(QFile::encodeName(m_path).constData(), &m_database, flags, nullptr);
    return result == SQLITE_OK && run(forAll);
}

bool Database::configure(Use use)
{
    if (use == Use::Read)
        return run(forReaders);
    const bool hasLog = use != Use::Accounts;
    // Read back: on some file systems a write-ahead log is refused, and the old mode stays.
    Statement mode(*this, hasLog ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE");
    if (!mode.step() || mode.text(0) != QLatin1String(hasLog ? "wal" : "delete"))
        return false;
    mode.reset();
    return run(forWriters) && run(use == Use::History ? forHistory : forJournal);
}

Database::~Database()
{
    sqlite3_close_v2(m_database);
}

bool Database::run(const char *statements)
{
    return sqlite3_exec(m_database, statements, nullptr, nullptr, nullptr) == SQLITE_OK;
}

qint64 Database::number(const char *statement)
{
    Statement asked(*this, statement);
    return asked.step() ? asked.integer(0) : 0;
}

int Database::changes() const
{
    return sqlite3_changes(m_database);
}

QString Database::problem() const
{
    const char *text = m_database == nullptr ? "out of memory" : sqlite3_errmsg(m_database);
    return QStringLiteral("%1: %2").arg(m_path, QString::fromUtf8(text));
}

bool Database::isBroken() const
{
    const int code = sqlite3_errcode(m_database) & primaryCode;
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

bool Database::isFull() const
{
    const int error = sqlite3_system_errno(m_database);
    const int code = sqlite3_errcode(m_database) & primaryCode;
    return code == SQLITE_FULL || (code == SQLITE_IOERR && (error == ENOSPC || error == EDQUOT));
}

Statement::Statement(Database &database, const char *text)
{
    sqlite3_prepare_v2(database.handle(), text, -1, &m_statement, nullptr);
}

Statement::~Statement()
{
    sqlite3_finalize(m_statement);
}

Statement &Statement::bind(int parameter, qint64 number)
{
    sqlite3_bind_int64(m_statement, parameter, number);
    return *this;
}

Statement &Statement::bind(int parameter, double number)
{
    sqlite3_bind_double(m_statement, parameter, number);
    return *this;
}

Statement &Statement::bind(int parameter, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    sqlite3_bind_text(m_statement, parameter, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
    return *this;
}

Statement &Statement::bindBytes(int parameter, const QByteArray &bytes)
{
    sqlite3_bind_blob(m_statement, parameter, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
    return *this;
}

Statement &Statement::bindNull(int parameter)
{
    sqlite3_bind_null(m_statement, parameter);
    return *this;
}

bool Statement::step()
{
    const int result = sqlite3_step(m_statement);
    m_hasFailed = result != SQLITE_ROW && result != SQLITE_DONE;
    return result == SQLITE_ROW;
}

bool Statement::finish()
{
    while (step()) {
    }
    const bool isDone = !m_hasFailed;
    reset();
    return isDone;
}

void Statement::reset()
{
    sqlite3_reset(m_statement);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

bool Statement::isText(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_TEXT;
}

bool Statement::isReal(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_FLOAT;
}

qint64 Statement::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

double Statement::real(int column) const
{
    return sqlite3_column_double(m_statement, column);
}

QString Statement::text(int column) const
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column));
}

QByteArray Statement::bytes(int column) const
{
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return {bytes, sqlite3_column_bytes(m_statement, column)};
}

Transaction::~Transaction()
{
    if (m_isOpen)
        m_database.run("ROLLBACK");
}

bool Transaction::commit()
{
    if (!m_isOpen || !m_database.run("COMMIT"))
        return false;
    m_isOpen = false;
    return true;
}

} // namespace kvgateway
