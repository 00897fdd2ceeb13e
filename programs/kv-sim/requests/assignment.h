// SPDX-License-Identifier: MIT
// "DM100=1,2,3": devices set or read by hand. The rules for commands do not apply: AT can be set,
// and nothing limits a count.
#pragma once

#include "devices/device_memory.h"
#include "requests/command.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

/// Consecutive values from "DM100" on.
/// \param[out] problem  why the family does not have them, if nothing is returned
std::optional<Command> locate(std::string_view text, std::uint32_t count, const Rules &rules,
                              std::string &problem);

/// Sets consecutive values; all or nothing. \return empty when done, else what is wrong
std::string assign(std::string_view text, const Rules &rules, DeviceMemory &memory);

} // namespace kvsim
