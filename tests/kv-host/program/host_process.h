// SPDX-License-Identifier: MIT
// kv-host as a real program: started, watched, ended. Every wait has a bound.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>
#include <QVector>

#include <csignal>

class HostProcess
{
public:
    /// \param environment "NAME=value"
    explicit HostProcess(const QStringList &arguments, const QStringList &environment = {});
    ~HostProcess();

    /// Waits for its end. \return exit code; -1: it did not end, -2: it crashed
    int end(int ms = 20000);
    /// Waits until the text stands in what it has printed so far.
    bool prints(const QByteArray &text, int ms = 10000);
    /// Waits until it stands in its notes.
    bool notes(const QByteArray &text, int ms = 10000);
    /// Forgets what was printed so far.
    void forget();
    /// Waits until it has a handler of its own for the signal: before, the signal just ends it.
    bool catches(int signal, int ms = 10000);

    void kill(int signal) const { ::kill(pid_t(m_process.processId()), signal); }
    qint64 elapsed() const { return m_timer.elapsed(); }
    QByteArray out();
    QByteArray err();
    /// What the kernel says of the process: "VmRSS" gives "5976 kB".
    QByteArray status(const QByteArray &what) const { return statusLine("status", what); }
    /// How often its threads have gone to sleep.
    qint64 sleeps() const;
    QProcess &process() { return m_process; }

private:
    QByteArray statusLine(const QString &file, const QByteArray &what) const;

    QProcess m_process;
    QElapsedTimer m_timer;
    QByteArray m_out, m_err;
};

/// How a run of kv-host ended.
struct Ended {
    int code;
    QByteArray out, err;
};

Ended run(const QStringList &arguments, const QStringList &environment = {}, int ms = 20000);

/// The value lines of CSV output.
struct CsvRow {
    QByteArray time, name, value, quality, error;
    QByteArray outcome; ///< of a write
};

QVector<CsvRow> rowsOf(const QByteArray &csv);
