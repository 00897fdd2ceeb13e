// SPDX-License-Identifier: MIT
// Counts of what the simulator has done.
#include "plc/statistics.h"

#include "requests/verbs.h"

namespace kvsim
{
namespace
{

using Counts = std::map<std::string, std::uint64_t>;

std::string group(const char *title, const Counts &counts)
{
    std::uint64_t sum = 0;
    std::string rest;
    for (const auto &[name, count] : counts) {
        sum += count;
        rest += " " + name + "=" + std::to_string(count);
    }
    return std::string(title) + "=" + std::to_string(sum) + rest;
}

} // namespace

void Statistics::countCommand(std::string_view word)
{
    ++m_commands[isRequestWord(word) ? std::string(word) : "other"];
}

void Statistics::countAnswer(const std::string &answer)
{
    if (answer.size() == 2 && answer[0] == 'E')
        ++m_errors[answer];
}

std::string Statistics::text(const Counts &faultsDone) const
{
    return group("commands", m_commands) + " " + group("errors", m_errors) + " " +
           group("faults", faultsDone) + " bytes_in=" + std::to_string(m_bytesIn) +
           " bytes_out=" + std::to_string(m_bytesOut) + " connections=" + std::to_string(m_connections);
}

} // namespace kvsim
