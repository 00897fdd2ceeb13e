// SPDX-License-Identifier: MIT
// A day in fast motion, on a clock turned by hand: what is kept, rolled up and removed, at its end.
// The plant is a formula here; links over a day are what the simulation of kvlink's engine tests.
#include "store/codes.h"
#include "store/history_reader.h"
#include "store/journal_reader.h"
#include "store/roll_up.h"
#include "store/store_engine.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

constexpr qint64 secondsOfHour = 3600;
constexpr qint64 secondsOfDay = 24 * secondsOfHour;
constexpr qint64 restartAt = 6 * secondsOfHour;
constexpr qint64 outageFrom = 3000; // of each hour, ten minutes
constexpr qint64 stepEvery = 10;    // seconds; the thread of a store takes one each second at least

class DayTest : public testing::Test
{
protected:
    void SetUp() override
    {
        settings.folder = folder.path();
        settings.retention.rows = 2h;
        settings.retention.minutes = 6h;
        settings.retention.events = 8h;
        start();
    }
    void start()
    {
        inbox = std::make_unique<Inbox>(settings);
        engine = std::make_unique<StoreEngine>(settings, clock, *inbox);
        QString problem;
        ASSERT_TRUE(engine->open(problem)) << problem.toStdString();
    }
    void restart()
    {
        engine->close();
        engine.reset();
        start();
    }
    void add(const char *tag, const kvlink::Sample &sample)
    {
        inbox->addHistory({{QString::fromLatin1(tag), sample}}, clock.wall());
    }
    // What the plant does in a second of the day.
    void live(qint64 second)
    {
        const qint64 ms = second * 1000;
        const qint64 ofHour = second % secondsOfHour;
        add("level", good(ms, ofHour)); // climbs for an hour, then is emptied
        if (second % 60 == 0)
            add("pump", good(ms, second / 60 % 2 == 1)); // on in each other minute
        if (ofHour == 0)
            add("flow", good(ms, 7.5));
        if (ofHour == outageFrom)
            add("flow", bad(ms, kvlink::Reason::LinkLost));
        if (second % 60 == 30) {
            AuditRow row;
            row.newValue = second;
            ASSERT_TRUE(inbox->addAudit(row, clock.wall()));
            inbox->addEvent({0, {}, EventKind::Link, {}, {}, QString::number(second), {}}, clock.wall());
        }
    }
    void liveADay()
    {
        for (qint64 second = 0; second < secondsOfDay; ++second) {
            if (second == restartAt)
                restart();
            live(second);
            clock.advance(1s);
            if (second % stepEvery == stepEvery - 1)
                engine->step();
            if (second == 8 * secondsOfHour)
                bytesAfterEightHours = engine->status().historyBytes;
        }
        for (int i = 0; i < 10; ++i) { // removal goes in parts
            clock.advance(60s);
            engine->step();
        }
    }
    std::unique_ptr<HistoryReader> reader() const
    {
        QString problem;
        auto opened = HistoryReader::open(settings.folder, problem);
        EXPECT_NE(opened, nullptr) << problem.toStdString();
        return opened;
    }
    Trend trend(const char *tag, qint64 from, qint64 to, int points) const
    {
        QString problem;
        const TrendQuery query{QString::fromLatin1(tag), {at(from * 1000), at(to * 1000)}, points};
        return reader()->trend(query, problem).value_or(Trend());
    }
    qint64 number(const char *file, const char *query) const
    {
        OpenProblem problem;
        const auto database =
            Database::open(settings.folder + QLatin1String(file), Database::Use::Read, 0, problem);
        EXPECT_NE(database, nullptr) << problem.text.toStdString();
        return database->number(query);
    }

    QTemporaryDir folder;
    StoreSettings settings;
    FakeClock clock;
    std::unique_ptr<Inbox> inbox;
    std::unique_ptr<StoreEngine> engine;
    qint64 bytesAfterEightHours = 0;
};

struct HourRow {
    const char *tag;
    double min, mean, max;
    qint64 count;
    qint64 goodSeconds;
};

// clang-format off
constexpr HourRow hourRows[] = {
    {"level", 0,   1799.5, 3599, 3600, 3600},
    {"pump",  0,   0.5,    1,    60,   3600},
    {"flow",  7.5, 7.5,    7.5,  1,    3000}, // the outage is a gap
};
// clang-format on

TEST_F(DayTest, AtItsEndAllPromisesAreKept)
{
    liveADay();
    EXPECT_EQ(engine->status().history, HistoryState::Running);
    EXPECT_EQ(engine->status().journalProblem, QString());
    EXPECT_EQ(inbox->droppedHistory() + inbox->droppedEvents(), 0u);
    EXPECT_TRUE(engine->isIdle());

    // Each hour is there, rolled up once, the one of the restart too.
    for (const HourRow &row : hourRows) {
        const Trend day = trend(row.tag, 0, secondsOfDay, 24);
        ASSERT_EQ(day.points.size(), 24u) << row.tag;
        EXPECT_EQ(day.source, TrendSource::Hours);
        for (std::size_t hour = 0; hour < 24; ++hour) {
            const TrendPoint &point = day.points[hour];
            SCOPED_TRACE(std::string(row.tag) + " hour " + std::to_string(hour));
            EXPECT_EQ(point.start, at(qint64(hour) * hourMs));
            EXPECT_EQ(point.min, row.min);
            EXPECT_EQ(point.max, row.max);
            EXPECT_NEAR(point.mean, row.mean, 1e-9);
            EXPECT_EQ(point.count, row.count);
            EXPECT_EQ(point.good, std::chrono::seconds(row.goodSeconds));
        }
    }

    // Minutes go back six hours, rows two; what is older was removed, within ten minutes.
    const Trend minutes = trend("level", secondsOfDay - 5 * secondsOfHour, secondsOfDay, 300);
    ASSERT_EQ(minutes.points.size(), 300u);
    EXPECT_EQ(minutes.source, TrendSource::Minutes);
    for (std::size_t i = 0; i < minutes.points.size(); ++i) {
        const double first = double(i % 60 * 60); // of its hour
        EXPECT_EQ(minutes.points[i].min, first) << i;
        EXPECT_EQ(minutes.points[i].max, first + 59) << i;
        EXPECT_NEAR(minutes.points[i].mean, first + 29.5, 1e-9) << i;
    }
    const qint64 endMs = toMs(clock.wall());
    const qint64 oldestRow = number("/history.sqlite", "SELECT min(time) FROM samples");
    EXPECT_LE(oldestRow, endMs - 2 * hourMs) << "none is missing";
    EXPECT_GE(oldestRow, endMs - 3 * hourMs - 20 * minuteMs) << "the newest before the limit stays";
    const qint64 oldestMinute = number("/history.sqlite", "SELECT min(start) FROM minutes");
    EXPECT_LE(oldestMinute, endMs - 6 * hourMs);
    EXPECT_GE(oldestMinute, endMs - 7 * hourMs - 20 * minuteMs);

    // Each write has its record. Events go after eight hours.
    EXPECT_EQ(number("/journal.sqlite", "SELECT count(*) FROM audit"), 1440);
    EXPECT_EQ(number("/journal.sqlite", "SELECT count(DISTINCT new_value) FROM audit"), 1440);
    EXPECT_EQ(number("/journal.sqlite", "SELECT max(seq) FROM audit"), 1440);
    EXPECT_EQ(number("/journal.sqlite", "SELECT max(text + 0) FROM events"), secondsOfDay - 30);
    const qint64 events = number("/journal.sqlite", "SELECT count(*) FROM events");
    EXPECT_LE(events, 8 * 60 + 20);
    EXPECT_GE(events, 7 * 60);

    EXPECT_EQ(
        number("/history.sqlite", "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check = 'ok'"),
        1);
    EXPECT_GT(bytesAfterEightHours, 0);
    EXPECT_LT(engine->status().historyBytes, bytesAfterEightHours * 5 / 4) << "it does not grow by the day";
}

} // namespace
} // namespace kvgateway
