// One PLC with all around it: the lines it listens on, its clock, its files and its end.
#pragma once

#include "control_line.h"
#include "options.h"
#include "serial_line.h"
#include "tcp_line.h"
#include "udp_line.h"

#include <memory>
#include <vector>

/// A line on stdout. Hosts wait for these, so each goes out at once.
void say(const std::string &text);

class Program : public QObject
{
public:
    explicit Program(const Options &options);

    /// Faults, memory and lines.
    /// \return 0 when all of it stands, else the exit code; the message is out then
    int start();

    /// Says goodbye: memory saved, statistics shown.
    int end();

    /// To be called when there is a reason to end.
    static void quit();

private:
    int addFaults();
    int fillMemory();
    int openLines();
    int openTcp(const std::vector<Address> &addresses, Conversation::Speech speech, const char *name);
    int openUdp();
    int openSerial();
    int openControl();
    void setScan(std::uint32_t milliseconds);
    std::string save(const std::string &path);
    std::string load(const std::string &path);
    std::string listen(bool on);
    kvsim::ControlHooks hooks();

    Options options_;
    kvsim::Simulator simulator_;
    Trace trace_;
    Exchange exchange_;
    kvsim::ControlDesk desk_;
    QTimer scan_;
    std::vector<std::unique_ptr<TcpLine>> tcp_;
    std::vector<std::unique_ptr<UdpLine>> udp_;
    std::vector<std::unique_ptr<SerialLine>> serial_;
    std::vector<std::unique_ptr<ControlLine>> control_;
};
