// SPDX-License-Identifier: MIT
// Samples as rows, and rows as lines of text, CSV and JSON.
#include "output/row.h"

#include "output/shown_text.h"
#include "output/table.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

using kvlink::Quality;
using kvlink::Reason;
using kvlink::Sample;

Row row(const char *name, const char *value, Quality quality = Quality::Good)
{
    Row r;
    r.timeMs = 1769904000123; // 2026-02-01 00:00:00.123 UTC
    r.name = name;
    r.value = value;
    r.hasValue = r.value != "";
    r.quality = quality;
    return r;
}

kvtags::Variable variable(const char *typed)
{
    QString problem;
    return kvtags::parseVariable(typed, problem).value();
}

TEST(Lines, asText)
{
    EXPECT_EQ(textLine(row("DM1", "5"), 5).toStdString(), "DM1    5");
    Row bad = row("DM1", "", Quality::Bad);
    bad.error = "no answer";
    EXPECT_EQ(textLine(bad, 3).toStdString(), "DM1  -  [bad] no answer");
    Row withUnit = row("t", "21.5", Quality::Stale);
    withUnit.unit = "C";
    EXPECT_EQ(textLine(withUnit, 1).toStdString(), "t  21.5 C  [stale]");
}

TEST(Lines, ofWritesSayHowTheyEndedUnlessTheyAreDone)
{
    EXPECT_EQ(textLine(WriteRow{row("DM1", "5"), "done", {}}, 3).toStdString(), "DM1  5");
    EXPECT_EQ(textLine(WriteRow{row("DM1", "5"), "unknown", "sent, no answer in 1 s"}, 3).toStdString(),
              "DM1  5  [unknown] sent, no answer in 1 s");
    EXPECT_EQ(csvLine(WriteRow{row("a", "1"), "not sent", "no link, nothing was sent"}).toStdString(),
              "2026-02-01T00:00:00.123Z,a,1,,good,,not sent,\"no link, nothing was sent\"");
    EXPECT_EQ(jsonLine(WriteRow{row("a", "1"), "done", {}}).toStdString(),
              R"({"name":"a","outcome":"done","quality":"good","time":1769904000123,"value":1})");
}

TEST(Lines, asCsv)
{
    const Row quoted = row("a,b", "say \"x\"");
    EXPECT_EQ(csvLine(quoted).toStdString(), "2026-02-01T00:00:00.123Z,\"a,b\",\"say \"\"x\"\"\",,good,");
}

TEST(Lines, asJson)
{
    EXPECT_EQ(jsonLine(row("DM1", "5")).toStdString(),
              R"({"name":"DM1","quality":"good","time":1769904000123,"value":5})");
    Row text = row("s", "ab");
    text.isNumeric = false;
    EXPECT_EQ(jsonLine(text).toStdString(),
              R"({"name":"s","quality":"good","time":1769904000123,"value":"ab"})");
    Row bad = row("DM1", "", Quality::Bad);
    bad.error = "E0";
    EXPECT_EQ(jsonLine(bad).toStdString(),
              R"({"error":"E0","name":"DM1","quality":"bad","time":1769904000123})");
}

// A text in the PLC must not steer the terminal of whoever reads it.
TEST(Lines, showControlCharactersInsteadOfSendingThem)
{
    EXPECT_EQ(textLine(row("a\x1b[2J", "\x07"
                                       "b\x7f"),
                       1)
                  .toStdString(),
              "a\\x1B[2J  \\x07b\\x7F");
    EXPECT_EQ(csvField("two\nlines\x1b").toStdString(), "\"two\nlines\\x1B\"");
}

TEST(Rows, takeTheTimeOfTheAnswer)
{
    Sample sample;
    sample.value = qint64(7);
    sample.quality = Quality::Good;
    sample.time = kvlink::WallTime(kvlink::Duration(1769904000123000));
    const Row good = makeRow(variable("DM1"), 0, sample, 1769904099999);
    EXPECT_EQ(good.timeMs, 1769904000123);
    EXPECT_EQ(good.value.toStdString(), "7");
    sample.quality = Quality::Stale;
    EXPECT_EQ(makeRow(variable("DM1"), 0, sample, 1769904099999).timeMs, 1769904000123);
}

TEST(Rows, showNoBadOrNeverReadValue)
{
    Sample sample;
    sample.value = qint64(7);
    sample.quality = Quality::Bad;
    sample.reason = Reason::NoAnswer;
    const Row bad = makeRow(variable("DM1"), 0, sample, 1769904099999);
    EXPECT_FALSE(bad.hasValue);
    EXPECT_TRUE(bad.value.isEmpty());
    EXPECT_EQ(bad.error.toStdString(), "no answer");
    EXPECT_EQ(bad.timeMs, 1769904099999); // when it was noticed
    EXPECT_FALSE(makeRow(variable("DM1"), 0, Sample(), 0).hasValue);
}

TEST(Rows, ofARangeAreOneForEachValue)
{
    Sample sample;
    sample.value = std::vector<kvlink::Scalar>{qint64(7), qint64(8)};
    sample.quality = Quality::Good;
    EXPECT_EQ(makeRow(variable("dm1:2"), 1, sample, 0).name.toStdString(), "DM2");
    EXPECT_EQ(makeRow(variable("dm1:2"), 1, sample, 0).value.toStdString(), "8");
}

TEST(Variables, ofAStationShowIt)
{
    EXPECT_EQ(variable("2/dm0:3").nameOf(1).toStdString(), "2/DM1");
    EXPECT_EQ(variable("2/dm0:3").name().toStdString(), "2/DM0:3");
    QString problem;
    EXPECT_FALSE(kvtags::parseVariable("256/DM0", problem));
    EXPECT_EQ(problem.toStdString(),
              "256/DM0: '256' is not a station: write a number from 0 to 255 before '/', as in 2/DM0");
    EXPECT_FALSE(kvtags::parseVariable("2/R1016", problem));
    EXPECT_EQ(problem.count("R1016"), 1) << problem.toStdString();
}

TEST(Tables, inAllFormats)
{
    Table table({"name", "n"});
    table.add({"a", "10"});
    table.add({"long one", "x,y"});
    EXPECT_EQ(table.lines(OutputFormat::Text, true).join('|').toStdString(),
              "name      n|a         10|long one  x,y");
    EXPECT_EQ(table.lines(OutputFormat::Csv, true).join('|').toStdString(), "name,n|a,10|long one,\"x,y\"");
    EXPECT_EQ(table.lines(OutputFormat::Json, true).join('|').toStdString(),
              R"({"n":10,"name":"a"}|{"n":"x,y","name":"long one"})");
    EXPECT_EQ(table.lines(OutputFormat::Text, false).size(), 2);
}

TEST(ShownText, isMeasuredInColumnsOfTheTerminal)
{
    const QString wide = QString::fromUtf8("\xE6\xB8\xA9\xE5\xBA\xA6"); // two characters, four columns
    EXPECT_EQ(columnsOf(wide), 4);
    EXPECT_EQ(columnsOf(QString::fromUtf8("e\xCC\x81")), 1); // with a combining accent
    EXPECT_EQ(padded(wide, 6).toStdString(), "\xE6\xB8\xA9\xE5\xBA\xA6  ");
    EXPECT_EQ(paddedLeft("a", 3).toStdString(), "  a");
    EXPECT_EQ(cut(wide, 3).toStdString(), "\xE6\xB8\xA9\xE2\x80\xA6"); // half a character does not fit
    EXPECT_EQ(cut("abcdef", 4).toStdString(), "abc\xE2\x80\xA6");
    EXPECT_EQ(cut("abcd", 4).toStdString(), "abcd");
}

} // namespace
} // namespace kvhost
