// SPDX-License-Identifier: MIT
// Recordings: their lines in both directions, and what is answered from them.
#include "bench.h"
#include "recording/recorded_event.h"
#include "recording/replay.h"

#include <gtest/gtest.h>

namespace
{

using kvsim::Delivery;
using kvsim::Ending;
using kvsim::EventKind;
using kvsim::RecordedEvent;
using kvsim::Step;

const std::string start = R"({"event":"start","format":1,"model":"KV-8000","ms":0,"time":""})";

struct LineRow {
    const char *name;
    RecordedEvent event;
    const char *line;
};

class RecordingLine : public testing::TestWithParam<LineRow>
{
};

TEST_P(RecordingLine, isWritten)
{
    EXPECT_EQ(kvsim::eventToLine(GetParam().event), GetParam().line);
}

TEST_P(RecordingLine, isReadBack)
{
    std::string problem;
    const auto events = kvsim::recordingFromText(start + "\n" + GetParam().line + "\r\n", problem);
    ASSERT_TRUE(events.has_value()) << problem;
    ASSERT_EQ(events->size(), 2U);
    EXPECT_EQ(events->back(), GetParam().event);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, RecordingLine, testing::Values(
    LineRow{ "opened",    { 5, EventKind::Opened, 0, 1, "" },
             R"({"connection":1,"event":"opened","ms":5,"plc":0})" },
    LineRow{ "in",        { 6, EventKind::In, 0, 1, "RDS DM0 2\r" },
             R"({"connection":1,"event":"in","ms":6,"plc":0,"text":"RDS DM0 2\r"})" },
    LineRow{ "out",       { 4000000000, EventKind::Out, 255, 70000, "00001 00002\r\n" },
             R"({"connection":70000,"event":"out","ms":4000000000,"plc":255,"text":"00001 00002\r\n"})" },
    LineRow{ "quotes",    { 6, EventKind::In, 0, 1, "RD \"\\\r" },
             R"({"connection":1,"event":"in","ms":6,"plc":0,"text":"RD \"\\\r"})" },
    LineRow{ "binary",    { 6, EventKind::In, 0, 1, std::string("\x00\x1A\xFF", 3) },
             R"({"connection":1,"event":"in","hex":"001AFF","ms":6,"plc":0})" },
    LineRow{ "tab",       { 6, EventKind::In, 0, 1, "\t" },
             R"({"connection":1,"event":"in","hex":"09","ms":6,"plc":0})" },
    LineRow{ "closed",    { 7, EventKind::Closed, 0, 1, "" },
             R"({"connection":1,"event":"closed","ms":7,"plc":0})" },
    LineRow{ "plcClosed", { 7, EventKind::PlcClosed, 0, 1, "" },
             R"({"connection":1,"event":"plc-closed","ms":7,"plc":0})" },
    LineRow{ "plcReset",  { 7, EventKind::PlcReset, 0, 1, "" },
             R"({"connection":1,"event":"plc-reset","ms":7,"plc":0})" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(Recording, beginsWithItsStart)
{
    EXPECT_EQ(kvsim::eventToLine({0, EventKind::Start, 0, 0, "KV-8000"}, "2026-11-22T08:15:30.123Z"),
              R"({"event":"start","format":1,"model":"KV-8000","ms":0,"time":"2026-11-22T08:15:30.123Z"})");
}

struct WrongRow {
    const char *name;
    const char *line; // after the start
    const char *problem;
};

class WrongRecording : public testing::TestWithParam<WrongRow>
{
};

TEST_P(WrongRecording, isRefusedWithItsLine)
{
    std::string problem;
    EXPECT_FALSE(kvsim::recordingFromText(start + "\n\n" + GetParam().line, problem).has_value());
    EXPECT_EQ(problem, GetParam().problem);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, WrongRecording, testing::Values(
    WrongRow{ "noJson",      "hello",                                                "line 3: it is not a JSON object" },
    WrongRow{ "cut",         R"({"event":"in","ms":)",                               "line 3: it is not a JSON object" },
    WrongRow{ "array",       "[1]",                                                  "line 3: it is not a JSON object" },
    WrongRow{ "noTime",      R"({"event":"opened","plc":0,"connection":1})",         "line 3: \"ms\" must be a whole number" },
    WrongRow{ "fraction",    R"({"event":"opened","ms":1.5,"plc":0,"connection":1})", "line 3: \"ms\" must be a whole number" },
    WrongRow{ "negative",    R"({"event":"opened","ms":-1,"plc":0,"connection":1})", "line 3: \"ms\" must be a whole number" },
    WrongRow{ "unknown",     R"({"event":"sent","ms":1,"plc":0,"connection":1})",    "line 3: no event is called 'sent'" },
    WrongRow{ "noPlc",       R"({"event":"opened","ms":1,"connection":1})",          "line 3: \"plc\" and \"connection\" must be whole numbers" },
    WrongRow{ "largePlc",    R"({"event":"opened","ms":1,"plc":4294967296,"connection":1})", "line 3: \"plc\" and \"connection\" must be whole numbers" },
    WrongRow{ "noBytes",     R"({"event":"in","ms":1,"plc":0,"connection":1})",      "line 3: there is neither \"text\" of visible characters, CR and LF nor \"hex\"" },
    WrongRow{ "badHex",      R"({"event":"in","ms":1,"plc":0,"connection":1,"hex":"0G"})", "line 3: there is neither \"text\" of visible characters, CR and LF nor \"hex\"" },
    WrongRow{ "oddHex",      R"({"event":"in","ms":1,"plc":0,"connection":1,"hex":"123"})", "line 3: there is neither \"text\" of visible characters, CR and LF nor \"hex\"" },
    WrongRow{ "wideText",    R"({"event":"in","ms":1,"plc":0,"connection":1,"text":"\u0100"})", "line 3: there is neither \"text\" of visible characters, CR and LF nor \"hex\"" },
    WrongRow{ "secondStart", R"({"event":"start","format":1,"ms":0})",               "line 3: only the first event can be \"start\"" },
    WrongRow{ "otherFormat", R"({"event":"start","format":2,"ms":0})",               "line 3: its format is not 1" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(Recording, withoutAStartIsRefused)
{
    std::string problem;
    EXPECT_FALSE(kvsim::recordingFromText(R"({"event":"opened","ms":1,"plc":0,"connection":1})", problem));
    EXPECT_EQ(problem, "line 1: a recording begins with \"start\"");
    EXPECT_FALSE(kvsim::recordingFromText("\n\n", problem));
    EXPECT_EQ(problem, "there is no event in it");
}

// -------------------------------------------------------------------------------------------------
// Answers
// -------------------------------------------------------------------------------------------------

RecordedEvent in(std::uint64_t ms, const char *text, std::uint32_t connection = 1, std::uint32_t plc = 0)
{
    return {ms, EventKind::In, plc, connection, std::string(text) + "\r"};
}

RecordedEvent out(std::uint64_t ms, const char *bytes, std::uint32_t connection = 1, std::uint32_t plc = 0)
{
    return {ms, EventKind::Out, plc, connection, bytes};
}

Delivery answered(kvsim::Replay &replay, const std::string &request)
{
    const Delivery *delivery = replay.answerTo(request + "\r");
    return delivery ? *delivery : Delivery{{{0, "(not recorded)"}}, Ending::StayOpen};
}

TEST(Replay, answersAsItWasAnsweredThen)
{
    kvsim::Replay replay({in(100, "RD DM0"), out(108, "00001\r\n"), in(200, "RD DM0"), out(230, "00002\r\n")},
                         0);
    EXPECT_EQ(answered(replay, "RD DM0").steps, (std::vector<Step>{{8, "00001\r\n"}}));
    EXPECT_EQ(answered(replay, "RD DM0").steps, (std::vector<Step>{{30, "00002\r\n"}}));
    EXPECT_EQ(answered(replay, "RD DM0").steps, (std::vector<Step>{{30, "00002\r\n"}})); // the last one again
    EXPECT_EQ(replay.unmatched(), 0U);
}

TEST(Replay, keepsPortionsSilenceAndEnds)
{
    kvsim::Replay replay({in(0, "RD DM0"),
                          out(5, "000"),
                          out(9, "01\r\n"),
                          in(20, "RD DM1"),
                          in(30, "RD DM2"),
                          out(31, "00003\r\n"),
                          {31, EventKind::PlcClosed, 0, 1, ""},
                          {31, EventKind::Closed, 0, 1, ""},
                          in(40, "RD DM3", 2),
                          {41, EventKind::PlcReset, 0, 2, ""}},
                         0);
    EXPECT_EQ(answered(replay, "RD DM0").steps, (std::vector<Step>{{5, "000"}, {4, "01\r\n"}}));
    EXPECT_EQ(answered(replay, "RD DM1").steps, std::vector<Step>{});
    EXPECT_EQ(answered(replay, "RD DM2"), (Delivery{{{1, "00003\r\n"}}, Ending::Close}));
    EXPECT_EQ(answered(replay, "RD DM3"), (Delivery{{{1, ""}}, Ending::Reset}));
}

TEST(Replay, closesASilentConnectionAfterTheSameTime)
{
    kvsim::Replay replay({in(0, "RD DM0"), out(5, "00001\r\n"), {3005, EventKind::PlcClosed, 0, 1, ""}}, 0);
    EXPECT_EQ(answered(replay, "RD DM0"), (Delivery{{{5, "00001\r\n"}, {3000, ""}}, Ending::Close}));
}

TEST(Replay, tellsConnectionsAndPlcsApart)
{
    const std::vector<RecordedEvent> events{in(0, "RD DM0", 1),     in(1, "RD DM1", 2),
                                            out(2, "00002\r\n", 2), out(3, "00001\r\n", 1),
                                            in(4, "RD DM0", 3, 1),  out(5, "00007\r\n", 3, 1)};
    kvsim::Replay first(events, 0);
    EXPECT_EQ(answered(first, "RD DM0").steps, (std::vector<Step>{{3, "00001\r\n"}}));
    EXPECT_EQ(answered(first, "RD DM1").steps, (std::vector<Step>{{1, "00002\r\n"}}));
    kvsim::Replay second(events, 1);
    EXPECT_EQ(answered(second, "RD DM0").steps, (std::vector<Step>{{1, "00007\r\n"}}));
    EXPECT_EQ(answered(second, "RD DM1").steps.front().bytes, "(not recorded)");
    EXPECT_EQ(second.unmatched(), 1U);
}

TEST(Replay, takesThePlaceOfThePlc)
{
    Bench bench;
    bench.simulator.setReplay(kvsim::Replay({in(0, "RD DM0"), out(0, "12345\r\n")}, 0));
    EXPECT_EQ(bench.send("RD DM0\rRD DM1\rWR DM0 5\r"),
              "12345\r\nE1\r\nE1\r\n"); // no CR was needed then either
    const std::string statistics = bench.simulator.statisticsText();
    EXPECT_NE(statistics.find(" not_recorded=2"), std::string::npos) << statistics;
}

} // namespace
