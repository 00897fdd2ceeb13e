// SPDX-License-Identifier: MIT
// SQLite behind two small classes: a connection, and a statement with its values.
#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace kvgateway
{

struct OpenProblem {
    QString text;          ///< "PATH: what is wrong"
    bool isFull = false;   ///< for want of room: it may work later
    bool isBroken = false; ///< the file is damaged, or is not a database
};

/// One connection; one thread at a time.
class Database
{
public:
    enum class Use : quint8 {
        History,  ///< writes; a power cut may cost the last seconds, never the database
        Journal,  ///< writes; what is committed survives a power cut
        Accounts, ///< the same, without a write-ahead log: a full disk stops no opening
        Read,
    };

    /// Makes the file if it is missing, unless it is only to be read.
    /// \param mode rights of a new file: 0600
    static std::unique_ptr<Database> open(const QString &path, Use use, unsigned mode, OpenProblem &problem);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    /// One statement or several. \return false: see problem()
    bool run(const char *statements);
    bool run(const QString &statements) { return run(statements.toUtf8().constData()); }
    /// The first column of the first row. \return 0 without a row, too
    qint64 number(const char *statement);
    /// Rows that the last statement changed.
    int changes() const;
    /// "PATH: database or disk is full"
    QString problem() const;
    /// The last call failed for want of room.
    bool isFull() const;
    /// The last call found the file damaged, or that it is not a database.
    bool isBroken() const;
    const QString &path() const { return m_path; }
    sqlite3 *handle() const { return m_database; }

private:
    explicit Database(QString path) : m_path(std::move(path)) {}
    bool openFile();
    bool configure(Use use);

    QString m_path;
    sqlite3 *m_database = nullptr;
};

/// A prepared statement. Parameters count from 1, columns from 0.
class Statement
{
public:
    /// \param database outlives the statement. A statement that is wrong shows in step()
    Statement(Database &database, const char *text);
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    Statement &bind(int parameter, qint64 number);
    Statement &bind(int parameter, double number);
    Statement &bind(int parameter, const QString &text); ///< an empty text too
    Statement &bindBytes(int parameter, const QByteArray &bytes);
    Statement &bindNull(int parameter);

    /// \return true: a row is there; false: no more rows, or failed
    bool step();
    /// The last step() failed.
    bool hasFailed() const { return m_hasFailed; }
    /// Runs it to its end and makes it ready for the next values. \return false if it failed
    bool finish();
    /// Ready for the next run; values stay bound.
    void reset();

    bool isNull(int column) const;
    bool isText(int column) const;
    bool isReal(int column) const;
    qint64 integer(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray bytes(int column) const;

private:
    sqlite3_stmt *m_statement = nullptr;
    bool m_hasFailed = false;
};

/// Several statements of which all count or none: rolled back unless committed.
class Transaction
{
public:
    explicit Transaction(Database &database) : m_database(database), m_isOpen(database.run("BEGIN IMMEDIATE"))
    {
    }
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    bool isOpen() const { return m_isOpen; }
    bool commit();

private:
    Database &m_database;
    bool m_isOpen;
};

} // namespace kvgateway
