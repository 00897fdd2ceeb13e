// "DM100=1,2,3": devices set or read by hand, past the rules for commands (AT can be set, nothing limits a
// count).
#pragma once

#include "command_parser.h"
#include "device_memory.h"
#include "rules.h"

#include <string>
#include <string_view>

namespace kvsim
{

/// Sets consecutive values; all or nothing.
/// \return empty when done, else what was wrong
std::string assign(std::string_view text, const Rules &rules, DeviceMemory &memory);

/// \param[out] operand  parsed device and span
/// \return empty when the family has count values from this operand on, else what was wrong
std::string locate(std::string_view text, std::uint32_t count, const Rules &rules, Command &operand);

} // namespace kvsim
