// SPDX-License-Identifier: MIT
// One PLC with its surroundings: the lines it listens on, its clock, its files and its end.
#pragma once

#include "desk/control_desk.h"
#include "shell/control_line.h"
#include "shell/options.h"
#include "shell/serial_line.h"
#include "shell/tcp_line.h"
#include "shell/udp_line.h"

#include <memory>
#include <vector>

namespace kvsim
{

/// Prints a line on stdout, flushed: hosts wait for these lines.
void say(const std::string &text);

/// Prints a message on stderr. \return the code
int fail(int code, const std::string &text);

class PlcUnit : public QObject
{
public:
    explicit PlcUnit(const Options &options);

    /// To be called before start().
    void recordTo(Recorder &recorder, int plc) { m_trace.recordTo(recorder, std::uint32_t(plc)); }
    void replay(const std::vector<RecordedEvent> &events, int plc);

    /// Faults, memory and lines.
    /// \return 0 when everything is open, else the exit code; the message has been printed then
    int start();

    /// Saves the memory and prints the statistics. \return the exit code
    int end();

    ControlDesk &desk() { return m_desk; }

    /// Ends the event loop.
    static void quit();

private:
    int addFaults();
    int loadProgram();
    int fillMemory();
    int openLines();
    int openTcp(const std::vector<Address> &addresses, Conversation::Speech speech, const char *name);
    int openUdp();
    int openSerial();
    int openControl();
    void setScan(std::uint32_t milliseconds);
    std::string save(const std::string &path);
    std::string load(const std::string &path);
    std::string program(const std::string &path);
    std::string listen(bool on);
    std::string restart(std::uint32_t stepMs);
    void nextRestartStep();
    ControlHooks hooks();

    Options m_options;
    Simulator m_simulator;
    Trace m_trace;
    LineContext m_context;
    ControlDesk m_desk;
    QTimer m_scan;
    QTimer m_restart;
    int m_restartStep = 0;
    std::vector<std::unique_ptr<TcpLine>> m_tcp;
    std::vector<std::unique_ptr<UdpLine>> m_udp;
    std::vector<std::unique_ptr<SerialLine>> m_serial;
    std::vector<std::unique_ptr<ControlLine>> m_control;
};

} // namespace kvsim
