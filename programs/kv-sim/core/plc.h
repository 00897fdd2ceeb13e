// One simulated PLC: its memory, its mode, and what it answers to a command line.
//
// No sockets and no clock. Whether a link has been opened is kept per connection by the caller.
#pragma once

#include "command_parser.h"
#include "device_memory.h"
#include "scan_program.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

/// State of one connection.
struct Link {
    bool open = false;
    bool forgotten = false; // a fault closed it: only CR is served, also by PLCs that need no opening
};

class Plc
{
public:
    explicit Plc(const Rules &rules) : rules_(rules), memory_(rules.family) {}

    const Rules &rules() const { return rules_; }
    DeviceMemory &memory() { return memory_; }
    const DeviceMemory &memory() const { return memory_; }

    /// The answer to a parsed line, without CR LF.
    std::string execute(const Command &command, Refusal refused, Link &link);

    /// Parses and executes; what the faults do not touch.
    std::string answer(std::string_view line, Link &link);

    /// Values of a checked span, and a checked span written with checked values.
    std::string read(const Command &span) const;
    std::string write(const Command &span, const std::vector<std::uint32_t> &values);

    /// One scan of the small program; nothing in PROGRAM mode.
    void scan();

    bool running() const { return running_; }
    void setRunning(bool on) { running_ = on; }
    std::uint32_t error() const { return error_; }
    void setError(std::uint32_t number) { error_ = number; }

    /// Memory empty, RUN, no error.
    void reset();

private:
    std::string executeLink(const Command &command, Link &link);
    std::string executeDevice(const Command &command);
    std::string writeTexts(const Command &command);
    std::string switchRelays(const Command &command, bool on);
    std::string modelCode() const;
    std::string toMode(bool running);
    std::string clearError();

    Rules rules_;
    DeviceMemory memory_;
    ScanProgram program_;
    bool running_ = true;
    std::uint32_t error_ = 0;
};

} // namespace kvsim
