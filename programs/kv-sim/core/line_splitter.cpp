#include "line_splitter.h"

#include "rules.h"

#include <utility>

namespace kvsim
{

void LineSplitter::keep(char byte)
{
    if (line_.tooLong)
        return;
    line_.text.push_back(byte);
    if (line_.text.size() > longestLine) {
        line_.text.clear();
        line_.text.shrink_to_fit();
        line_.tooLong = true;
    }
}

std::optional<Line> LineSplitter::next(std::string_view &input)
{
    while (!input.empty()) {
        const char byte = input.front();
        input.remove_prefix(1);
        if (byte == '\r' || (byte == '\n' && lfEndsLine_)) {
            if (!line_.text.empty() || line_.tooLong)
                return std::exchange(line_, Line{});
        } else if (byte != '\n') {
            keep(byte);
        }
    }
    return std::nullopt;
}

} // namespace kvsim
