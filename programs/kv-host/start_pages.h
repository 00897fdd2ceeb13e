// Gives back what only the start of the program needed.
//
// Linking the libraries and reading the command line touch most of the program's memory once and never again. While such
// pages of code and tables are mapped, the system takes them for used and looks for others when memory gets short.
#pragma once

#include <QIODevice>

#include <cstdint>
#include <vector>

namespace kvhost
{

struct PageRange {
    std::uintptr_t first = 0; ///< address
    std::size_t size = 0;     ///< bytes
};

/// What may be given back: private read-only parts of files of which this process has no page of its own. What a
/// relocation, a debugger's breakpoint or a probe has written into is no longer as it stands in the file.
/// \param smaps open, what /proc/self/smaps tells
std::vector<PageRange> givableRanges(QIODevice *smaps);

/// Gives them back; whatever is needed again comes from the system's cache of the file within microseconds.
void giveBackStartPages();

} // namespace kvhost
