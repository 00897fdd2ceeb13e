// SPDX-License-Identifier: MIT
// One simulated PLC: its memory, its mode, and what it answers to a command line.
//
// No sockets and no clock. The caller keeps, for each connection, whether its link has been opened.
#pragma once

#include "devices/device_memory.h"
#include "requests/command.h"
#include "scan/fixed_program.h"
#include "scan/table_program.h"

#include <optional>
#include <string>
#include <vector>

namespace kvsim
{

/// The state of one connection.
struct Link {
    bool open = false;
    bool forgotten = false;  // a fault closed it: only CR is served, also by PLCs that need no opening
    std::uint32_t start = 0; // of the PLC, at which it was opened
};

class Plc
{
public:
    explicit Plc(const Rules &rules) : m_rules(rules), m_memory(rules.family) {}

    const Rules &rules() const { return m_rules; }
    DeviceMemory &memory() { return m_memory; }
    const DeviceMemory &memory() const { return m_memory; }

    /// Carries out a command that parseCommand() took apart. \return the answer without CR LF
    std::string execute(const Command &command, Link &link);

    /// The values of a checked span.
    std::string read(const Command &span) const;
    /// Writes checked values to a checked span. \return the answer
    std::string write(const Command &span, const std::vector<std::uint32_t> &values);

    /// Runs these rows instead of the small fixed program. None: the fixed one again.
    void setProgram(const std::vector<ProgramRow> &rows);
    bool hasProgram() const { return m_table.has_value(); }

    /// One scan of the program; nothing in PROGRAM mode.
    void scan();

    bool running() const { return m_running; }
    void setRunning(bool on) { m_running = on; }
    std::uint32_t error() const { return m_error; }
    void setError(std::uint32_t number) { m_error = number; }
    void setWriteProtected(bool on) { m_writeProtected = on; }
    bool isWriteProtected() const { return m_writeProtected; }
    /// A CPU without a program cannot go to RUN.
    void setProgramMissing(bool missing);

    /// Memory empty, RUN, no error; the program starts again.
    void reset();

private:
    std::string executeLink(const Command &command, Link &link);
    std::string executeDevice(const Command &command);
    std::string writeTexts(const Command &command);
    std::string switchRelays(const Command &command, bool on);
    std::string modelCode() const;
    std::string switchMode(bool running);
    std::string clearError();

    Rules m_rules;
    DeviceMemory m_memory;
    FixedProgram m_fixed;
    std::optional<TableProgram> m_table;
    bool m_running = true;
    std::uint32_t m_error = 0;
    bool m_writeProtected = false;
    bool m_programMissing = false;
};

} // namespace kvsim
