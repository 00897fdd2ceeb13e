// SPDX-License-Identifier: MIT
// Files that a person hands in: programs, and load files to be checked.
#pragma once

#include "recording/recorded_event.h"
#include "requests/rules.h"
#include "scan/program_row.h"

#include <optional>
#include <string>
#include <vector>

namespace kvsim
{

/// \param[out] problem  why the program cannot be used, with its path, if nothing is returned
std::optional<std::vector<ProgramRow>> readProgram(const std::string &path, const Rules &rules,
                                                   std::string &problem);

/// \param[out] problem  why the recording cannot be used, with its path, if nothing is returned
std::optional<std::vector<RecordedEvent>> readRecording(const std::string &path, std::string &problem);

/// --check: says of each file on stdout what it is, or on stderr what is wrong with it.
/// \return the exit code
int checkFiles(const std::vector<std::string> &paths, const Rules &rules);

} // namespace kvsim
