// SPDX-License-Identifier: MIT
// Lines on stderr without waiting.
#include "shell/error_output.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace kvsim
{
namespace
{

std::uint64_t lost = 0;

// On purpose: opened a second time. A terminal that is ready may still take less than a line, and
// then write() waits; not waiting must not be set for the shell, which shares the first opening.
int openWithoutWaiting()
{
    struct stat about {
    };
    const bool mayBeFull =
        ::fstat(STDERR_FILENO, &about) == 0 && (S_ISCHR(about.st_mode) || S_ISFIFO(about.st_mode));
    const int own = mayBeFull ? ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
    return own >= 0 ? own : STDERR_FILENO;
}

bool wroteWithoutWaiting(std::string_view text)
{
    static const int descriptor = openWithoutWaiting();
    pollfd ready{descriptor, POLLOUT, 0};
    while (!text.empty()) {
        if (::poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0)
            return false;
        const auto count = ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (count <= 0)
            return false;
        text.remove_prefix(std::size_t(count));
    }
    return true;
}

} // namespace

// The last line before a gap may have been cut, so the count begins a new one.
void tellLostLines()
{
    if (lost > 0 && wroteWithoutWaiting("\n(" + std::to_string(lost) + " lines lost: stderr was not read)\n"))
        lost = 0;
}

void tellError(const std::string &line)
{
    tellLostLines();
    if (lost > 0 || !wroteWithoutWaiting(line + "\n"))
        ++lost;
}

} // namespace kvsim
