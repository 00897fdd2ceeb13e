// SPDX-License-Identifier: MIT
// Debian's PostgreSQL with a data folder of its own, on a free port and a Unix socket. The server
// refuses to run as root: a test that does starts it as nobody.
#pragma once

#include "broker.h"

#include "config/postgresql_config.h"

#include <libpq-fe.h>

#include <sys/stat.h>

namespace kvgateway
{

/// Stops with its test, and comes back on the same port.
class Cluster
{
public:
    Cluster()
    {
        QTcpServer free;
        free.listen(QHostAddress::LocalHost);
        m_port = free.serverPort();
        own(m_folder.path());
        run("initdb",
            {"-D", data(), "-U", "postgres", "-A", "trust", "-E", "UTF8", "--no-locale", "--no-sync"});
        // The tests have superusers without a password; "locked" needs one.
        writeFile("data/pg_hba.conf", "host all locked 127.0.0.1/32 scram-sha-256\n"
                                      "host all all 127.0.0.1/32 trust\nlocal all all trust\n");
    }
    ~Cluster() { end(SIGQUIT); } // it waits for its children, and for nothing else
    Cluster(const Cluster &) = delete;
    Cluster &operator=(const Cluster &) = delete;

    quint16 port() const { return m_port; }
    QString path(const char *name) const { return m_folder.filePath(name); }
    /// What an outlet needs to find it, over TCP.
    PostgresqlConfig config() const
    {
        PostgresqlConfig config;
        config.host = "127.0.0.1";
        config.port = m_port;
        config.database = "postgres";
        config.user = "postgres";
        config.site = "s";
        return config;
    }
    void writeFile(const char *name, const QByteArray &text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        file.close();
        own(path(name));
        ASSERT_EQ(::chmod(qPrintable(path(name)), 0600), 0);
    }
    /// A file that something else has made in the folder, for the server alone.
    void own(const QString &path) const
    {
        if (::geteuid() == 0) {
            ASSERT_EQ(::chown(qPrintable(path), nobody, nobody), 0);
        }
    }

    /// \param more of the server's settings: "ssl=on"
    void start(const QStringList &more = {})
    {
        QStringList arguments{"-D", data(), "-p", QString::number(m_port), "-k", m_folder.path()};
        for (const QString &setting : QStringList{"listen_addresses=127.0.0.1", "fsync=off"} + more)
            arguments << "-c" << setting;
        // After a kill the last of its children may still hold what the new one needs.
        ASSERT_TRUE(within(20'000, [&] {
            if (m_process.state() == QProcess::NotRunning)
                start("postgres", arguments, m_process);
            m_process.waitForFinished(50);
            return isUp();
        })) << "PostgreSQL is missing: scripts/packages.sh test";
    }
    bool isUp() const { return PQping(qPrintable(parameters())) == PQPING_OK; }
    /// Connections are ended, everything is written.
    void stop() { end(SIGINT); }
    void kill() { end(SIGKILL); }
    /// Each client has a process of its own.
    void freeze()
    {
        const QString all = sql("SELECT pid FROM pg_stat_activity WHERE backend_type = 'client backend' "
                                "AND pid <> pg_backend_pid()");
        m_frozen << QString::number(m_process.processId()) << all.split('\n', Qt::SkipEmptyParts);
        for (const QString &pid : m_frozen)
            ::kill(pid_t(pid.toInt()), SIGSTOP);
    }
    void thaw()
    {
        for (const QString &pid : m_frozen)
            ::kill(pid_t(pid.toInt()), SIGCONT);
        m_frozen.clear();
    }

    /// A line for each row, '|' between columns; of a failure its text.
    QString sql(const QByteArray &statement) const
    {
        PGconn *connection = PQconnectdb(qPrintable(parameters()));
        PGresult *result = PQexec(connection, statement.constData());
        QString text = QString::fromUtf8(PQresultErrorMessage(result));
        for (int row = 0; row < PQntuples(result); ++row) {
            for (int column = 0; column < PQnfields(result); ++column)
                text += (column > 0 ? "|" : "") + QString::fromUtf8(PQgetvalue(result, row, column));
            text += '\n';
        }
        PQclear(result);
        PQfinish(connection);
        return text;
    }

private:
    static constexpr uid_t nobody = 65534;

    QString data() const { return path("data"); }
    QString parameters() const
    {
        return QStringLiteral("host=%1 port=%2 user=postgres dbname=postgres "
                              "options='-c client_min_messages=warning'")
            .arg(m_folder.path())
            .arg(m_port);
    }
    // It goes with us, however we end.
    void start(const char *program, const QStringList &arguments, QProcess &process) const
    {
        QStringList all{"--pdeathsig", "KILL"};
        if (::geteuid() == 0)
            all << "--reuid" << QString::number(nobody) << "--regid" << QString::number(nobody)
                << "--clear-groups";
        all << QStringLiteral(KV_POSTGRESQL "/") + program << arguments;
        process.setWorkingDirectory(m_folder.path());
        process.setStandardOutputFile(path("log"), QIODevice::Append);
        process.setStandardErrorFile(path("log"), QIODevice::Append);
        process.start("setpriv", all);
    }
    void run(const char *program, const QStringList &arguments) const
    {
        QProcess process;
        start(program, arguments, process);
        process.waitForFinished();
        QFile log(path("log"));
        log.open(QIODevice::ReadOnly);
        EXPECT_EQ(process.exitCode(), 0) << log.readAll().toStdString();
    }
    void end(int signal)
    {
        thaw();
        if (m_process.state() != QProcess::NotRunning)
            ::kill(pid_t(m_process.processId()), signal);
        m_process.waitForFinished();
    }

    QTemporaryDir m_folder;
    quint16 m_port = 0;
    QProcess m_process;
    QStringList m_frozen;
};

} // namespace kvgateway
