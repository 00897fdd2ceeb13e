// SPDX-License-Identifier: MIT
#include "pq_link.h"

#include "first_line.h"

#include <QStringList>

#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

// What is set for each session. A row that the server has acknowledged is forgotten here, so
// it has to be on the server's disk. A server that lost us in silence shall not keep the
// session for hours.
constexpr char sessionSettings[] = R"(
SELECT pg_catalog.set_config('synchronous_commit', 'on', false)
    WHERE pg_catalog.current_setting('synchronous_commit') = 'off';
SET idle_in_transaction_session_timeout = '30s';
SET tcp_keepalives_idle = 60;
SET statement_timeout = )";

// What the library wants to know, by its own words.
class Parameters
{
public:
    explicit Parameters(const PostgresqlConfig &config)
    {
        // Always given: PGHOST may name another machine.
        add("host", config.host.isEmpty() ? config.socket : config.host);
        add("port", QString::number(config.port));
        add("dbname", config.database);
        add("user", config.user);
        if (!config.passwordFile.isEmpty())
            m_rows.emplace_back("password", firstLine(config.passwordFile));
        add("sslmode", QString::fromLatin1(sslModeName(config.sslMode)));
        add("sslrootcert", config.ca);
        add("sslcert", config.certificate);
        add("sslkey", config.key);
        add("application_name", QStringLiteral("kv-gateway"));
        add("client_encoding", QStringLiteral("UTF8"));
        // A stand-by server takes no rows.
        add("target_session_attrs", QStringLiteral("read-write"));
        // A cut line is noticed within half a minute.
        add("keepalives_idle", QStringLiteral("10"));
        add("keepalives_interval", QStringLiteral("5"));
        add("keepalives_count", QStringLiteral("3"));
        add("tcp_user_timeout", QStringLiteral("25000"));
    }

    pg_conn *start() const
    {
        std::vector<const char *> names, values;
        for (const auto &[name, value] : m_rows) {
            names.push_back(name);
            values.push_back(value.constData());
        }
        names.push_back(nullptr);
        values.push_back(nullptr);
        return PQconnectStartParams(names.data(), values.data(), 0);
    }

private:
    void add(const char *name, const QString &value)
    {
        if (!value.isEmpty())
            m_rows.emplace_back(name, value.toUtf8());
    }

    std::vector<std::pair<const char *, QByteArray>> m_rows;
};

// The indented lines are guesses of the library at what may be wrong.
QString oneLine(const char *text)
{
    QStringList lines = QString::fromUtf8(text).split('\n');
    lines.erase(
        std::remove_if(lines.begin(), lines.end(), [](const QString &line) { return line.startsWith('\t'); }),
        lines.end());
    return lines.join(' ').simplified();
}

bool isFailure(const pg_result *result)
{
    const ExecStatusType status = PQresultStatus(result);
    return status == PGRES_FATAL_ERROR || status == PGRES_BAD_RESPONSE || status == PGRES_NONFATAL_ERROR;
}

} // namespace

int PqRows::count() const
{
    return PQntuples(m_result.get());
}

QByteArray PqRows::text(int row, int column) const
{
    return {PQgetvalue(m_result.get(), row, column), PQgetlength(m_result.get(), row, column)};
}

void PqRows::clear(pg_result *result)
{
    PQclear(result);
}

PqLink::PqLink(PqPatience patience)
    : m_patience(patience), m_interrupt(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
}

PqLink::~PqLink()
{
    close();
    ::close(m_interrupt);
}

void PqLink::interrupt()
{
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_interrupt, &one, sizeof one);
}

void PqLink::close()
{
    PQfinish(m_connection);
    m_connection = nullptr;
}

bool PqLink::open(const PostgresqlConfig &config, PqProblem &problem)
{
    close();
    m_connection = Parameters(config).start();
    if (m_connection == nullptr || PQstatus(m_connection) == CONNECTION_BAD) {
        takeProblem(nullptr, problem);
        return false;
    }
    // The server's remarks are not for the standard error of a service.
    PQsetNoticeReceiver(
        m_connection, [](void * /*nothing*/, const pg_result * /*notice*/) {}, nullptr);
    if (!finishConnecting(problem))
        return false;
    PQsetnonblocking(m_connection, 1);
    // The server ends a statement a little before we give it up.
    const QByteArray longest = QByteArray::number(qint64(m_patience.answer.count()) * 5 / 6);
    return run(sessionSettings + longest, {}, problem).has_value();
}

bool PqLink::finishConnecting(PqProblem &problem) const
{
    const Deadline until = SteadyClock::now() + m_patience.connect;
    PostgresPollingStatusType status = PGRES_POLLING_WRITING;
    while (status == PGRES_POLLING_READING || status == PGRES_POLLING_WRITING) {
        if (!waitFor(status == PGRES_POLLING_READING ? POLLIN : POLLOUT, until, problem))
            return false;
        status = PQconnectPoll(m_connection);
    }
    if (status == PGRES_POLLING_OK)
        return true;
    takeProblem(nullptr, problem);
    return false;
}

bool PqLink::waitFor(short events, Deadline until, PqProblem &problem) const
{
    std::array<pollfd, 2> sockets{pollfd{PQsocket(m_connection), events, 0}, pollfd{m_interrupt, POLLIN, 0}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - SteadyClock::now());
    ::poll(sockets.data(), sockets.size(), int(std::max(0ms, left).count()));
    if (sockets[1].revents != 0)
        problem = {QStringLiteral("stopped"), {}};
    else if (sockets[0].revents == 0 && SteadyClock::now() >= until)
        problem = {QStringLiteral("the database does not answer"), {}};
    else
        return true;
    return false;
}

bool PqLink::flush(Deadline until, PqProblem &problem) const
{
    int left = PQflush(m_connection);
    while (left == 1) {
        // Also reading: a server that has something to say first may wait until it is heard.
        if (!waitFor(POLLIN | POLLOUT, until, problem))
            return false;
        if (PQconsumeInput(m_connection) == 0)
            break;
        left = PQflush(m_connection);
    }
    if (left == 0)
        return true;
    takeProblem(nullptr, problem);
    return false;
}

// \param result nullptr: that was all
bool PqLink::next(Deadline until, pg_result *&result, PqProblem &problem) const
{
    while (PQisBusy(m_connection) != 0) {
        if (!waitFor(POLLIN, until, problem))
            return false;
        if (PQconsumeInput(m_connection) == 0) {
            takeProblem(nullptr, problem);
            return false;
        }
    }
    result = PQgetResult(m_connection);
    return true;
}

// Of several statements the first one that failed says why.
std::optional<PqRows> PqLink::answers(PqProblem &problem) const
{
    const Deadline until = SteadyClock::now() + m_patience.answer;
    if (!flush(until, problem))
        return std::nullopt;
    std::optional<PqRows> last;
    bool hasFailed = false;
    pg_result *result = nullptr;
    while (next(until, result, problem)) {
        if (result == nullptr)
            return hasFailed ? std::nullopt : std::move(last);
        const ExecStatusType status = PQresultStatus(result);
        if (isFailure(result) && !hasFailed) {
            takeProblem(result, problem);
            hasFailed = true;
        }
        last.emplace(result);
        if (status == PGRES_COPY_IN)
            return hasFailed ? std::nullopt : std::move(last);
    }
    return std::nullopt;
}

void PqLink::takeProblem(const pg_result *result, PqProblem &problem) const
{
    const char *state = result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const bool isGone = m_connection == nullptr || PQstatus(m_connection) == CONNECTION_BAD;
    problem.state = state == nullptr || isGone ? QByteArray() : QByteArray(state);
    problem.constraint = result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_CONSTRAINT_NAME);
    problem.text = oneLine(result == nullptr ? PQerrorMessage(m_connection) : PQresultErrorMessage(result));
    if (problem.text.isEmpty())
        problem.text = QStringLiteral("the connection was lost");
}

std::optional<PqRows> PqLink::run(const QByteArray &sql, const std::vector<QByteArray> &parameters,
                                  PqProblem &problem)
{
    std::vector<const char *> values;
    values.reserve(parameters.size());
    for (const QByteArray &parameter : parameters)
        values.push_back(parameter.constData());
    const int isSent = parameters.empty()
                           ? PQsendQuery(m_connection, sql.constData())
                           : PQsendQueryParams(m_connection, sql.constData(), int(values.size()), nullptr,
                                               values.data(), nullptr, nullptr, 0);
    if (isSent != 0)
        return answers(problem);
    takeProblem(nullptr, problem);
    return std::nullopt;
}

bool PqLink::copy(const QByteArray &sql, const QByteArray &bytes, PqProblem &problem)
{
    if (!run(sql, {}, problem))
        return false;
    if (PQputCopyData(m_connection, bytes.constData(), int(bytes.size())) != 1 ||
        PQputCopyEnd(m_connection, nullptr) != 1) {
        takeProblem(nullptr, problem);
        return false;
    }
    return answers(problem).has_value();
}

bool PqLink::isAlive(PqProblem &problem)
{
    pollfd socket{PQsocket(m_connection), POLLIN, 0};
    if (::poll(&socket, 1, 0) == 0)
        return true;
    if (PQconsumeInput(m_connection) != 0 && PQstatus(m_connection) == CONNECTION_OK)
        return true;
    takeProblem(nullptr, problem);
    return false;
}

} // namespace kvgateway
