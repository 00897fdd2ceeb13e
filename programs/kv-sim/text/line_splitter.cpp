// SPDX-License-Identifier: MIT
// Cuts the byte stream of one connection into command lines.
#include "text/line_splitter.h"

#include <utility>

namespace kvsim
{

std::string requestText(const Line &line)
{
    return line.tooLong ? "(a line that is too long)\r" : line.text + "\r";
}

void LineSplitter::keep(char byte)
{
    if (m_line.tooLong)
        return;
    m_line.text.push_back(byte);
    if (m_line.text.size() > longestLine) {
        m_line.text.clear();
        m_line.text.shrink_to_fit();
        m_line.tooLong = true;
    }
}

std::optional<Line> LineSplitter::next(std::string_view &input)
{
    while (!input.empty()) {
        const char byte = input.front();
        input.remove_prefix(1);
        if (byte == '\r' || (byte == '\n' && m_lfEndsLine)) {
            if (!m_line.text.empty() || m_line.tooLong)
                return std::exchange(m_line, Line{});
        } else if (byte != '\n') {
            keep(byte);
        }
    }
    return std::nullopt;
}

} // namespace kvsim
