// SPDX-License-Identifier: MIT
// The commands of the control connection: one line in, one line out, "ok ..." or "error: ...".
#pragma once

#include "plc/simulator.h"

#include <functional>
#include <string>
#include <string_view>

namespace kvsim
{

/// What the desk has others do. Those that return a text return what went wrong, or nothing.
struct ControlHooks {
    std::function<std::string(const std::string &path)> save; // path empty: the file of --save
    std::function<std::string(const std::string &path)> load;
    std::function<std::string(const std::string &path)> program; // path empty: the fixed program
    std::function<void(std::uint32_t milliseconds)> setScan;     // 0: no scans
    std::function<std::string(bool on)> listen;
    std::function<std::string(std::uint32_t stepMs)> restart;
    std::function<void()> disconnect;
    std::function<void()> stop;
};

class ControlDesk
{
public:
    ControlDesk(Simulator &simulator, ControlHooks hooks) : m_simulator(simulator), m_hooks(std::move(hooks))
    {
    }

    /// \return the answer without line end; it never holds one
    std::string run(std::string_view line);

private:
    struct Row;
    static const std::vector<Row> &rows();

    std::string dispatch(std::string_view line);
    std::string fault(std::string_view rest);
    std::string faults(std::string_view rest);
    std::string clear(std::string_view rest);
    std::string get(std::string_view rest);
    std::string set(std::string_view rest);
    std::string statistics(std::string_view rest);
    std::string save(std::string_view rest);
    std::string load(std::string_view rest);
    std::string reset(std::string_view rest);
    std::string program(std::string_view rest);
    std::string scan(std::string_view rest);
    std::string mode(std::string_view rest);
    std::string cpuError(std::string_view rest);
    std::string delay(std::string_view rest);
    std::string writeProtect(std::string_view rest);
    std::string cpuProgram(std::string_view rest);
    std::string listen(std::string_view rest);
    std::string restart(std::string_view rest);
    std::string disconnect(std::string_view rest);
    std::string stop(std::string_view rest);
    std::string help(std::string_view rest);

    Simulator &m_simulator;
    ControlHooks m_hooks;
};

} // namespace kvsim
