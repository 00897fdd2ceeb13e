// SPDX-License-Identifier: MIT
// Lines on stderr, from a program that never waits for whoever reads them.
#pragma once

#include <string>

namespace kvsim
{

/// Writes the line, which lacks its line end. It is lost if stderr does not take it at once: a
/// full pipe, a stopped or unread terminal. The next line that is taken begins with a count.
void tellError(const std::string &line);

/// At the end: says how many lines were lost and not reported yet, if stderr takes that now.
void tellLostLines();

} // namespace kvsim
