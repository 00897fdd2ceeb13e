#include "statistics.h"

#include "command_parser.h"
#include "remote_area.h"

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
    const bool known = isCommandWord(word) || word == remoteReadWord || word == remoteWriteWord;
    ++commands_[known ? std::string(word) : "other"];
}

void Statistics::countAnswer(const std::string &answer)
{
    if (answer.size() == 2 && answer[0] == 'E')
        ++errors_[answer];
}

std::string Statistics::text(const Counts &faultsDone) const
{
    return group("commands", commands_) + " " + group("errors", errors_) + " " + group("faults", faultsDone) +
           " bytes_in=" + std::to_string(bytesIn_) + " bytes_out=" + std::to_string(bytesOut_) +
           " connections=" + std::to_string(connections_);
}

} // namespace kvsim
