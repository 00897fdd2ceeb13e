// SPDX-License-Identifier: MIT
// One control connection for many PLCs.
#include "desk/group_desk.h"

#include "text/digits.h"
#include "text/words.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::string_view allPlcs = "*";
constexpr std::string_view okWithText = "ok ";
constexpr std::size_t largestAnswer = 16 * 1024 * 1024; // of all PLCs; one of them can give 3.5 MB

bool isError(std::string_view answer)
{
    return answer.substr(0, 2) != "ok";
}

std::string joined(const std::vector<std::string> &answers)
{
    std::string text = "ok";
    for (std::size_t plc = 0; plc < answers.size(); ++plc) {
        const bool silent = answers[plc].size() <= okWithText.size();
        text += (plc == 0 ? " " : "; ") + std::to_string(plc) + ": " +
                (silent ? std::string() : answers[plc].substr(okWithText.size()));
    }
    return text;
}

} // namespace

std::string GroupDesk::run(std::string_view line)
{
    line = trimmed(line);
    const std::size_t slash = line.find('/');
    const std::size_t space = line.find(' ');
    const std::string_view word = line.substr(0, space);
    if (slash == std::string_view::npos || slash > space) {
        if (m_desks.size() == 1 || word == "help" || word == "stop")
            return m_desks.front()->run(line);
        return "error: which PLC? 0/" + std::string(word) + " is for PLC 0, */" + std::string(word) +
               " for all " + std::to_string(m_desks.size());
    }
    const std::string_view plc = line.substr(0, slash);
    const std::string_view command = line.substr(slash + 1);
    if (plc == allPlcs)
        return runAll(command);
    const auto number = numberWithin(plc, 0, m_desks.size() - 1);
    if (!number)
        return "error: " + inQuotes(plc) + " is not a PLC (0 to " + std::to_string(m_desks.size() - 1) +
               ", or * for all)";
    return m_desks[std::size_t(*number)]->run(command);
}

std::string GroupDesk::runAll(std::string_view command)
{
    std::vector<std::string> answers;
    std::size_t length = 0;
    for (ControlDesk *desk : m_desks) {
        answers.push_back(desk->run(command));
        length += answers.back().size();
        if (length > largestAnswer)
            return "error: the answers of all PLCs are longer than 16 MiB; ask for fewer values, or one PLC "
                   "at a time";
        if (isError(answers.back()))
            return answers.back() + " (PLC " + std::to_string(answers.size() - 1) + ")";
    }
    const bool alike = std::all_of(answers.begin(), answers.end(), [&answers](const std::string &answer) {
        return answer == answers.front();
    });
    return alike ? answers.front() : joined(answers);
}

} // namespace kvsim
