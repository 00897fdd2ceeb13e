// SPDX-License-Identifier: MIT
// One connection to a PostgreSQL server by libpq. Every wait has an end, and another thread can end
// it at once.
#pragma once

#include "config/postgresql_config.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

struct pg_conn;
struct pg_result;

namespace kvgateway
{

struct PqProblem {
    QString text;            ///< for people
    QByteArray state;        ///< the five letters by which SQL names an error; empty: the connection is gone
    QByteArray constraint{}; ///< the rule that was broken, if it was one
};

/// What a statement answered.
class PqRows
{
public:
    explicit PqRows(pg_result *result) : m_result(result, &clear) {}

    int count() const;
    /// Empty for NULL. Columns from 0.
    QByteArray text(int row, int column) const;

private:
    static void clear(pg_result *result);

    std::unique_ptr<pg_result, void (*)(pg_result *)> m_result;
};

/// How long is waited before a server is given up.
struct PqPatience {
    std::chrono::milliseconds connect{10'000};
    std::chrono::milliseconds answer{30'000}; ///< to a statement
};

/// One thread; interrupt() from any.
class PqLink
{
public:
    explicit PqLink(PqPatience patience = {});
    ~PqLink();
    PqLink(const PqLink &) = delete;
    PqLink &operator=(const PqLink &) = delete;

    /// The password is read from its file with each attempt. Only the look-up of a name may take
    /// longer than our patience.
    bool open(const PostgresqlConfig &config, PqProblem &problem);
    void close();
    /// Statements with ';' between them, without parameters; or one with $1, $2, ...
    /// \return what the last one answered
    std::optional<PqRows> run(const QByteArray &sql, const std::vector<QByteArray> &parameters,
                              PqProblem &problem);
    /// \param sql ends with COPY ... FROM STDIN
    bool copy(const QByteArray &sql, const QByteArray &bytes, PqProblem &problem);
    /// Does not wait. \return false: the server has ended the connection
    bool isAlive(PqProblem &problem);
    /// Ends what is waited for, now and ever after.
    void interrupt();

private:
    using Deadline = std::chrono::steady_clock::time_point;
    bool waitFor(short events, Deadline until, PqProblem &problem) const;
    bool finishConnecting(PqProblem &problem) const;
    bool flush(Deadline until, PqProblem &problem) const;
    bool next(Deadline until, pg_result *&result, PqProblem &problem) const;
    std::optional<PqRows> answers(PqProblem &problem) const;
    void takeProblem(const pg_result *result, PqProblem &problem) const;

    const PqPatience m_patience;
    pg_conn *m_connection = nullptr;
    const int m_interrupt;
};

} // namespace kvgateway
