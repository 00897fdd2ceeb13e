// SPDX-License-Identifier: MIT
// Lines on stderr, from a program that never waits for whoever reads them.
#pragma once

#include <string>

namespace kvsim
{

/// Writes the line, which lacks its line end, or counts it as lost if stderr does not take it at
/// once: a full pipe, a stopped or unread terminal. The count comes before the next line that is taken.
void tellError(const std::string &line);

/// At the end: says how many lines were lost and not reported yet, if stderr takes that now.
void tellLostLines();

} // namespace kvsim
