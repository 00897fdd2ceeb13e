// SPDX-License-Identifier: MIT
// Reads the text of a program: a row on each line, '#' begins a remark.
//
//   when CONDITION [and CONDITION...] then ACTION[, ACTION...] [after N scans]
//
// CONDITION: always, R0 on, R0 off, R0 rises, R0 falls, DM0 changes, DM0 = 5
//            (or !=, <, <=, >, >=; 5 or DM1)
// ACTION:    set R0, reset R0, toggle R0, count DM0, copy 5 DM0, copy DM1 DM0,
//            add 5 DM0, add DM1 DM0
#pragma once

#include "requests/rules.h"
#include "scan/program_row.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

/// \param[out] problem  "line 3: ...", if nothing is returned
std::optional<std::vector<ProgramRow>> programFromText(std::string_view text, const Rules &rules,
                                                       std::string &problem);

} // namespace kvsim
