// Which parts of the program may be given back after the start: the lines are as /proc/PID/smaps has them.
#include "start_pages.h"

#include <QBuffer>

#include <gtest/gtest.h>

namespace kvhost
{

namespace
{

struct Row {
    const char *row;
    const char *mapping; ///< its first line
    const char *anonymous;
    bool givable;
};

// clang-format off
const Row ROWS[] = {
    {"code",                  "7f00001000-7f00003000 r-xp 00001000 fe:00 77   /usr/lib/libQt5Core.so.5", "0",  true},
    {"constants",             "7f00001000-7f00003000 r--p 00000000 fe:00 77   /usr/lib/libQt5Core.so.5", "0",  true},
    {"a name with blanks",    "7f00001000-7f00003000 r--p 00000000 fe:00 77   /opt/my panel/driver.so",  "0",  true},
    {"code with a breakpoint","7f00001000-7f00003000 r-xp 00001000 fe:00 77   /usr/lib/libQt5Core.so.5", "4",  false},
    {"relocated constants",   "7f00001000-7f00003000 r--p 00000000 fe:00 77   /usr/lib/libQt5Core.so.5", "8",  false},
    {"variables",             "7f00001000-7f00003000 rw-p 00001000 fe:00 77   /usr/lib/libQt5Core.so.5", "0",  false},
    {"shared with others",    "7f00001000-7f00003000 r--s 00001000 fe:00 77   /usr/lib/gconv-modules",   "0",  false},
    {"not to be touched",     "7f00001000-7f00003000 ---p 00001000 fe:00 77   /usr/lib/libQt5Core.so.5", "0",  false},
    {"heap",                  "7f00001000-7f00003000 rw-p 00000000 00:00 0    [heap]",                   "8",  false},
    {"the system's code",     "7f00001000-7f00003000 r-xp 00000000 00:00 0    [vdso]",                   "0",  false},
    {"without a file",        "7f00001000-7f00003000 r-xp 00000000 00:00 0",                             "0",  false},
};
// clang-format on

std::vector<PageRange> rangesIn(QByteArray smaps)
{
    QBuffer buffer(&smaps);
    buffer.open(QIODevice::ReadOnly);
    return givableRanges(&buffer);
}

QByteArray smapsOf(const Row &row)
{
    return QByteArray(row.mapping) +
           "\nSize:                  8 kB\nRss:                   8 kB\nAnonymous:             " +
           row.anonymous + " kB\nVmFlags: rd mr mw me \n";
}

TEST(StartPages, onlyWhatStandsInTheFileAsWell)
{
    for (const Row &row : ROWS) {
        const auto ranges = rangesIn(smapsOf(row));
        ASSERT_EQ(ranges.size(), row.givable ? 1U : 0U) << row.row;
        if (row.givable) {
            EXPECT_EQ(ranges[0].first, 0x7f00001000U) << row.row;
            EXPECT_EQ(ranges[0].size, 0x2000U) << row.row;
        }
    }
}

TEST(StartPages, eachPartIsJudgedByItsOwnLines)
{
    const auto ranges = rangesIn(smapsOf(ROWS[3]) + smapsOf(ROWS[0]) + smapsOf(ROWS[5]) + smapsOf(ROWS[1]));
    EXPECT_EQ(ranges.size(), 2U);
    EXPECT_TRUE(rangesIn("").empty());
}

} // namespace

} // namespace kvhost
