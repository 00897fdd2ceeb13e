#include "control_desk.h"

#include "assignment.h"
#include "digits.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::uint32_t longestScanMs = 3'600'000;

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
    for (char &c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\r'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\r'))
        text.remove_suffix(1);
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
        { "scan",       &ControlDesk::scan,       "scan MS" },
        { "mode",       &ControlDesk::mode,       "mode run|program" },
        { "cpu-error",  &ControlDesk::cpuError,   "cpu-error N" },
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
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, blank);
    for (const Row &row : rows())
        if (word == row.word)
            return (this->*row.run)(trimmed(line.substr(blank)));
    return error("no command is called '" + std::string(word) + "'; 'help' lists them");
}

std::string ControlDesk::fault(std::string_view rest)
{
    int id = 0;
    const std::string wrong = simulator_.faults().add(rest, id);
    if (!wrong.empty())
        return error(wrong);
    return ok(std::to_string(id) + " " + simulator_.faults().entries().back().fault.text());
}

std::string ControlDesk::faults(std::string_view)
{
    std::string text;
    for (const auto &[id, fault] : simulator_.faults().entries()) {
        text += (text.empty() ? "" : "; ") + std::to_string(id) + " " + fault.text() + ", done " +
                std::to_string(fault.done()) + (fault.wornOff() ? ", worn off" : "");
    }
    return ok(text.empty() ? "none" : text);
}

std::string ControlDesk::clear(std::string_view rest)
{
    std::uint32_t id = 0;
    if (rest.empty()) {
        simulator_.faults().clear();
        return ok();
    }
    if (!decimal(rest, id) || !simulator_.faults().remove(static_cast<int>(id)))
        return error("no fault has the number '" + std::string(rest) + "'; 'faults' lists them");
    return ok();
}

std::string ControlDesk::get(std::string_view rest)
{
    const std::size_t blank = std::min(rest.find(' '), rest.size());
    std::uint32_t count = 1;
    if (blank < rest.size() && !decimal(trimmed(rest.substr(blank)), count))
        return error("wanted get DEVICE [COUNT]");
    const Plc &plc = simulator_.plc();
    Command span;
    const std::string wrong = locate(rest.substr(0, blank), count, plc.rules(), span);
    return wrong.empty() ? ok(plc.read(span)) : error(wrong);
}

std::string ControlDesk::set(std::string_view rest)
{
    return okOrError(assign(rest, simulator_.plc().rules(), simulator_.plc().memory()));
}

std::string ControlDesk::statistics(std::string_view)
{
    return ok(simulator_.statisticsText());
}

std::string ControlDesk::save(std::string_view rest)
{
    return okOrError(hooks_.save(std::string(rest)));
}

std::string ControlDesk::load(std::string_view rest)
{
    return rest.empty() ? error("wanted load FILE") : okOrError(hooks_.load(std::string(rest)));
}

std::string ControlDesk::reset(std::string_view rest)
{
    const bool all = rest.empty() || rest == "all";
    if (!all && rest != "memory" && rest != "statistics" && rest != "faults")
        return error("wanted reset [memory|statistics|faults|all]");
    if (all || rest == "memory")
        simulator_.plc().reset();
    if (all || rest == "faults")
        simulator_.faults().clear();
    if (all || rest == "statistics") {
        simulator_.statistics().reset();
        simulator_.faults().resetCounts();
    }
    return ok();
}

std::string ControlDesk::scan(std::string_view rest)
{
    std::uint32_t milliseconds = 0;
    if (!decimal(rest, milliseconds) || milliseconds > longestScanMs)
        return error("wanted scan MS, 0 for no scans");
    hooks_.setScan(milliseconds);
    return ok();
}

std::string ControlDesk::mode(std::string_view rest)
{
    if (rest != "run" && rest != "program")
        return error("wanted mode run|program");
    simulator_.plc().setRunning(rest == "run");
    return ok();
}

std::string ControlDesk::cpuError(std::string_view rest)
{
    std::uint32_t number = 0;
    if (!decimal(rest, number) || number > 999)
        return error("wanted cpu-error N, N from 0 to 999");
    simulator_.plc().setError(number);
    return ok();
}

std::string ControlDesk::listen(std::string_view rest)
{
    if (rest != "on" && rest != "off")
        return error("wanted listen on|off");
    return okOrError(hooks_.listen(rest == "on"));
}

std::string ControlDesk::disconnect(std::string_view)
{
    hooks_.disconnect();
    return ok();
}

std::string ControlDesk::stop(std::string_view)
{
    hooks_.stop();
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
