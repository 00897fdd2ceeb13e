// SPDX-License-Identifier: MIT
// A simulated PLC with TCP, UDP, perhaps a pseudo-terminal, and a control connection.
#pragma once

#include "sim_process.h"

#include <gtest/gtest.h>

class SimulatedPlc
{
public:
    explicit SimulatedPlc(const QStringList &more = {}, const QString &serialPath = {})
        : m_serialPath(serialPath), m_simulator(arguments(serialPath) + more),
          m_control(m_simulator.port("control"))
    {
        EXPECT_TRUE(m_simulator.isReady()) << m_simulator.output() << m_simulator.errors();
    }

    /// \param kind "tcp", "udp" or "serial"
    QString url(const QByteArray &kind = "tcp") const
    {
        if (kind == "serial")
            return QStringLiteral("serial://") + m_serialPath;
        return QStringLiteral("%1://127.0.0.1:%2")
            .arg(QString::fromLatin1(kind))
            .arg(m_simulator.port(kind.constData()));
    }

    /// One command on the control connection; its answer without "ok ".
    QByteArray control(const QByteArray &command)
    {
        const QByteArray answer = QByteArray::fromStdString(m_control.ask(command.toStdString()));
        EXPECT_TRUE(answer.startsWith("ok")) << command.toStdString() << ": " << answer.toStdString();
        return answer.mid(3);
    }

    void sendSignal(int signal) const { m_simulator.sendSignal(signal); }

private:
    static QStringList arguments(const QString &serialPath)
    {
        QStringList all = {"--tcp", "127.0.0.1:0", "--udp", "127.0.0.1:0", "--control", "127.0.0.1:0"};
        if (!serialPath.isEmpty())
            all << "--serial" << serialPath;
        return all;
    }

    QString m_serialPath;
    SimProcess m_simulator;
    Client m_control;
};
