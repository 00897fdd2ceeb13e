// SPDX-License-Identifier: MIT
// kv-sim as the PLC of a test: a process with a free port, and its control connection.
//
//   SimPlc plc;
//   kvlink::Plc link(plc.url());
//   plc.tell("set DM100=5");                   // "ok"
//   EXPECT_EQ(plc.tell("get DM100"), "ok 00005");
//   plc.stop(); plc.startAgain();              // the same port
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTcpSocket>

#include <stdexcept>
#include <string>

namespace kvlink
{

class SimPlc
{
public:
    explicit SimPlc(const QStringList &options = {}) : m_options(options) { start(0, 0); }
    ~SimPlc() { stop(); }
    SimPlc(const SimPlc &) = delete;
    SimPlc &operator=(const SimPlc &) = delete;

    QString url() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(m_port); }

    /// One command over the control connection, and its answer.
    std::string tell(const std::string &command)
    {
        m_control.write(QByteArray::fromStdString(command + "\n"));
        while (!m_control.canReadLine()) {
            if (!m_control.waitForReadyRead(patience))
                return "no answer from kv-sim";
        }
        return m_control.readLine().trimmed().toStdString();
    }

    void stop()
    {
        m_control.abort();
        m_process.kill();
        m_process.waitForFinished(patience);
    }
    void startAgain() { start(m_port, m_controlPort); }

private:
    static constexpr int patience = 10000; // ms

    void start(int port, int controlPort)
    {
        const QString at = QStringLiteral("127.0.0.1:%1");
        m_process.start(QStringLiteral(KV_SIM_PATH),
                        QStringList{QStringLiteral("--tcp"), at.arg(port), QStringLiteral("--control"),
                                    at.arg(controlPort), QStringLiteral("--exit-with-stdin")} +
                            m_options);
        m_port = portOf("listening tcp ");
        m_controlPort = portOf("listening control ");
        m_control.connectToHost(QStringLiteral("127.0.0.1"), quint16(m_controlPort));
        if (!m_control.waitForConnected(patience))
            throw std::runtime_error("kv-sim did not start");
    }

    int portOf(const char *beginning)
    {
        while (m_process.canReadLine() || m_process.waitForReadyRead(patience)) {
            const QByteArray line = m_process.readLine().trimmed();
            if (line.startsWith(beginning))
                return line.mid(line.lastIndexOf(':') + 1).toInt();
        }
        return 0;
    }

    const QStringList m_options;
    QProcess m_process;
    QTcpSocket m_control;
    int m_port = 0;
    int m_controlPort = 0;
};

} // namespace kvlink
