// A test bench: the simulated PLC and kv-host as real programs, on free ports.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStringList>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>

/// A kv-sim of the test's own; it ends with the object.
class SimulatorProcess
{
public:
    /// \return what it told until it was ready: its ports
    QByteArray start(const QStringList &arguments)
    {
        m_process.start(KV_SIM_PATH, arguments + QStringList{"--exit-with-stdin"});
        QByteArray text;
        QElapsedTimer timer;
        timer.start();
        while (!text.contains("\nready\n") && timer.elapsed() < 10000 && m_process.waitForReadyRead(10000))
            text += m_process.readAllStandardOutput();
        EXPECT_TRUE(text.contains("ready")) << text.toStdString();
        return text;
    }

    ~SimulatorProcess()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }

private:
    QProcess m_process;
};

/// The simulated PLC with TCP, UDP, a pseudo-terminal and a control connection.
class SimulatedPlc
{
public:
    explicit SimulatedPlc(const QStringList &more = {}, const QString &serialPath = {})
    {
        QStringList arguments = {"--tcp", "127.0.0.1:0", "--udp", "127.0.0.1:0", "--control", "127.0.0.1:0"};
        if (!serialPath.isEmpty())
            arguments << "--serial" << serialPath;
        for (const QByteArray &line : m_simulator.start(arguments + more).split('\n')) {
            const QList<QByteArray> words = line.split(' ');
            if (words.size() == 3 && words[0] == "listening")
                m_places[words[1]] = words[2];
        }
    }

    QString url(const QByteArray &kind = "tcp") const
    {
        return kind == "serial" ? "serial://" + m_places[kind]
                                : QString::fromLatin1(kind + "://" + m_places[kind]);
    }

    /// One command on the control connection; its answer without "ok ".
    QByteArray control(const QByteArray &command)
    {
        if (m_control.state() != QAbstractSocket::ConnectedState) {
            const QList<QByteArray> place = m_places["control"].split(':');
            m_control.connectToHost(QString::fromLatin1(place[0]), place[1].toUShort());
            EXPECT_TRUE(m_control.waitForConnected(5000));
        }
        m_control.write(command + "\n");
        while (!m_control.canReadLine() && m_control.waitForReadyRead(5000))
            ;
        const QByteArray answer = m_control.readLine().trimmed();
        EXPECT_TRUE(answer.startsWith("ok")) << command.toStdString() << ": " << answer.toStdString();
        return answer.mid(3);
    }

private:
    SimulatorProcess m_simulator;
    QMap<QByteArray, QByteArray> m_places;
    QTcpSocket m_control;
};

/// kv-host running.
class Host
{
public:
    explicit Host(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_CONFIG_HOME", "/nonexistent"); // nobody's defaults
        m_process.setProcessEnvironment(environment);
        m_process.setStandardInputFile(QProcess::nullDevice());
        m_process.start(KV_HOST_PATH, arguments);
        m_timer.start();
    }

    ~Host()
    {
        if (m_process.state() != QProcess::NotRunning)
            m_process.kill();
        m_process.waitForFinished(1000);
    }

    /// Waits for its end. \return exit code; -1: it did not end, -2: it crashed
    int end(int ms = 20000)
    {
        if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(ms))
            return -1;
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -2;
    }

    /// Waits until the text stands in what it has printed so far.
    bool prints(const QByteArray &text, int ms = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!take().contains(text) && timer.elapsed() < ms && m_process.state() != QProcess::NotRunning)
            m_process.waitForReadyRead(20);
        return take().contains(text);
    }

    /// Forgets what was printed so far.
    void forget()
    {
        take();
        m_out.clear();
    }

    /// Waits until it has a handler of its own for the signal: before, the signal just ends it.
    bool catches(int signal, int ms = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!(caughtSignals() >> (signal - 1) & 1)) {
            if (timer.elapsed() > ms || end(5) != -1)
                return false;
        }
        return true;
    }

    void kill(int signal) { ::kill(pid_t(m_process.processId()), signal); }
    qint64 elapsed() const { return m_timer.elapsed(); }
    QByteArray out() { return take(); }
    QByteArray err()
    {
        m_err += m_process.readAllStandardError();
        return m_err;
    }

    /// What the kernel tells of the process: "VmRSS" gives "5976 kB".
    QByteArray status(const QByteArray &what) const { return statusLine("status", what); }

    /// How often its threads have gone to sleep.
    qint64 sleeps() const
    {
        qint64 sum = 0;
        const QDir tasks(QStringLiteral("/proc/%1/task").arg(m_process.processId()));
        for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            sum += statusLine("task/" + task + "/status", "voluntary_ctxt_switches").toLongLong();
        return sum;
    }

private:
    QByteArray statusLine(const QString &file, const QByteArray &what) const
    {
        QFile status(QStringLiteral("/proc/%1/%2").arg(m_process.processId()).arg(file));
        if (!status.open(QIODevice::ReadOnly))
            return {};
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith(what + ":"))
                return line.mid(what.size() + 1).trimmed();
        }
        return {};
    }

    /// A bit for each, as the kernel tells it.
    quint64 caughtSignals() const { return status("SigCgt").toULongLong(nullptr, 16); }

    const QByteArray &take()
    {
        m_out += m_process.readAllStandardOutput();
        return m_out;
    }

    QProcess m_process;
    QElapsedTimer m_timer;
    QByteArray m_out, m_err;
};

/// Runs kv-host to its end.
struct Ended {
    int code;
    QByteArray out, err;
};

inline Ended run(const QStringList &arguments, int ms = 20000)
{
    Host host(arguments);
    const int code = host.end(ms);
    return {code, host.out(), host.err()};
}

/// The value lines of CSV output: name, value, quality.
struct Told {
    QByteArray name, value, quality;
};

inline QVector<Told> toldIn(const QByteArray &csv)
{
    QVector<Told> all;
    for (const QByteArray &line : csv.split('\n')) {
        const QList<QByteArray> fields = line.split(',');
        if (fields.size() >= 6 && fields[0] != "time")
            all << Told{fields[1], fields[2], fields[4]};
    }
    return all;
}
