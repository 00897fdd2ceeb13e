// SPDX-License-Identifier: MIT
// kv-sim as the PLC of a host's test: TCP, UDP, perhaps a pseudo-terminal, and a control
// connection, on free ports.
//
//   SimulatedPlc plc;
//   kvlink::Plc link(plc.url());
//   plc.control("set DM100=5");
//   EXPECT_EQ(plc.control("get DM100"), "00005");
//   plc.stop(); plc.startAgain();              // the same ports
#pragma once

#include "sim_process.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <string>

class SimulatedPlc
{
public:
    /// \param serialPath where its pseudo-terminal appears; empty: it has none
    explicit SimulatedPlc(const QStringList &options = {}, const QString &serialPath = {});

    /// \param kind "tcp", "udp" or "serial"
    QString url(const QByteArray &kind = "tcp") const;

    /// One command over the control connection. \return the whole answer: "ok 00005"
    std::string tell(const std::string &command);
    /// The same for a command that must succeed. \return the answer without "ok "
    QByteArray control(const QByteArray &command);

    void sendSignal(int signal) { m_process->sendSignal(signal); }
    /// As if the power failed.
    void stop();
    void startAgain();

private:
    void start(quint16 tcp, quint16 udp, quint16 control);

    QStringList m_options;
    QString m_serialPath;
    std::unique_ptr<SimProcess> m_process;
    std::unique_ptr<Client> m_control;
};
