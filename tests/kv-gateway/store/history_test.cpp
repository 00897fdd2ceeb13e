// SPDX-License-Identifier: MIT
// The history as it is written and read back, without a thread.
#include "store/codes.h"
#include "store/csv_export.h"
#include "store/history_removal.h"
#include "store/history_writer.h"
#include "store/schema.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using kvlink::Reason;
using kvlink::Value;

constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 day = 24 * hour;
constexpr kvlink::SteadyTime steady{std::chrono::hours(1)};

class HistoryTest : public testing::Test
{
protected:
    void SetUp() override { open(); }

    void open()
    {
        OpenProblem problem;
        writer = HistoryWriter::open(folder.path(), problem);
        ASSERT_NE(writer, nullptr) << problem.text.toStdString();
        QString text;
        reader = HistoryReader::open(folder.path(), text);
        ASSERT_NE(reader, nullptr) << text.toStdString();
    }
    void close()
    {
        reader.reset();
        writer.reset();
    }
    void write(const std::vector<HistoryRow> &rows, qint64 aliveMs)
    {
        ASSERT_EQ(writer->write(rows, at(aliveMs)), Written::Done) << writer->problem().toStdString();
    }
    RawPage raw(const QString &tag, qint64 from, qint64 to, RawPosition after = {}, int limit = 1000)
    {
        QString problem;
        const auto page = reader->raw({tag, {at(from), at(to)}, after, limit}, problem);
        EXPECT_TRUE(page) << problem.toStdString();
        return page.value_or(RawPage());
    }
    Trend trend(const QString &tag, qint64 from, qint64 to, int points)
    {
        QString problem;
        const auto found = reader->trend({tag, {at(from), at(to)}, points}, problem);
        EXPECT_TRUE(found) << problem.toStdString();
        return found.value_or(Trend());
    }
    QString asked(const char *statement)
    {
        Statement row(writer->database(), statement);
        return row.step() ? row.text(0) : writer->database().problem();
    }

    QTemporaryDir folder;
    std::unique_ptr<HistoryWriter> writer;
    std::unique_ptr<HistoryReader> reader;
};

// "start mean min max good/ms count", or "start gap"; times after the start of the test
QStringList textOf(const Trend &trend)
{
    QStringList lines;
    for (const TrendPoint &point : trend.points) {
        const qint64 start = toMs(point.start) - startMs;
        if (point.isGap())
            lines += QStringLiteral("%1 gap").arg(start);
        else
            lines += QStringLiteral("%1 %2 %3 %4 %5 %6")
                         .arg(start)
                         .arg(point.mean)
                         .arg(point.min)
                         .arg(point.max)
                         .arg(std::chrono::duration_cast<std::chrono::milliseconds>(point.good).count())
                         .arg(point.count);
    }
    return lines;
}

TEST_F(HistoryTest, ListsComeBackAsJsonHasThem)
{
    using List = std::vector<kvlink::Scalar>;
    constexpr double infinite = std::numeric_limits<double>::infinity();
    struct {
        List given;
        const char *shown; // by sqlite3
        List back;
    } const rows[] = {
        {{}, "[]", {}},
        {{1.0, -0.5}, "[1,-0.5]", {qint64(1), -0.5}}, // whole numbers come back as such
        {{1e300, -1e300}, "[1e+300,-1e+300]", {1e300, -1e300}},
        {{9223372036854775808.0}, "[9223372036854776000]", {9223372036854775808.0}},
        {{-9223372036854775808.0}, "[-9223372036854776000]", {-9223372036854775808.0}},
        {{infinite, qint64(2)}, "[null,2]", {{}, qint64(2)}},
        {{{}, {}}, "[null,null]", {{}, {}}},
        {{QStringLiteral("\u0001 \"\\\n\U0001f3ed")},
         "[\"\\u0001 \\\"\\\\\\n\xf0\x9f\x8f\xad\"]",
         {QStringLiteral("\u0001 \"\\\n\U0001f3ed")}},
    };
    qint64 time = 0;
    for (const auto &row : rows) {
        write({{QStringLiteral("x"), good(time, Value(row.given))}}, time);
        ++time;
    }
    const RawPage page = raw(QStringLiteral("x"), 0, 100);
    ASSERT_EQ(page.rows.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(page.rows[i].sample.value, Value(rows[i].back)) << rows[i].shown;
    OpenProblem problem;
    const auto shell = Database::open(folder.path() + "/history.sqlite", Database::Use::Read, 0, problem);
    Statement seen(*shell, "SELECT value FROM history ORDER BY seq");
    for (const auto &row : rows) {
        ASSERT_TRUE(seen.step());
        EXPECT_EQ(seen.text(0).toStdString(), row.shown);
    }
}

TEST_F(HistoryTest, ValuesComeBackAsTheyWere)
{
    const std::vector<kvlink::Scalar> list{qint64(1), 2.5, true, QStringLiteral("a,b"), {}};
    struct {
        Value value;
        const char *shown; // by sqlite3
    } const rows[] = {
        {true, "1"},
        {false, "0"},
        {qint64(65535), "65535"},
        {qint64(-2147483648LL), "-2147483648"},
        {1.5, "1.5"},
        {3.0, "3.0"},
        {QStringLiteral("Öl"), "Öl"},
        {QString(), ""},
        {Value(list), "[1,2.5,true,\"a,b\",null]"},
        {Value(), ""},
    };
    for (const bool isMerged : {false, true}) {
        const QString tag = isMerged ? QStringLiteral("merged") : QStringLiteral("recent");
        qint64 time = 0;
        for (const auto &row : rows) {
            write({{tag, good(time, row.value)}}, time);
            ++time;
        }
        if (isMerged) {
            ASSERT_EQ(writer->merge(steady), Written::Done);
        }
        const RawPage page = raw(tag, 0, 100);
        ASSERT_EQ(page.rows.size(), std::size(rows));
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            EXPECT_EQ(page.rows[i].sample.value, rows[i].value) << rows[i].shown;
            EXPECT_EQ(page.rows[i].sample.time, at(qint64(i)));
            const QByteArray query = "SELECT value FROM history WHERE tag = '" + tag.toLatin1() +
                                     "' ORDER BY seq LIMIT 1 OFFSET " + QByteArray::number(qint64(i));
            EXPECT_EQ(asked(query), QString::fromUtf8(rows[i].shown));
        }
    }
}

TEST_F(HistoryTest, QualityReasonAndErrorCodeAreKept)
{
    kvlink::Sample refused = bad(1, Reason::PlcError);
    refused.plcError = 4;
    write({{"line1.speed", good(0, qint64(1480))},
           {"line1.speed", refused},
           {"line1.speed", bad(2, Reason::NoLink)}},
          3);
    const RawPage page = raw("line1.speed", 0, 10);
    ASSERT_EQ(page.rows.size(), 3U);
    EXPECT_TRUE(page.rows[0].sample.isGood());
    EXPECT_EQ(page.rows[1].sample.quality, kvlink::Quality::Bad);
    EXPECT_EQ(page.rows[1].sample.reason, Reason::PlcError);
    EXPECT_EQ(page.rows[1].sample.plcError, 4);
    EXPECT_EQ(page.rows[2].sample.reason, Reason::NoLink);
}

TEST_F(HistoryTest, Sqlite3SeesNamesAndTimes)
{
    write({{"line1.speed", good(1113, qint64(1480))}, {"line1.speed", bad(2000, Reason::NoAnswer)}}, 3000);
    EXPECT_EQ(asked("SELECT seq||'|'||time||'|'||tag||'|'||quality||'|'||reason||'|'||value FROM history "
                    "WHERE seq = 1"),
              QStringLiteral("1|2026-05-04T08:00:01.113Z|line1.speed|good||1480"));
    EXPECT_EQ(asked("SELECT quality||'|'||reason FROM history WHERE seq = 2"),
              QStringLiteral("bad|no-answer"));
    EXPECT_EQ(asked("PRAGMA user_version"), QStringLiteral("1"));
    EXPECT_EQ(asked("PRAGMA journal_mode"), QStringLiteral("wal"));
    EXPECT_EQ(asked("PRAGMA synchronous"), QStringLiteral("1"));
    EXPECT_EQ(asked("PRAGMA integrity_check"), QStringLiteral("ok"));
}

TEST_F(HistoryTest, PagesFollowEachOther)
{
    std::vector<HistoryRow> rows;
    for (qint64 i = 0; i < 5; ++i)
        rows.push_back({"a", good(i / 2, i)}); // times 0 0 1 1 2
    write(rows, 10);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    write({{"a", good(3, qint64(5))}, {"a", good(4, qint64(6))}}, 10);
    RawPosition after;
    QStringList pages;
    bool more = true;
    while (more) {
        const RawPage page = raw("a", 0, 4, after, 2);
        QStringList values;
        for (const RawRow &row : page.rows)
            values += row.sample.toText();
        pages += values.join(' ');
        after = page.end;
        more = page.more;
    }
    EXPECT_EQ(pages, QStringList({"0 1", "2 3", "4 5"})); // the row at 4 is past the range
}

TEST_F(HistoryTest, TagsAreListedWithTheirTimes)
{
    write({{"b", good(5, qint64(1))}, {"a", good(1, qint64(1))}}, 10);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    write({{"b", good(9, qint64(2))}, {"c", good(7, qint64(1))}}, 10);
    QString problem;
    const auto tags = reader->tags(problem);
    ASSERT_TRUE(tags) << problem.toStdString();
    ASSERT_EQ(tags->size(), 3U);
    struct {
        const char *name;
        qint64 first, last;
    } const rows[] = {{"a", 1, 1}, {"b", 5, 9}, {"c", 7, 7}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(tags->at(i).name, QString::fromLatin1(rows[i].name));
        EXPECT_EQ(tags->at(i).first, at(rows[i].first));
        EXPECT_EQ(tags->at(i).last, at(rows[i].last));
    }
    EXPECT_TRUE(reader->hasTag("c"));
    EXPECT_FALSE(reader->hasTag("d"));
}

// The same rows give the same trend, wherever they lie and whatever it is computed from.
TEST_F(HistoryTest, TrendsShowWhatHeldAndGaps)
{
    struct {
        const char *what;
        qint64 from, to;
        int points;
        TrendSource source;
        qint64 width;
        QStringList expected;
    } const rows[] = {
        {"from single rows",
         0,
         8 * second,
         4,
         TrendSource::Rows,
         2 * second,
         {"0 10 10 10 2000 1", "2000 15 10 20 2000 1", "4000 20 20 20 1000 0", "6000 gap"}},
        {"from minutes",
         -minute,
         4 * minute,
         5,
         TrendSource::Minutes,
         minute,
         {"-60000 gap", "0 14 10 20 5000 2", "60000 30 30 30 60000 1", "120000 30 30 30 60000 0",
          "180000 35 30 40 60000 1"}},
        {"from hours",
         -hour,
         2 * hour,
         3,
         TrendSource::Hours,
         hour,
         {"-3600000 gap", "0 39.5402 10 40 3545000 4", "3600000 40 40 40 900000 0"}},
    };
    const std::vector<HistoryRow> changes[] = {
        {{"a", good(0, qint64(10))}, {"a", good(3 * second, 20.0)}},
        {{"a", bad(5 * second, Reason::NoLink)}, {"a", good(minute, qint64(30))}},
        {{"a", good(3 * minute + 30 * second, qint64(40))}},
    };
    const qint64 alive = hour + 15 * minute;
    for (const int merges : {0, 1, 2, 3}) {
        SCOPED_TRACE(merges);
        close();
        for (const char *name : {"/history.sqlite", "/history.sqlite-wal", "/history.sqlite-shm"})
            QFile::remove(folder.path() + QLatin1String(name));
        open();
        int written = 0;
        for (const auto &part : changes) {
            write(part, alive);
            if (++written <= merges) {
                ASSERT_EQ(writer->merge(steady), Written::Done);
            }
        }
        for (const auto &row : rows) {
            SCOPED_TRACE(row.what);
            const Trend found = trend("a", row.from, row.to, row.points);
            EXPECT_EQ(found.source, row.source);
            EXPECT_EQ(found.width, std::chrono::milliseconds(row.width));
            EXPECT_EQ(textOf(found).join("; ").toStdString(), row.expected.join("; ").toStdString());
        }
    }
}

TEST_F(HistoryTest, AValueHoldsIntoARangeWithoutRows)
{
    write({{"a", good(0, qint64(7))}}, day);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    struct {
        qint64 from, to;
        int points;
        const char *expected;
    } const rows[] = {
        {hour, hour + 2 * second, 2, "3600000 7 7 7 1000 0; 3601000 7 7 7 1000 0"},
        {hour, hour + 2 * minute, 2, "3600000 7 7 7 60000 0; 3660000 7 7 7 60000 0"},
        {2 * hour, 4 * hour, 2, "7200000 7 7 7 3600000 0; 10800000 7 7 7 3600000 0"},
        {day - hour, day + hour, 2, "82800000 7 7 7 3600000 0; 86400000 gap"}, // nothing is known of later
    };
    for (const auto &row : rows)
        EXPECT_EQ(textOf(trend("a", row.from, row.to, row.points)).join("; "),
                  QString::fromLatin1(row.expected));
}

TEST_F(HistoryTest, TrendsHaveNoMorePointsThanAskedFor)
{
    write({{"a", good(0, qint64(7))}}, 0);
    struct {
        qint64 from, to;
        int points;
        std::size_t found;
        qint64 width;
    } const rows[] = {
        {0, 1000, 1000, 1000, 1},
        {0, 1001, 1000, 501, 2},
        {30 * second, 10 * minute, 5, 5, 2 * minute},
        {0, 365 * day, 1000, 974, 9 * hour},
        {0, 5, 1, 1, 5},
        {0, 0, 10, 0, 1},
        {10, 5, 10, 0, 1}, // the end before the beginning
    };
    for (const auto &row : rows) {
        const Trend found = trend("a", row.from, row.to, row.points);
        EXPECT_EQ(found.points.size(), row.found) << row.to;
        EXPECT_EQ(found.width, std::chrono::milliseconds(row.width)) << row.to;
    }
}

TEST_F(HistoryTest, TextsListsAndUnknownTagsHaveGapsOnly)
{
    write({{"text", good(0, QStringLiteral("abc"))}}, hour);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    for (const char *tag : {"text", "unknown"})
        EXPECT_EQ(textOf(trend(tag, 0, 2 * minute, 2)).join("; "), QStringLiteral("0 gap; 60000 gap")) << tag;
    EXPECT_TRUE(raw("unknown", 0, hour).rows.empty());
}

TEST_F(HistoryTest, RowsKeepTheOrderInWhichTheyCameWhenTheClockGoesBack)
{
    write({{"a", good(hour, qint64(1))}}, hour);
    write({{"a", good(0, qint64(2))}}, 0); // the clock was set back by an hour
    write({{"a", good(minute, qint64(3))}}, minute);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    QStringList rows;
    const RawPage page = raw("a", 0, 2 * hour);
    for (const RawRow &row : page.rows)
        rows += QStringLiteral("%1:%2").arg(row.seq).arg(row.sample.toText());
    EXPECT_EQ(rows.join(' '), QStringLiteral("2:2 3:3 1:1")); // by time; the sequence tells the order
    EXPECT_EQ(asked("SELECT group_concat(value) FROM (SELECT value FROM history ORDER BY seq)"),
              QStringLiteral("1,2,3"));
    EXPECT_EQ(textOf(trend("a", 0, 2 * minute, 2)).join("; "),
              QStringLiteral("0 2 2 2 60000 1; 60000 3 3 3 0 1"));
}

TEST_F(HistoryTest, SequencesGoOnAfterARestart)
{
    write({{"a", good(0, qint64(1))}, {"a", good(1, qint64(2))}}, 1);
    close();
    open();
    write({{"a", good(2, qint64(3))}}, 2);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    close();
    open();
    write({{"a", good(3, qint64(4))}}, 3);
    EXPECT_EQ(asked("SELECT group_concat(seq) FROM (SELECT seq FROM history ORDER BY seq)"),
              QStringLiteral("1,2,3,4"));
}

TEST_F(HistoryTest, ValuesEndWhereTheServiceStopped)
{
    write({{"good", good(0, qint64(5))},
           {"text", good(0, QStringLiteral("x"))},
           {"bad", bad(0, Reason::NoLink)}},
          30 * second);
    close();
    open();
    std::optional<kvlink::WallTime> downFrom;
    ASSERT_EQ(writer->endOldValues(downFrom), Written::Done);
    EXPECT_EQ(downFrom, at(30 * second));
    write({{"good", good(90 * second, qint64(6))}}, 2 * minute);
    EXPECT_EQ(asked("SELECT group_concat(tag||' '||quality||' '||reason) FROM (SELECT * FROM history WHERE "
                    "seq IN (4, 5) ORDER BY tag)"),
              QStringLiteral("good stale stopped,text stale stopped"));
    EXPECT_EQ(textOf(trend("good", 0, 2 * minute, 2)).join("; "),
              QStringLiteral("0 5 5 5 30000 1; 60000 6 6 6 30000 1"));
}

TEST_F(HistoryTest, ANewDatabaseHasNothingToEnd)
{
    std::optional<kvlink::WallTime> downFrom;
    ASSERT_EQ(writer->endOldValues(downFrom), Written::Done);
    EXPECT_FALSE(downFrom);
}

TEST_F(HistoryTest, MergesByNumberAndAge)
{
    EXPECT_FALSE(writer->isMergeDue(steady)); // no rows
    ASSERT_EQ(writer->merge(steady), Written::Done);
    write({{"a", good(0, qint64(1))}}, 0);
    EXPECT_FALSE(writer->isMergeDue(steady + std::chrono::seconds(59)));
    EXPECT_TRUE(writer->isMergeDue(steady + std::chrono::seconds(60)));
    std::vector<HistoryRow> many(HistoryWriter::mergeRows - 2, {"a", good(1, qint64(2))});
    write(many, 1);
    EXPECT_FALSE(writer->isMergeDue(steady));
    write({{"a", good(2, qint64(3))}}, 2);
    EXPECT_TRUE(writer->isMergeDue(steady));
}

TEST_F(HistoryTest, RemovesByAgeAllButWhatStillHolds)
{
    for (const qint64 time : {0 * day, 1 * day, 2 * day, 3 * day})
        write({{"a", good(time, time / day)}}, time);
    write({{"b", good(0, qint64(9))}}, 4 * day);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    HistoryRemoval removal(writer->database());
    Retention retention;
    retention.rows = std::chrono::hours(36);
    retention.minutes = std::chrono::hours(60);
    retention.hours = std::chrono::hours(0);
    removal.startByAge(retention, at(4 * day)); // rows from 2.5 days on, minutes from 1.5
    EXPECT_TRUE(removal.isBusy());
    while (removal.isBusy())
        ASSERT_TRUE(removal.step());
    EXPECT_EQ(asked("SELECT group_concat(tag||value) FROM (SELECT * FROM history ORDER BY tag, seq)"),
              QStringLiteral("a2,a3,b9"));
    EXPECT_EQ(asked("SELECT count(*) FROM minutes"), QStringLiteral("4")); // 1, 2, 3 of a; 0 of b
    EXPECT_EQ(asked("SELECT count(*) FROM hours"), QStringLiteral("5"));
    // 2 still holds where rows begin, and the minutes know what came before.
    EXPECT_EQ(textOf(trend("a", 2 * day + 12 * hour, 2 * day + 12 * hour + second, 1)).join(""),
              QStringLiteral("216000000 2 2 2 1000 0"));
    const Trend old = trend("a", day, day + 2 * second, 2);
    EXPECT_EQ(old.source, TrendSource::Minutes);
    EXPECT_EQ(textOf(old).join(""), QStringLiteral("86400000 1 1 1 60000 1"));
    EXPECT_EQ(trend("a", 0, second, 1).source, TrendSource::Hours);
}

TEST_F(HistoryTest, RemovesLargeAmountsInParts)
{
    std::vector<HistoryRow> rows;
    for (qint64 i = 0; i < 50'000; ++i)
        rows.push_back({"a", good(i, i)});
    write(rows, day);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    HistoryRemoval removal(writer->database());
    removal.startByAge({std::chrono::seconds(1), std::chrono::hours(0), std::chrono::hours(0), {}, {}, 0},
                       at(day));
    int parts = 0;
    while (removal.isBusy()) {
        const qint64 before = asked("SELECT count(*) FROM samples").toLongLong();
        ASSERT_TRUE(removal.step());
        EXPECT_LE(before - asked("SELECT count(*) FROM samples").toLongLong(), HistoryRemoval::mostRows);
        ++parts;
    }
    EXPECT_GE(parts, 3);
    EXPECT_EQ(asked("SELECT group_concat(value) FROM samples"), QStringLiteral("49999"));
}

TEST_F(HistoryTest, RemovesTheOldestTwentiethWhenTooLarge)
{
    for (qint64 i = 0; i <= 100; ++i)
        write({{"a", good(i * hour, i)}}, i * hour);
    ASSERT_EQ(writer->merge(steady), Written::Done);
    HistoryRemoval removal(writer->database());
    ASSERT_TRUE(removal.startBySize(at(101 * hour)));
    while (removal.isBusy())
        ASSERT_TRUE(removal.step());
    // The oldest row that may go is followed by one at hour 1; a twentieth of 100 hours after it
    // is hour 6.
    EXPECT_EQ(asked("SELECT min(value) FROM samples"), QStringLiteral("6"));
    EXPECT_EQ(asked("SELECT count(*) FROM hours"), QStringLiteral("101"));
    // Whatever is asked, the last row stays; after the rows, minutes go, and never hours.
    int passes = 0;
    while (removal.startBySize(at(101 * hour)) && ++passes < 1000)
        while (removal.isBusy())
            ASSERT_TRUE(removal.step());
    EXPECT_LT(passes, 1000);
    EXPECT_EQ(asked("SELECT count(*) FROM samples"), QStringLiteral("1"));
    EXPECT_EQ(asked("SELECT count(*) FROM minutes"), QStringLiteral("1"));
    EXPECT_EQ(asked("SELECT count(*) FROM hours"), QStringLiteral("101"));
}

TEST_F(HistoryTest, AFullDatabaseTakesAllOrNothing)
{
    HistoryRemoval removal(writer->database());
    write({{"a", good(0, qint64(1))}}, 0);
    ASSERT_TRUE(writer->database().run("PRAGMA max_page_count=1")); // as large as it is
    std::vector<HistoryRow> many(10'000, {"b", good(1, qint64(2))});
    EXPECT_EQ(writer->write(many, at(1)), Written::Full);
    EXPECT_TRUE(writer->problem().contains("full")) << writer->problem().toStdString();
    EXPECT_EQ(asked("SELECT count(*) FROM history"), QStringLiteral("1"));
    EXPECT_EQ(asked("SELECT count(*) FROM tags"), QStringLiteral("1"));
    removal.limitFile(0);
    write(many, 1);
    EXPECT_EQ(asked("SELECT max(seq) FROM history"), QStringLiteral("10001"));
    EXPECT_EQ(asked("SELECT count(*) FROM tags"), QStringLiteral("2"));
}

TEST_F(HistoryTest, ExportsCsv)
{
    write({{"line1.speed", good(1113, qint64(1480))},
           {"line1.name", good(1200, QStringLiteral("a \"b\", c"))},
           {"line1.speed", bad(2000, Reason::NoAnswer)},
           {"line1.list", good(2000, Value(std::vector<kvlink::Scalar>{qint64(1), qint64(2)}))},
           {"line1.speed", good(9000, 1.5)}},
          9000);
    QString problem;
    CsvExport csv(*reader, {"line1.speed", "line1.none", "line1.name", "line1.list"}, {at(0), at(9000)});
    const auto piece = csv.next(problem);
    ASSERT_TRUE(piece) << problem.toStdString();
    EXPECT_EQ(piece->toStdString(), "seq,time,tag,quality,reason,value\r\n"
                                    "1,2026-05-04T08:00:01.113Z,line1.speed,good,,1480\r\n"
                                    "3,2026-05-04T08:00:02.000Z,line1.speed,bad,no-answer,\r\n"
                                    "2,2026-05-04T08:00:01.200Z,line1.name,good,,\"a \"\"b\"\", c\"\r\n"
                                    "4,2026-05-04T08:00:02.000Z,line1.list,good,,\"1,2\"\r\n");
    EXPECT_EQ(csv.next(problem), QByteArray());
}

TEST_F(HistoryTest, ExportsInPieces)
{
    std::vector<HistoryRow> rows;
    for (qint64 i = 0; i < 12'000; ++i)
        rows.push_back({"a", good(i / 7, i)});
    write(rows, day);
    QString problem;
    CsvExport csv(*reader, {"a"}, {at(0), at(day)});
    int lines = 0;
    int pieces = 0;
    for (auto piece = csv.next(problem); piece && !piece->isEmpty(); piece = csv.next(problem)) {
        lines += int(piece->count('\n'));
        EXPECT_LT(piece->size(), 500'000);
        ++pieces;
    }
    EXPECT_EQ(lines, 12'001);
    EXPECT_EQ(pieces, 3);
}

} // namespace
} // namespace kvgateway
