// SPDX-License-Identifier: MIT
// Files and databases that rows are logged into: appended, locked, rotated, moved away, full.
#include "log/log_sink.h"
#include "log/log_writer.h"
#include "log/rotation.h"
#include "log/wide_rows.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <mutex>

namespace kvhost
{
namespace
{

using kvlink::Quality;
using namespace std::chrono_literals;

constexpr qint64 february = 1769904000123; // 2026-02-01 00:00:00.123 UTC

LogRow row(const char *name, const char *value, qint64 timeMs = february)
{
    LogRow r;
    r.row.timeMs = timeMs;
    r.row.name = name;
    r.row.value = value;
    r.row.hasValue = true;
    r.row.quality = Quality::Good;
    return r;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

// Rows are dated by the local clock: the same everywhere.
class Logs : public testing::Test
{
protected:
    Logs()
    {
        qputenv("TZ", "UTC-1"); // an hour before UTC, the whole year
        ::tzset();
    }
    ~Logs() override
    {
        qunsetenv("TZ");
        ::tzset();
    }

    std::unique_ptr<LogSink> csv(const char *name = "v.csv", kvlink::Duration rotate = 0s,
                                 kvlink::Duration keep = 0s)
    {
        return fileSink({path(name), {}, rotate, keep}, -1);
    }
    QString path(const char *name = "v.csv") const { return folder.filePath(name); }

    QTemporaryDir folder;
    QString problem;
};

// --- files ---

TEST_F(Logs, headEachFileOnceAndGoOnInAnOldOne)
{
    EXPECT_EQ(csv()->write({row("a", "1")}, problem), 1U);
    EXPECT_EQ(csv()->write({row("b", "2")}, problem), 1U);
    EXPECT_EQ(contentOf(path()).toStdString(), "time,name,value,unit,quality,error\n"
                                               "2026-02-01T00:00:00.123Z,a,1,,good,\n"
                                               "2026-02-01T00:00:00.123Z,b,2,,good,\n");
}

TEST_F(Logs, beginOnALineOfTheirOwnAfterOneThatWasCut)
{
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("time,name,value,unit,quality,error\n2026-01-");
    file.close();
    EXPECT_EQ(csv()->write({row("a", "1")}, problem), 1U);
    EXPECT_EQ(contentOf(path()).toStdString(), "time,name,value,unit,quality,error\n2026-01-\n"
                                               "2026-02-01T00:00:00.123Z,a,1,,good,\n");
}

TEST_F(Logs, refuseAFileThatAnotherLoggerHas)
{
    const auto first = csv();
    ASSERT_TRUE(first->open(problem));
    EXPECT_FALSE(csv()->open(problem));
    EXPECT_TRUE(problem.contains("another kv-host logs to this file already")) << problem.toStdString();
    EXPECT_EQ(first->write({row("a", "1")}, problem), 1U);
}

TEST_F(Logs, refuseATargetThatCannotWork)
{
    EXPECT_FALSE(fileSink({"/nonexistent/x.csv", {}, 0s, 0s}, -1)->open(problem));
    EXPECT_TRUE(problem.contains("No such file")) << problem.toStdString();
    EXPECT_FALSE(fileSink({folder.path(), {}, 0s, 0s}, -1)->open(problem));
    EXPECT_TRUE(problem.contains("directory")) << problem.toStdString();
    QFile file(path("text.db"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(5000, 'x'));
    file.close();
    EXPECT_FALSE(sqliteSink(path("text.db"), 0s)->open(problem));
    EXPECT_TRUE(problem.contains("not a database")) << problem.toStdString();
    EXPECT_FALSE(sqliteSink("/nonexistent/x.db", 0s)->open(problem));
}

TEST_F(Logs, goOnInANewFileAfterTheirsWasRemovedOrMoved)
{
    const auto sink = csv();
    EXPECT_EQ(sink->write({row("a", "1")}, problem), 1U);
    ASSERT_TRUE(QFile::rename(path(), path("old.csv")));
    EXPECT_EQ(sink->write({row("b", "2")}, problem), 1U);
    EXPECT_TRUE(contentOf(path("old.csv")).contains(",a,1,"));
    EXPECT_FALSE(contentOf(path("old.csv")).contains(",b,2,"));
    EXPECT_EQ(contentOf(path()).toStdString(),
              "time,name,value,unit,quality,error\n2026-02-01T00:00:00.123Z,b,2,,good,\n");
}

TEST_F(Logs, leaveNoHoleInAFileThatWasEmptiedFromOutside)
{
    const auto sink = csv();
    EXPECT_EQ(sink->write({row("a", "1")}, problem), 1U);
    ASSERT_TRUE(QFile::resize(path(), 0));
    EXPECT_EQ(sink->write({row("b", "2")}, problem), 1U);
    EXPECT_EQ(contentOf(path()).toStdString(),
              "time,name,value,unit,quality,error\n2026-02-01T00:00:00.123Z,b,2,,good,\n");
}

TEST_F(Logs, sayThatADiskIsFull)
{
    EXPECT_EQ(fileSink({"/dev/full", {}, 0s, 0s}, -1)->write({row("a", "1")}, problem), 0U);
    EXPECT_TRUE(problem.contains("No space left")) << problem.toStdString();
}

// A file with a hole takes no space.
TEST_F(Logs, goOnInAFileOfMoreThan2GiB)
{
    constexpr qint64 before = (qint64(1) << 31) + 10;
    QFile file(path("big.csv"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_TRUE(file.resize(before));
    file.close();
    const auto sink = csv("big.csv");
    ASSERT_TRUE(sink->open(problem)) << problem.toStdString();
    EXPECT_EQ(sink->write({row("a", "1")}, problem), 1U) << problem.toStdString();
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_TRUE(file.seek(before));
    EXPECT_EQ(file.readAll().toStdString(), "\n2026-02-01T00:00:00.123Z,a,1,,good,\n");
}

TEST_F(Logs, waitForTheReaderOfAPipe)
{
    ASSERT_EQ(::mkfifo(path("pipe").toLocal8Bit().constData(), 0600), 0);
    const auto sink = csv("pipe");
    EXPECT_TRUE(sink->open(problem)) << problem.toStdString();
    EXPECT_EQ(sink->write({row("a", "1")}, problem), 0U);
    EXPECT_TRUE(problem.contains("nobody reads this pipe yet")) << problem.toStdString();
}

// --- rotation ---

TEST_F(Logs, rotateAtFullLocalHoursAndAtMidnight)
{
    const qint64 local2310 = QDateTime(QDate(2026, 2, 1), QTime(23, 10), Qt::LocalTime).toMSecsSinceEpoch();
    EXPECT_EQ(rotatedName("/x/values.csv", periodBegin(local2310, 1h)).toStdString(),
              "/x/values-20260201-230000.csv");
    EXPECT_EQ(rotatedName("values", periodBegin(local2310, 24h)).toStdString(), "values-20260201-000000");
    EXPECT_EQ(rotatedName("v.csv", periodBegin(local2310, 6h)).toStdString(), "v-20260201-180000.csv");
    EXPECT_TRUE(canRotateBy(24h));
    EXPECT_TRUE(canRotateBy(10min));
    for (const kvlink::Duration wrong :
         {kvlink::Duration(0), kvlink::Duration(500ms), kvlink::Duration(7h), kvlink::Duration(48h)})
        EXPECT_FALSE(canRotateBy(wrong));
}

TEST_F(Logs, putEachRowIntoTheFileOfItsOwnTime)
{
    const auto sink = csv("v.csv", 1h);
    const qint64 hour = 3600000;
    EXPECT_EQ(sink->write({row("a", "1"), row("b", "2", february + hour), row("c", "3", february)}, problem),
              3U);
    EXPECT_TRUE(contentOf(path("v-20260201-010000.csv")).contains(",a,1,"));
    EXPECT_TRUE(contentOf(path("v-20260201-020000.csv")).contains(",b,2,"));
    EXPECT_TRUE(contentOf(path("v-20260201-010000.csv")).contains(",c,3,"));
    EXPECT_EQ(contentOf(path("v-20260201-010000.csv")).count("time,name"), 1);
}

TEST_F(Logs, removeTheirOwnOldFilesOnly)
{
    const QStringList files = {"v-20260101-000000.csv", "v-20260201-000000.csv", "w-20250101-000000.csv",
                               "v-notes.csv", "v.csv"};
    const qint64 oldest = QDateTime(QDate(2026, 1, 15), QTime(0, 0), Qt::LocalTime).toMSecsSinceEpoch();
    EXPECT_EQ(outdatedFiles("/x/v.csv", files, oldest), QStringList{"v-20260101-000000.csv"});
    QFile old(path("v-20200101-000000.csv"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.close();
    EXPECT_EQ(csv("v.csv", 1h, 24h)->write({row("a", "1")}, problem), 1U);
    EXPECT_FALSE(QFile::exists(path("v-20200101-000000.csv")));
}

// --- formats ---

TEST_F(Logs, areWrittenAsSpreadsheetsOfTheCountryReadThem)
{
    LogFormat format;
    format.separator = ';';
    format.hasDecimalComma = true;
    format.hasLocalTime = true;
    EXPECT_EQ(headerOf(format).toStdString(), "time;name;value;unit;quality;error\n");
    EXPECT_EQ(lineOf(format, row("a", "1.5")).toStdString(), "2026-02-01 01:00:00,123;a;1,5;;good;\n");
    LogRow text = row("a", "1.5");
    text.row.isNumeric = false;
    EXPECT_EQ(lineOf(format, text).toStdString(), "2026-02-01 01:00:00,123;a;1.5;;good;\n");
    format.isJson = true;
    EXPECT_TRUE(headerOf(format).isEmpty());
    EXPECT_EQ(lineOf(format, row("a", "1.5")).toStdString(),
              "{\"name\":\"a\",\"quality\":\"good\",\"time\":1769904000123,\"value\":1.5}\n");
}

TEST_F(Logs, holdAPassInALineWithTheWideLayout)
{
    LogFormat format;
    format.isWide = true;
    format.wideNames = QStringList{"level", "oven, top"};
    LogRow pass;
    pass.row.timeMs = february;
    pass.wide = QStringList{"5", ""};
    EXPECT_EQ(headerOf(format).toStdString(), "time,level,\"oven, top\"\n");
    EXPECT_EQ(lineOf(format, pass).toStdString(), "2026-02-01T00:00:00.123Z,5,\n");
    format.isJson = true;
    EXPECT_EQ(lineOf(format, pass).toStdString(), "{\"level\":5,\"time\":1769904000123}\n");
}

TEST(WideRowsOfPasses, endWhenTheNextPassBegins)
{
    WideRows rows(2);
    EXPECT_FALSE(rows.put(0, "1", 100));
    EXPECT_FALSE(rows.put(1, "2", 110));
    const auto first = rows.put(0, "3", 200);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->wide, (QStringList{"1", "2"}));
    EXPECT_EQ(first->row.timeMs, 110); // of its newest answer
    // What has not been read again keeps its value; what is not good is empty.
    const auto second = rows.flush();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->wide, (QStringList{"3", "2"}));
    EXPECT_FALSE(rows.flush());
    EXPECT_FALSE(rows.put(1, {}, 300));
    EXPECT_EQ(rows.flush()->wide, (QStringList{"3", ""}));
}

// Seconds since 1970 fill 31 bits in January 2038 and 32 bits in February 2106.
TEST_F(Logs, goOnWhenSecondsSince1970TakeMoreBits)
{
    LogFormat format;
    EXPECT_EQ(lineOf(format, row("a", "1", 2'147'483'648'250)).toStdString(),
              "2038-01-19T03:14:08.250Z,a,1,,good,\n");
    EXPECT_EQ(lineOf(format, row("a", "1", 4'294'967'296'250)).toStdString(),
              "2106-02-07T06:28:16.250Z,a,1,,good,\n");
    format.isJson = true;
    EXPECT_EQ(lineOf(format, row("a", "1", 4'294'967'296'250)).toStdString(),
              "{\"name\":\"a\",\"quality\":\"good\",\"time\":4294967296250,\"value\":1}\n");
}

// --- SQLite ---

std::string asked(const QString &path, const char *question)
{
    sqlite3 *database = nullptr;
    EXPECT_EQ(sqlite3_open(path.toLocal8Bit().constData(), &database), SQLITE_OK);
    std::string answer;
    const auto take = [](void *to, int count, char **texts, char **) {
        for (int i = 0; i < count; ++i)
            *static_cast<std::string *>(to) += std::string(texts[i] == nullptr ? "null" : texts[i]) + " ";
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, question, take, &answer, nullptr), SQLITE_OK);
    sqlite3_close(database);
    return answer;
}

TEST_F(Logs, inADatabaseAreFoundByNameAndTime)
{
    const auto sink = sqliteSink(path("v.db"), 0s);
    ASSERT_TRUE(sink->open(problem)) << problem.toStdString();
    EXPECT_EQ(sink->write({row("a", "1"), row("b", "1.5")}, problem), 2U) << problem.toStdString();
    EXPECT_EQ(asked(path("v.db"), "SELECT value FROM samples ORDER BY name"), "1 1.5 ");
    EXPECT_EQ(asked(path("v.db"), "SELECT count(*) FROM samples WHERE typeof(value) IN ('integer', 'real')"),
              "2 ");
    EXPECT_EQ(asked(path("v.db"), "PRAGMA journal_mode"), "wal ");
    EXPECT_EQ(asked(path("v.db"), "SELECT group_concat(name) FROM pragma_index_info('samples_name_time')"),
              "name,time ");
}

TEST_F(Logs, inADatabaseHaveTimesOf64Bits)
{
    const auto sink = sqliteSink(path("v.db"), 0s);
    EXPECT_EQ(sink->write({row("a", "1", 4'294'967'296'250)}, problem), 1U) << problem.toStdString();
    EXPECT_EQ(asked(path("v.db"), "SELECT time FROM samples"), "4294967296250 ");
}

TEST_F(Logs, inADatabaseThatWasMovedGoOnInANewOne)
{
    const auto sink = sqliteSink(path("v.db"), 0s);
    EXPECT_EQ(sink->write({row("a", "1")}, problem), 1U);
    ASSERT_TRUE(QFile::rename(path("v.db"), path("old.db")));
    QFile::remove(path("v.db-wal"));
    QFile::remove(path("v.db-shm"));
    EXPECT_EQ(sink->write({row("b", "2")}, problem), 1U) << problem.toStdString();
    EXPECT_EQ(asked(path("v.db"), "SELECT name FROM samples"), "b ");
}

TEST_F(Logs, inADatabaseAreRemovedWhenTheyAreTooOld)
{
    const auto sink = sqliteSink(path("v.db"), 24h);
    EXPECT_EQ(sink->write({row("old", "1"), row("new", "2", nowMs())}, problem), 2U);
    EXPECT_EQ(asked(path("v.db"), "SELECT name FROM samples"), "new ");
}

// --- the writing thread ---

// Takes rows only while it is told to.
class FickleSink : public LogSink
{
public:
    struct Control {
        std::mutex mutex;
        std::condition_variable changed;
        bool works = true;
        bool isStuck = false;
        int refusals = 0;
        QStringList taken;

        void set(bool &what, bool value)
        {
            const std::lock_guard lock(mutex);
            what = value;
            changed.notify_all();
        }
    };

    explicit FickleSink(std::shared_ptr<Control> control) : m_control(std::move(control)) {}
    bool open(QString & /*problem*/) override { return true; }
    std::size_t write(const std::vector<LogRow> &batch, QString &problem) override
    {
        std::unique_lock lock(m_control->mutex);
        m_control->changed.wait(lock, [this] { return !m_control->isStuck; });
        if (!m_control->works) {
            problem = "full";
            ++m_control->refusals;
            m_control->changed.notify_all();
            return 0;
        }
        for (const LogRow &r : batch)
            m_control->taken << r.row.name;
        m_control->changed.notify_all();
        return batch.size();
    }

private:
    std::shared_ptr<Control> m_control;
};

class Writers : public testing::Test
{
protected:
    void waitUntil(const std::function<bool()> &isSo)
    {
        std::unique_lock lock(control->mutex);
        ASSERT_TRUE(control->changed.wait_for(lock, 10s, isSo));
    }

    std::shared_ptr<FickleSink::Control> control = std::make_shared<FickleSink::Control>();
    std::atomic<int> news{0};
};

TEST_F(Writers, writeWhatTheyAreGivenBeforeTheyEnd)
{
    LogWriter writer(std::make_unique<FickleSink>(control), 1h, [this] { ++news; });
    writer.add(row("a", "1"));
    writer.add(row("b", "2"));
    EXPECT_TRUE(writer.finish(10s));
    EXPECT_EQ(control->taken, (QStringList{"a", "b"}));
    EXPECT_EQ(writer.written(), 2);
    EXPECT_EQ(writer.lost(), 0);
}

// Five seconds of a stalled disk cost no sample.
TEST_F(Writers, takeRowsWhileTheDiskIsStuck)
{
    control->isStuck = true;
    LogWriter writer(std::make_unique<FickleSink>(control), 0s, {});
    for (int i = 0; i < 1000; ++i)
        writer.add(row("a", "1"));
    control->set(control->isStuck, false);
    EXPECT_TRUE(writer.finish(10s));
    EXPECT_EQ(control->taken.size(), 1000);
}

TEST_F(Writers, keepWhatIsNotTakenAndCountWhatIsLost)
{
    control->works = false;
    LogWriter writer(
        std::make_unique<FickleSink>(control), 0s, [this] { ++news; }, 3);
    writer.add(row("a", "1"));
    waitUntil([this] { return control->refusals > 0; });
    while (writer.problem().isEmpty())
        std::this_thread::yield();
    for (const char *name : {"b", "c", "d", "e"})
        writer.add(row(name, "1"));
    control->set(control->works, true);
    EXPECT_TRUE(writer.finish(10s));
    EXPECT_EQ(control->taken.join(' ').toStdString(), "c d e");
    EXPECT_EQ(writer.written(), 3);
    EXPECT_EQ(writer.lost(), 2);
    EXPECT_TRUE(writer.problem().isEmpty());
    EXPECT_EQ(news, 2); // it failed, and works again
}

TEST_F(Writers, countAsLostWhatTheTargetNeverTook)
{
    control->isStuck = true;
    LogWriter writer(std::make_unique<FickleSink>(control), 0s, {});
    writer.add(row("a", "1"));
    EXPECT_FALSE(writer.finish(10ms));
    EXPECT_EQ(writer.lost(), 1);
    control->set(control->isStuck, false);
}

} // namespace
} // namespace kvhost
