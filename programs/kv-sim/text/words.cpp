// SPDX-License-Identifier: MIT
// Small helpers for texts that people write.
#include "text/words.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::string_view blanks = " \t\r";

} // namespace

std::string inQuotes(std::string_view text)
{
    return "'" + std::string(text) + "'";
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> splitAt(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (std::size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

std::vector<std::string_view> wordsOf(std::string_view text)
{
    std::vector<std::string_view> words;
    while (!(text = trimmed(text)).empty()) {
        const std::size_t end = std::min(text.find_first_of(blanks), text.size());
        words.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return words;
}

} // namespace kvsim
