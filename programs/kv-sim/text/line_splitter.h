// SPDX-License-Identifier: MIT
// Cuts the byte stream of one connection into command lines.
//
// A line is anything up to CR. LF belongs to nothing and is dropped wherever it comes; empty lines
// vanish. A line beyond the limit is discarded up to its CR and reported once.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

constexpr std::size_t longestLine = 16 * 1024; // our choice

struct Line {
    std::string text;
    bool tooLong = false; // the text is not kept then
    bool operator==(const Line &) const = default;
};

/// The line with its CR, as it is shown and recorded.
std::string requestText(const Line &line);

class LineSplitter
{
public:
    explicit LineSplitter(bool lfEndsLine = false) : m_lfEndsLine(lfEndsLine) {}

    /// Takes bytes from the front of the input up to the next complete line.
    /// \return the line, or nothing when the input is used up
    std::optional<Line> next(std::string_view &input);

private:
    void keep(char byte);

    Line m_line;
    bool m_lfEndsLine;
};

} // namespace kvsim
