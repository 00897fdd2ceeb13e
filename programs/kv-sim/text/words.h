// SPDX-License-Identifier: MIT
// Small helpers for texts that people write: words, lists and quotes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

/// "'DM0'", for messages.
std::string inQuotes(std::string_view text);

/// Without spaces, tabs and CR at either end.
std::string_view trimmed(std::string_view text);

/// "1,,2" at ',' is "1", "", "2"; there is always at least one part.
std::vector<std::string_view> splitAt(std::string_view text, char separator);

/// Words with any number of spaces and tabs between them; none of them is empty.
std::vector<std::string_view> wordsOf(std::string_view text);

} // namespace kvsim
