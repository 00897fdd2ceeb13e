// SPDX-License-Identifier: MIT
// The commands of the control connection.
#include "desk/control_desk.h"

#include "requests/assignment.h"
#include "text/digits.h"
#include "text/words.h"

#include <algorithm>
#include <cstdint>

namespace kvsim
{
namespace
{

constexpr char deleteCharacter = 0x7F;
constexpr std::uint32_t restartStepMs = 1000;
constexpr std::uint32_t longestRestartStepMs = 3'600'000;
constexpr std::uint32_t longestScanMs = 3'600'000;
constexpr std::uint32_t largestCpuError = 999;
constexpr std::uint32_t largestId = 2'147'483'647;

std::string ok(const std::string &text = {})
{
    return text.empty() ? "ok" : "ok " + text;
}

std::string error(const std::string &text)
{
    return "error: " + text;
}

std::string okOrError(const std::string &wrong)
{
    return wrong.empty() ? ok() : error(wrong);
}

std::string oneLine(std::string text)
{
    for (char &c : text) {
        if (c == '\n' || c == '\r')
            c = ' ';
        else if (std::uint8_t(c) < ' ' || c == deleteCharacter)
            c = '?';
    }
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

} // namespace

struct ControlDesk::Row {
    std::string_view word;
    std::string (ControlDesk::*run)(std::string_view rest);
    const char *usage;
};

const std::vector<ControlDesk::Row> &ControlDesk::rows()
{
    // clang-format off
    static const std::vector<Row> table{
        { "fault",      &ControlDesk::fault,      "fault FAULT" },
        { "faults",     &ControlDesk::faults,     "faults" },
        { "clear",      &ControlDesk::clear,      "clear [ID]" },
        { "get",        &ControlDesk::get,        "get DEVICE [COUNT]" },
        { "set",        &ControlDesk::set,        "set DEVICE=VALUE[,VALUE...]" },
        { "statistics", &ControlDesk::statistics, "statistics" },
        { "save",       &ControlDesk::save,       "save [FILE]" },
        { "load",       &ControlDesk::load,       "load FILE" },
        { "reset",      &ControlDesk::reset,      "reset [memory|statistics|faults|all]" },
        { "program",    &ControlDesk::program,    "program FILE|none" },
        { "scan",       &ControlDesk::scan,       "scan MS" },
        { "mode",       &ControlDesk::mode,       "mode run|program" },
        { "cpu-error",  &ControlDesk::cpuError,   "cpu-error N" },
        { "delay",      &ControlDesk::delay,      "delay DELAY" },
        { "write-protect", &ControlDesk::writeProtect, "write-protect on|off" },
        { "cpu-program", &ControlDesk::cpuProgram, "cpu-program present|missing" },
        { "restart",    &ControlDesk::restart,    "restart [MS]" },
        { "listen",     &ControlDesk::listen,     "listen on|off" },
        { "disconnect", &ControlDesk::disconnect, "disconnect" },
        { "stop",       &ControlDesk::stop,       "stop" },
        { "help",       &ControlDesk::help,       "help" },
    };
    // clang-format on
    return table;
}

std::string ControlDesk::run(std::string_view line)
{
    return oneLine(dispatch(trimmed(line)));
}

std::string ControlDesk::dispatch(std::string_view line)
{
    const std::size_t space = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, space);
    for (const Row &row : rows())
        if (word == row.word)
            return (this->*row.run)(trimmed(line.substr(space)));
    return error("no command is called " + inQuotes(word) + "; 'help' lists them");
}

std::string ControlDesk::fault(std::string_view rest)
{
    std::string problem;
    const FaultPlan::Entry *added = m_simulator.faults().add(rest, problem);
    return added ? ok(std::to_string(added->id) + " " + added->fault.text()) : error(problem);
}

std::string ControlDesk::faults(std::string_view)
{
    std::string text;
    for (const auto &[id, fault] : m_simulator.faults().entries()) {
        text += (text.empty() ? "" : "; ") + std::to_string(id) + " " + fault.text() + ", done " +
                std::to_string(fault.done()) + (fault.hasExpired() ? ", expired" : "");
    }
    return ok(text.empty() ? "none" : text);
}

std::string ControlDesk::clear(std::string_view rest)
{
    if (rest.empty()) {
        m_simulator.faults().clear();
        return ok();
    }
    const auto id = numberWithin(rest, 1, largestId);
    if (!id || !m_simulator.faults().remove(int(*id)))
        return error("no fault has the number " + inQuotes(rest) + "; 'faults' lists them");
    return ok();
}

std::string ControlDesk::get(std::string_view rest)
{
    const auto words = wordsOf(rest);
    const auto count = words.size() == 2 ? decimal(words[1]) : std::optional<std::uint32_t>(1);
    if (!count || words.size() > 2)
        return error("expected get DEVICE [COUNT]");
    const Plc &plc = m_simulator.plc();
    std::string problem;
    const auto span = locate(words.empty() ? rest : words[0], *count, plc.rules(), problem);
    return span ? ok(plc.read(*span)) : error(problem);
}

std::string ControlDesk::set(std::string_view rest)
{
    return okOrError(assign(rest, m_simulator.plc().rules(), m_simulator.plc().memory()));
}

std::string ControlDesk::statistics(std::string_view)
{
    return ok(m_simulator.statisticsText());
}

std::string ControlDesk::save(std::string_view rest)
{
    return okOrError(m_hooks.save(std::string(rest)));
}

std::string ControlDesk::load(std::string_view rest)
{
    return rest.empty() ? error("expected load FILE") : okOrError(m_hooks.load(std::string(rest)));
}

std::string ControlDesk::reset(std::string_view rest)
{
    const bool all = rest.empty() || rest == "all";
    if (!all && rest != "memory" && rest != "statistics" && rest != "faults")
        return error("expected reset [memory|statistics|faults|all]");
    if (all || rest == "memory")
        m_simulator.plc().reset();
    if (all || rest == "faults")
        m_simulator.faults().clear();
    if (all || rest == "statistics") {
        m_simulator.statistics().reset();
        m_simulator.faults().resetCounts();
    }
    return ok();
}

std::string ControlDesk::program(std::string_view rest)
{
    if (rest.empty())
        return error("expected program FILE, or program none for the fixed one");
    return okOrError(m_hooks.program(rest == "none" ? std::string() : std::string(rest)));
}

std::string ControlDesk::scan(std::string_view rest)
{
    const auto milliseconds = numberWithin(rest, 0, longestScanMs);
    if (!milliseconds)
        return error("expected scan MS, MS from 0 (no scans) to " + std::to_string(longestScanMs));
    m_hooks.setScan(std::uint32_t(*milliseconds));
    return ok();
}

std::string ControlDesk::mode(std::string_view rest)
{
    if (rest != "run" && rest != "program")
        return error("expected mode run|program");
    m_simulator.plc().setRunning(rest == "run");
    return ok();
}

std::string ControlDesk::cpuError(std::string_view rest)
{
    const auto number = numberWithin(rest, 0, largestCpuError);
    if (!number)
        return error("expected cpu-error N, N from 0 to " + std::to_string(largestCpuError));
    m_simulator.plc().setError(std::uint32_t(*number));
    return ok();
}

std::string ControlDesk::delay(std::string_view rest)
{
    std::string problem;
    const auto settings = delayFromText(rest, problem);
    if (!settings)
        return error(problem);
    m_simulator.setDelay(*settings);
    return ok(settings->seed ? "seed " + std::to_string(*settings->seed) : std::string());
}

std::string ControlDesk::writeProtect(std::string_view rest)
{
    if (rest != "on" && rest != "off")
        return error("expected write-protect on|off");
    m_simulator.plc().setWriteProtected(rest == "on");
    return ok();
}

std::string ControlDesk::cpuProgram(std::string_view rest)
{
    if (rest != "present" && rest != "missing")
        return error("expected cpu-program present|missing");
    m_simulator.plc().setProgramMissing(rest == "missing");
    return ok();
}

std::string ControlDesk::restart(std::string_view rest)
{
    const auto stepMs = rest.empty() ? std::optional<std::uint64_t>(restartStepMs)
                                     : numberWithin(rest, 1, longestRestartStepMs);
    if (!stepMs)
        return error("expected restart [MS], MS from 1 to " + std::to_string(longestRestartStepMs));
    return okOrError(m_hooks.restart(std::uint32_t(*stepMs)));
}

std::string ControlDesk::listen(std::string_view rest)
{
    if (rest != "on" && rest != "off")
        return error("expected listen on|off");
    return okOrError(m_hooks.listen(rest == "on"));
}

std::string ControlDesk::disconnect(std::string_view)
{
    m_hooks.disconnect();
    return ok();
}

std::string ControlDesk::stop(std::string_view)
{
    m_hooks.stop();
    return ok();
}

std::string ControlDesk::help(std::string_view)
{
    std::string text;
    for (const Row &row : rows())
        text += (text.empty() ? "" : "; ") + std::string(row.usage);
    return ok(text);
}

} // namespace kvsim
