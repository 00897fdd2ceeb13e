// SPDX-License-Identifier: MIT
#include "simulator_child.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <unistd.h>

namespace kvhost
{

namespace
{

constexpr int startMs = 10000;
constexpr int endMs = 1000;
constexpr int killMs = 500;

// A process group of its own: Ctrl-C ends kv-host, which then ends the simulated PLC after its
// own last words.
#if QT_VERSION_MAJOR >= 6
std::unique_ptr<QProcess> makeProcess()
{
    auto process = std::make_unique<QProcess>();
    process->setChildProcessModifier([] { ::setpgid(0, 0); });
    return process;
}
#else
class OwnGroupProcess : public QProcess
{
protected:
    void setupChildProcess() override { ::setpgid(0, 0); }
};

std::unique_ptr<QProcess> makeProcess()
{
    return std::make_unique<OwnGroupProcess>();
}
#endif

// Collects stdout until the line "ready".
QByteArray readUntilReady(QProcess *process)
{
    QByteArray text;
    QElapsedTimer timer;
    timer.start();
    while (!text.contains("ready\n") && process->state() != QProcess::NotRunning &&
           timer.elapsed() < startMs) {
        process->waitForReadyRead(100);
        text += process->readAllStandardOutput();
    }
    return text;
}

} // namespace

SimulatorChild::SimulatorChild() = default;

SimulatorChild::~SimulatorChild()
{
    if (!m_process)
        return;
    m_process->closeWriteChannel();
    if (!m_process->waitForFinished(endMs)) {
        m_process->kill();
        m_process->waitForFinished(killMs);
    }
}

std::optional<QString> SimulatorChild::start(const QString &programFolder, QString &problem)
{
    const QString program = programFolder + "/kv-sim";
    if (!QFileInfo::exists(program)) {
        problem =
            QStringLiteral("--simulate: there is no kv-sim in %1. Build it, or use --plc").arg(programFolder);
        return std::nullopt;
    }
    m_process = makeProcess();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->start(program, {"--tcp", "127.0.0.1:0", "--scan", "100", "--exit-with-stdin"});
    const QString text = m_process->waitForStarted(startMs)
                             ? QString::fromLocal8Bit(readUntilReady(m_process.get()))
                             : QString();
    const QString begin = QStringLiteral("listening tcp ");
    const QString place = text.section(begin, 1, 1).section('\n', 0, 0);
    if (!place.contains(':') || !text.contains("ready")) {
        problem =
            QStringLiteral("--simulate: %1 did not get ready. Start it by hand to see why").arg(program);
        return std::nullopt;
    }
    return QStringLiteral("tcp://") + place;
}

} // namespace kvhost
