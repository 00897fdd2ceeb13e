// SPDX-License-Identifier: MIT
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <csignal>

SimulatedPlc::SimulatedPlc(const QStringList &options, const QString &serialPath)
    : m_options(options), m_serialPath(serialPath)
{
    if (!serialPath.isEmpty())
        m_options << QStringLiteral("--serial") << serialPath;
    start(0, 0, 0);
}

void SimulatedPlc::start(quint16 tcp, quint16 udp, quint16 control)
{
    const QString at = QStringLiteral("127.0.0.1:%1");
    m_process = std::make_unique<SimProcess>(QStringList{QStringLiteral("--tcp"), at.arg(tcp),
                                                         QStringLiteral("--udp"), at.arg(udp),
                                                         QStringLiteral("--control"), at.arg(control)} +
                                             m_options);
    EXPECT_TRUE(m_process->isReady()) << m_process->output() << m_process->errors();
    m_control = std::make_unique<Client>(m_process->port("control"));
}

QString SimulatedPlc::url(const QByteArray &kind) const
{
    if (kind == "serial")
        return QStringLiteral("serial://") + m_serialPath;
    return QStringLiteral("%1://127.0.0.1:%2")
        .arg(QString::fromLatin1(kind))
        .arg(m_process->port(kind.constData()));
}

std::string SimulatedPlc::tell(const std::string &command)
{
    return m_control->ask(command);
}

QByteArray SimulatedPlc::control(const QByteArray &command)
{
    const QByteArray answer = QByteArray::fromStdString(tell(command.toStdString()));
    EXPECT_TRUE(answer.startsWith("ok")) << command.toStdString() << ": " << answer.toStdString();
    return answer.mid(3);
}

void SimulatedPlc::stop()
{
    m_control->socket().abort();
    m_process->sendSignal(SIGKILL);
    m_process->exitCode();
}

void SimulatedPlc::startAgain()
{
    start(m_process->port("tcp"), m_process->port("udp"), m_process->port("control"));
}
