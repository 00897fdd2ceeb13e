// SPDX-License-Identifier: MIT
#include "host_process.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace
{

constexpr int stepMs = 20;

QProcessEnvironment environmentWith(const QStringList &more)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", "/nonexistent"); // nobody's defaults
    environment.remove("KV_PLC");
    for (const QString &one : more)
        environment.insert(one.section('=', 0, 0), one.section('=', 1));
    return environment;
}

} // namespace

HostProcess::HostProcess(const QStringList &arguments, const QStringList &environment)
{
    m_process.setProcessEnvironment(environmentWith(environment));
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.start(KV_HOST_PATH, arguments);
    m_timer.start();
}

HostProcess::~HostProcess()
{
    if (m_process.state() != QProcess::NotRunning)
        m_process.kill();
    m_process.waitForFinished(1000);
}

int HostProcess::end(int ms)
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(ms))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -2;
}

bool HostProcess::prints(const QByteArray &text, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (!out().contains(text) && timer.elapsed() < ms && m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(stepMs);
    return out().contains(text);
}

bool HostProcess::notes(const QByteArray &text, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (!err().contains(text) && timer.elapsed() < ms && m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(stepMs);
    return err().contains(text);
}

void HostProcess::forget()
{
    out();
    m_out.clear();
}

bool HostProcess::catches(int signal, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (!(status("SigCgt").toULongLong(nullptr, 16) >> (signal - 1) & 1)) {
        if (timer.elapsed() > ms || end(5) != -1)
            return false;
    }
    return true;
}

QByteArray HostProcess::out()
{
    m_out += m_process.readAllStandardOutput();
    return m_out;
}

QByteArray HostProcess::err()
{
    m_err += m_process.readAllStandardError();
    return m_err;
}

qint64 HostProcess::sleeps() const
{
    qint64 sum = 0;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(m_process.processId()));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        sum += statusLine("task/" + task + "/status", "voluntary_ctxt_switches").toLongLong();
    return sum;
}

QByteArray HostProcess::statusLine(const QString &file, const QByteArray &what) const
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

Ended run(const QStringList &arguments, const QStringList &environment, int ms)
{
    HostProcess host(arguments, environment);
    const int code = host.end(ms);
    return {code, host.out(), host.err()};
}

QVector<CsvRow> rowsOf(const QByteArray &csv)
{
    QVector<CsvRow> rows;
    for (const QByteArray &line : csv.split('\n')) {
        const QList<QByteArray> fields = line.split(',');
        if (fields.size() >= 6 && fields[0] != "time")
            rows << CsvRow{fields[0], fields[1], fields[2], fields[4], fields[5], fields.value(6)};
    }
    return rows;
}
