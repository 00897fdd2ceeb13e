// SPDX-License-Identifier: MIT
#include "bench.h"
#include "text/line_splitter.h"

#include <gtest/gtest.h>

namespace
{

using kvsim::LineSplitter;

std::vector<std::string> split(LineSplitter &splitter, std::string_view bytes)
{
    std::vector<std::string> lines;
    while (const auto line = splitter.next(bytes))
        lines.push_back(line->tooLong ? "(too long)" : line->text);
    return lines;
}

using Lines = std::vector<std::string>;

TEST(LineSplitter, endsALineAtCR)
{
    LineSplitter splitter;
    EXPECT_EQ(split(splitter, "CR\rRD DM0\r"), (Lines{"CR", "RD DM0"}));
}

TEST(LineSplitter, keepsALineWithoutItsEnd)
{
    LineSplitter splitter;
    EXPECT_EQ(split(splitter, "RD D"), Lines{});
    EXPECT_EQ(split(splitter, "M0\r"), Lines{"RD DM0"});
}

TEST(LineSplitter, dropsLineFeedsWhereverTheyCome)
{
    LineSplitter splitter;
    EXPECT_EQ(split(splitter, "\n\nR\nD\n DM0\n\r\n\n"), Lines{"RD DM0"});
    EXPECT_EQ(split(splitter, "\nCR\r"), Lines{"CR"});
}

TEST(LineSplitter, dropsEmptyLines)
{
    LineSplitter splitter;
    EXPECT_EQ(split(splitter, "\r\r\n\r\nCR\r\r"), Lines{"CR"});
}

TEST(LineSplitter, endsALineAtLFWhenAsked)
{
    LineSplitter splitter(true);
    EXPECT_EQ(split(splitter, "CR\nRD DM0\r\nCQ\r"), (Lines{"CR", "RD DM0", "CQ"}));
}

TEST(LineSplitter, takesALineOfExactlyTheLimit)
{
    LineSplitter splitter;
    const std::string text(16384, 'A');
    EXPECT_EQ(split(splitter, text + "\r"), Lines{text});
}

TEST(LineSplitter, throwsALineBeyondTheLimitAwayUpToItsEnd)
{
    LineSplitter splitter;
    EXPECT_EQ(split(splitter, std::string(16385, 'A')), Lines{});
    EXPECT_EQ(split(splitter, std::string(100000, 'B') + "\rCR\r"), (Lines{"(too long)", "CR"}));
}

TEST(LongLine, isAnsweredOnceAndTheLinkStays)
{
    Bench bench;
    EXPECT_EQ(bench.opened().send("WRS DM0 1 " + std::string(20000, '0') + "\rRD DM0\r"), "E1\r\n00000\r\n");
}

TEST(LongLine, ofTheLimitIsServed)
{
    Bench bench;
    const std::string head = "WR DM0 ";
    EXPECT_EQ(bench.opened().send(head + std::string(16384 - head.size() - 1, '0') + "5\rRD DM0\r"),
              "OK\r\n00005\r\n");
}

} // namespace
