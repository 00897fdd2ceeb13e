// SPDX-License-Identifier: MIT
// Reads the text that asks for a fault:
//   NAME[:ARGUMENT] [every N | next N | prob P [seed S]] [times M] [cmd WORD[,WORD...]] [dev RANGE]
#pragma once

#include "faults/fault.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

/// \param[out] problem  what is wrong with the text, if nothing is returned
std::optional<FaultSettings> faultFromText(std::string_view text, Family family, std::string &problem);

} // namespace kvsim
