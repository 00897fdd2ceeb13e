// What goes to stdout and into logs; options' texts.
#include "log_sink.h"
#include "options.h"
#include "output.h"
#include "plc_url.h"
#include "statistics.h"
#include "table.h"
#include "watch_table.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace kvhost
{
namespace
{

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

TEST(Lines, asCsv)
{
    Row quoted = row("a,b", "say \"x\"");
    EXPECT_EQ(csvLine(quoted).toStdString(), "2026-02-01T00:00:00.123Z,\"a,b\",\"say \"\"x\"\"\",,good,");
}

TEST(Lines, asJson)
{
    EXPECT_EQ(jsonLine(row("DM1", "5")).toStdString(),
              R"({"name":"DM1","quality":"good","time":1769904000123,"value":5})");
    Row text = row("s", "ab");
    text.numeric = false;
    EXPECT_EQ(jsonLine(text).toStdString(),
              R"({"name":"s","quality":"good","time":1769904000123,"value":"ab"})");
    Row bad = row("DM1", "", Quality::Bad);
    bad.error = "E0";
    EXPECT_EQ(jsonLine(bad).toStdString(),
              R"({"error":"E0","name":"DM1","quality":"bad","time":1769904000123})");
}

TEST(Rows, aBadOrNeverReadValueIsNotShown)
{
    QString problem;
    Variable variable;
    variable.address = parseAddress("DM1", &problem).value();
    Value value;
    value.whole = 7;
    QualityBook::State state;
    state.everRead = true;
    state.quality = Quality::Bad;
    state.reason = "E0";
    const Row bad = makeRow(variable, 0, value, state, 0);
    EXPECT_FALSE(bad.hasValue);
    EXPECT_TRUE(bad.value.isEmpty());
    EXPECT_EQ(bad.error.toStdString(), "E0");
    state.everRead = false;
    state.quality = Quality::Never;
    EXPECT_FALSE(makeRow(variable, 0, value, state, 0).hasValue);
    state.everRead = true;
    state.quality = Quality::Stale;
    EXPECT_EQ(makeRow(variable, 0, value, state, 0).value.toStdString(), "7");
}

TEST(Rows, scaledValuesAreShownScaled)
{
    QString problem;
    Variable variable;
    variable.address = parseAddress("DM1.S", &problem).value();
    variable.scale = 0.1;
    variable.offset = -40;
    Value value;
    value.format = Format::Signed;
    value.whole = 615;
    EXPECT_EQ(variable.shownValue(value).toStdString(), "21.5");
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

TEST(LiveTable, marksChangesAndSaysWhatDoesNotFit)
{
    const QVector<LinkStatus> links = {{0, "tcp://a:8501", false, Trouble::NoLink, "refused", 3, 1}};
    std::vector<TableRow> rows;
    for (int i = 0; i < 10; ++i)
        rows.push_back({row("DM1", "5"), Ms(200), i == 0});
    const QStringList lines = tableLines(rows, links, Statistics(), {0.0, 0.0, Ms(500)}, 60, 8);
    ASSERT_EQ(lines.size(), 7);
    EXPECT_EQ(lines[0].toStdString(), "tcp://a:8501  NO LINK: refused, 3 reconnects");
    EXPECT_EQ(lines[3].toStdString(), "* DM1      5 good     0.2 s");
    EXPECT_EQ(lines[4].toStdString(), "  DM1      5 good     0.2 s");
    EXPECT_TRUE(lines[6].contains("7 more do not fit"));
    for (const QString &line : lines)
        EXPECT_LE(line.size(), 60);
}

TEST(LiveTable, tellsAgesShortly)
{
    EXPECT_EQ(ageText(Ms(240)).toStdString(), "0.2 s");
    EXPECT_EQ(ageText(Ms(12000)).toStdString(), "12 s");
    EXPECT_EQ(ageText(std::chrono::minutes(3)).toStdString(), "3 min");
    EXPECT_EQ(ageText(std::chrono::hours(5)).toStdString(), "5 h");
}

TEST(Summary, isLikePings)
{
    Statistics s;
    EXPECT_EQ(s.summary().section('\n', 0, 0).toStdString(), "0 requests, 0 answers, 0 errors, 0.0% loss");
    s.requests = 4;
    s.unanswered = 1;
    s.answered(Ms(10));
    s.answered(Ms(30));
    s.failed("no answer");
    s.failed("E0");
    s.reconnects = 2;
    EXPECT_EQ(s.summary().toStdString(), "4 requests, 2 answers, 2 errors (E0 1, no answer 1), 25.0% loss\n"
                                         "answer time min/mean/max = 10.00/20.00/30.00 ms, 2 reconnects, 0 "
                                         "given up, 0 stray bytes thrown away");
}

TEST(Durations, withAndWithoutUnits)
{
    EXPECT_EQ(parseDuration("250"), Ms(250));
    EXPECT_EQ(parseDuration("250ms"), Ms(250));
    EXPECT_EQ(parseDuration("1.5s"), Ms(1500));
    EXPECT_EQ(parseDuration("2m"), Ms(120000));
    EXPECT_EQ(parseDuration("1h"), Ms(3600000));
    EXPECT_EQ(parseDuration("1d"), Ms(86400000));
    for (const char *wrong : {"", "s", "-1s", "5x", "nan", "inf", "1e300s", "1 2"})
        EXPECT_EQ(parseDuration(wrong), std::nullopt) << wrong;
}

struct UrlRow {
    const char *row;
    const char *text;
    int station;
    const char *shown;
};

class PlcPlace : public testing::TestWithParam<UrlRow>
{
};

TEST_P(PlcPlace, isTakenApart)
{
    QString problem;
    const auto target = parsePlc(GetParam().text, &problem);
    ASSERT_TRUE(target) << problem.toStdString();
    EXPECT_EQ(target->station, GetParam().station);
    EXPECT_EQ(target->url.text().toStdString(), GetParam().shown);
}

const UrlRow urlRows[] = {
    {"tcp", "tcp://192.168.0.10", -1, "tcp://192.168.0.10:8501"},
    {"port", "tcp://plc.local:9000", -1, "tcp://plc.local:9000"},
    {"udp", "udp://10.0.0.1:8501", -1, "udp://10.0.0.1:8501"},
    {"station", "3=tcp://a", 3, "tcp://a:8501"},
    {"ipv6", "tcp://[::1]:8501", -1, "tcp://[::1]:8501"},
    {"serial", "serial:///dev/ttyUSB0", -1, "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1"},
    {"serialAll", "1=serial:///dev/ttyS1?baud=115200&data=7&parity=none&stop=2", 1,
     "serial:///dev/ttyS1?baud=115200&data=7&parity=none&stop=2"},
};

INSTANTIATE_TEST_SUITE_P(Rows, PlcPlace, testing::ValuesIn(urlRows),
                         [](const auto &r) { return std::string(r.param.row); });

TEST(PlcPlaces, wrongOnesAreRefusedWithAHint)
{
    for (const char *wrong :
         {"", "192.168.0.10", "http://a", "tcp://", "tcp://a:0", "tcp://a:99999", "tcp://a/path", "x=tcp://a",
          "256=tcp://a", "serial://ttyS0", "serial:///dev/x?baud=fast", "serial:///dev/x?parity=odd2",
          "serial:///dev/x?data=9", "serial:///dev/x?speed=1"}) {
        QString problem;
        EXPECT_FALSE(parsePlc(wrong, &problem)) << wrong;
        EXPECT_TRUE(problem.contains("expected") || problem.contains("needs") ||
                    problem.contains("no setting"))
            << wrong << ": " << problem.toStdString();
    }
}

// ------------------------------------------------------------------------------------------------ logging

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

TEST(CsvLog, headsEachFileOnceAndGoesOnInAnOldOne)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("values.csv");
    QString problem;
    ASSERT_TRUE(csvSink(path, 0)->write({row("a", "1")}, &problem));
    ASSERT_TRUE(csvSink(path, 0)->write({row("b", "2")}, &problem));
    EXPECT_EQ(contentOf(path).toStdString(), "time,name,value,unit,quality,error\n"
                                             "2026-02-01T00:00:00.123Z,a,1,,good,\n"
                                             "2026-02-01T00:00:00.123Z,b,2,,good,\n");
}

TEST(CsvLog, rotatesByTime)
{
    EXPECT_EQ(rotatedName("/x/values.csv", 1769904000000).toStdString(), "/x/values-20260201-000000.csv");
    EXPECT_EQ(rotatedName("values", 1769904000000).toStdString(), "values-20260201-000000");
    const QTemporaryDir folder;
    const auto sink = csvSink(folder.filePath("v.csv"), 60000);
    QString problem;
    Row later = row("b", "2");
    later.timeMs += 60000;
    ASSERT_TRUE(sink->write({row("a", "1")}, &problem));
    ASSERT_TRUE(sink->write({later}, &problem));
    EXPECT_TRUE(contentOf(folder.filePath("v-20260201-000000.csv")).contains(",a,1,"));
    EXPECT_TRUE(contentOf(folder.filePath("v-20260201-000100.csv")).contains(",b,2,"));
}

TEST(CsvLog, aFullDiskIsToldAndNothingHalfStays)
{
    QString problem;
    EXPECT_FALSE(csvSink("/dev/full", 0)->write({row("a", "1")}, &problem));
    EXPECT_TRUE(problem.contains("No space left")) << problem.toStdString();
    EXPECT_FALSE(csvSink("/nonexistent/x.csv", 0)->write({row("a", "1")}, &problem));
}

TEST(SqliteLog, takesRowsAndWaitsForNobodysLock)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("values.db");
    const auto sink = sqliteSink(path);
    QString problem;
    ASSERT_TRUE(sink->write({row("a", "1"), row("b", "1.5")}, &problem)) << problem.toStdString();

    sqlite3 *other = nullptr;
    ASSERT_EQ(sqlite3_open(path.toLocal8Bit().constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_FALSE(sink->write({row("c", "3")}, &problem));
    EXPECT_TRUE(problem.contains("locked")) << problem.toStdString();
    ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_TRUE(sink->write({row("c", "3")}, &problem)) << problem.toStdString();

    int count = 0;
    const auto counted = [](void *to, int, char **texts, char **) {
        *static_cast<int *>(to) = std::atoi(texts[0]);
        return 0;
    };
    sqlite3_exec(other, "SELECT count(*) FROM samples WHERE typeof(value) IN ('integer', 'real')", counted,
                 &count, nullptr);
    sqlite3_close(other);
    EXPECT_EQ(count, 3);
}

/// Takes batches only while it is told to.
class FickleSink : public LogSink
{
public:
    FickleSink(const bool *works, QStringList *taken) : m_works(works), m_taken(taken) {}
    bool write(const std::vector<Row> &batch, QString *problem) override
    {
        if (!*m_works) {
            *problem = "full";
            return false;
        }
        for (const Row &r : batch)
            *m_taken << r.name;
        return true;
    }

private:
    const bool *m_works;
    QStringList *m_taken;
};

TEST(LogBuffers, keepWhatIsNotTakenAndCountWhatIsLost)
{
    bool works = false;
    QStringList taken;
    LogBuffer buffer(std::make_unique<FickleSink>(&works, &taken), 3);
    for (const char *name : {"a", "b", "c", "d", "e"})
        buffer.add(row(name, "1"));
    buffer.flush();
    EXPECT_EQ(buffer.problem().toStdString(), "full");
    EXPECT_EQ(buffer.waiting(), 3U);
    works = true;
    buffer.flush();
    EXPECT_TRUE(buffer.problem().isEmpty());
    EXPECT_EQ(taken.join(' ').toStdString(), "c d e");
    EXPECT_EQ(buffer.written(), 3);
    EXPECT_EQ(buffer.lost(), 2);
}

} // namespace
} // namespace kvhost
