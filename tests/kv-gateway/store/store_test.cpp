// SPDX-License-Identifier: MIT
// What the store's thread does, step by step, with clocks turned by hand; and the thread itself.
#include "store/codes.h"
#include "store/history_reader.h"
#include "store/journal_reader.h"
#include "store/store.h"
#include "store/store_engine.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

#include <QFile>

#include <numeric>
#include <sys/mount.h>
#include <thread>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using kvlink::Reason;

class EngineTest : public testing::Test
{
protected:
    void SetUp() override
    {
        settings.folder = folder.path() + QStringLiteral("/data");
        settings.mostHistoryQueued = 100;
        settings.mostAuditQueued = 3;
        settings.mostEventsQueued = 3;
        settings.onEvent = [this](const EventRow &event) { told += event.text; };
    }
    void start()
    {
        inbox = std::make_unique<Inbox>(settings);
        engine = std::make_unique<StoreEngine>(settings, clock, *inbox);
        QString problem;
        ASSERT_TRUE(engine->open(problem)) << problem.toStdString();
    }
    void add(const QString &tag, const kvlink::Sample &sample)
    {
        inbox->addHistory({{tag, sample}}, clock.wall());
    }
    bool audit(const char *tag) { return inbox->addAudit(row(tag), clock.wall()); }
    static AuditRow row(const char *tag)
    {
        AuditRow audit;
        audit.tag = QString::fromLatin1(tag);
        return audit;
    }
    // "kind text: cause", the oldest first
    QStringList events()
    {
        QString problem;
        const auto reader = JournalReader::open(settings.folder, problem);
        EXPECT_NE(reader, nullptr) << problem.toStdString();
        QStringList lines;
        const auto rows = reader->events({}, problem);
        for (const EventRow &event : *rows)
            lines.prepend(
                QStringLiteral("%1 %2: %3").arg(eventKindName(event.kind), event.text, event.cause));
        return lines;
    }
    // "value", or "quality reason" of what is not good
    QStringList history(const QString &tag, qint64 from = -1'000'000'000)
    {
        QString problem;
        const auto reader = HistoryReader::open(settings.folder, problem);
        EXPECT_NE(reader, nullptr) << problem.toStdString();
        QStringList lines;
        const auto page = reader->raw({tag, {at(from), endOfTime}, {}, 10'000}, problem);
        for (const RawRow &found : page->rows)
            lines += found.sample.isGood()
                         ? found.sample.toText()
                         : kvlink::qualityName(found.sample.quality) + ' ' + reasonName(found.sample.reason);
        return lines;
    }

    QTemporaryDir folder;
    StoreSettings settings;
    FakeClock clock;
    QStringList told; // to the log
    std::unique_ptr<Inbox> inbox;
    std::unique_ptr<StoreEngine> engine;
};

TEST_F(EngineTest, WritesWhatWasAdded)
{
    start();
    EXPECT_EQ(engine->status().history, HistoryState::Running);
    add("a", good(0, qint64(1)));
    EXPECT_EQ(inbox->queuedHistory(), 1);
    EXPECT_FALSE(engine->isIdle());
    engine->step();
    EXPECT_EQ(inbox->queuedHistory(), 0);
    EXPECT_TRUE(engine->isIdle());
    EXPECT_EQ(history("a"), QStringList("1"));
    EXPECT_EQ(engine->status().historyRows, 1U);
    const auto commits = engine->status().historyCommits.counts;
    EXPECT_EQ(std::accumulate(commits.begin(), commits.end(), quint64(0)), 1U);
    EXPECT_GT(engine->status().historyBytes, 0);
    EXPECT_GT(engine->status().walBytes, 0);
}

TEST_F(EngineTest, ASampleWithoutATimeGetsThatOfItsAdding)
{
    start();
    clock.advance(5s);
    add("a", {});
    engine->step();
    QString problem;
    const auto page =
        HistoryReader::open(settings.folder, problem)->raw({"a", {at(0), at(10'000)}, {}, 10}, problem);
    ASSERT_EQ(page->rows.size(), 1U);
    EXPECT_EQ(page->rows[0].sample.time, at(5000));
    EXPECT_EQ(page->rows[0].sample.quality, kvlink::Quality::Never);
}

TEST_F(EngineTest, WithoutHistoryNothingIsKeptOfIt)
{
    settings.keepHistory = false;
    start();
    add("a", good(0, qint64(1)));
    inbox->addEvent({0, {}, EventKind::Link, "line1", {}, "link lost", "no answer in 1 s"}, clock.wall());
    engine->step();
    EXPECT_EQ(engine->status().history, HistoryState::Off);
    EXPECT_TRUE(engine->isIdle());
    EXPECT_FALSE(QFile::exists(settings.folder + "/history.sqlite"));
    EXPECT_EQ(events(), QStringList("link link lost: no answer in 1 s"));
}

TEST_F(EngineTest, AFullQueueLosesRowsAndLeavesAGap)
{
    settings.mostHistoryQueued = 2;
    start();
    add("a", good(1, qint64(1)));
    add("a", good(2, qint64(2)));
    for (const qint64 time : {3, 4, 5})
        add("a", good(time, time));
    add("b", good(6, qint64(6)));
    EXPECT_EQ(inbox->droppedHistory(), 2U); // 3 and 4 of a
    engine->step();
    EXPECT_EQ(history("a"), QStringList({"1", "2", "stale queue-full", "5"}));
    EXPECT_EQ(history("b"), QStringList({"stale queue-full", "6"}));
    add("a", good(7, qint64(7)));
    engine->step();
    EXPECT_EQ(history("a").last(), QStringLiteral("7"));
    EXPECT_EQ(inbox->droppedHistory(), 2U);
}

TEST_F(EngineTest, AuditThatDoesNotFitIsRefused)
{
    start();
    EXPECT_TRUE(audit("1"));
    EXPECT_TRUE(audit("2"));
    EXPECT_TRUE(inbox->canAudit());
    EXPECT_TRUE(audit("3"));
    EXPECT_FALSE(inbox->canAudit());
    EXPECT_FALSE(audit("4"));
    EXPECT_EQ(inbox->queuedAudit(), 3);
    engine->step();
    EXPECT_EQ(inbox->queuedAudit(), 0);
    EXPECT_TRUE(inbox->canAudit());
}

TEST_F(EngineTest, EventsThatDoNotFitAreCounted)
{
    start();
    for (int i = 0; i < 5; ++i)
        inbox->addEvent({0, {}, EventKind::Link, {}, {}, QString::number(i), {}}, clock.wall());
    EXPECT_EQ(inbox->droppedEvents(), 2U);
    engine->step();
    EXPECT_EQ(events().size(), 3);
}

TEST_F(EngineTest, ClockJumpsAreEvents)
{
    start();
    engine->step();
    clock.advance(60s);
    engine->step(); // on its way
    clock.jump(1999ms);
    engine->step(); // a small correction
    clock.advance(1s);
    clock.jump(1h);
    engine->step();
    clock.jump(-2h);
    engine->step();
    engine->step();
    EXPECT_EQ(events(), QStringList({"clock the clock was set forward by 3600 s: from "
                                     "2026-05-04T08:01:02.999Z to 2026-05-04T09:01:02.999Z",
                                     "clock the clock was set back by 7200 s: from 2026-05-04T09:01:02.999Z "
                                     "to 2026-05-04T07:01:02.999Z"}));
}

TEST_F(EngineTest, SummerTimeIsNotAJump)
{
    qputenv("TZ", "Europe/Berlin");
    ::tzset();
    start();
    clock.jump(std::chrono::hours(-24 * 36)); // 2026-03-29T08:00Z; summer time began at 01:00Z
    clock.jump(-8h);
    engine->step();
    const int before = int(events().size());
    for (int i = 0; i < 120; ++i) {
        clock.advance(60s);
        add("a", good(std::chrono::duration_cast<std::chrono::milliseconds>(clock.wall() - at(0)).count(),
                      qint64(i)));
        engine->step();
    }
    EXPECT_EQ(events().size(), before);
    QString problem;
    const auto page =
        HistoryReader::open(settings.folder, problem)->raw({"a", {{}, endOfTime}, {}, 1000}, problem);
    ASSERT_EQ(page->rows.size(), 120U);
    for (std::size_t i = 1; i < 120; ++i)
        EXPECT_EQ(page->rows[i].sample.time - page->rows[i - 1].sample.time, 60s);
    qunsetenv("TZ");
    ::tzset();
}

TEST_F(EngineTest, AfterALargeJumpAheadNothingIsRemovedForADay)
{
    settings.retention.rows = 24h;
    start();
    add("a", good(0, qint64(1)));
    add("a", good(1, qint64(2)));
    engine->step();
    clock.jump(std::chrono::hours(24 * 365));
    const auto removeAll = [&] {
        for (int i = 0; i < 10; ++i) {
            clock.advance(1s);
            engine->step();
        }
        return history("a").size();
    };
    clock.advance(10min);
    EXPECT_EQ(removeAll(), 2);
    clock.advance(23h);
    EXPECT_EQ(removeAll(), 2);
    clock.advance(1h);
    EXPECT_EQ(removeAll(), 1); // the value that still holds
}

TEST_F(EngineTest, ARestartEndsValuesAndSaysSo)
{
    start();
    add("a", good(0, qint64(1)));
    clock.advance(10s);
    engine->step();
    engine.reset(); // as kill -9 does: without close()
    clock.advance(60s);
    start();
    engine->step();
    EXPECT_EQ(history("a"), QStringList({"1", "stale stopped"}));
    EXPECT_EQ(
        events(),
        QStringList("service values were not read: the service did not run from 2026-05-04T08:00:10.000Z to "
                    "2026-05-04T08:01:10.000Z"));
}

TEST_F(EngineTest, NotesThatItIsAlive)
{
    start();
    add("a", good(0, qint64(1)));
    engine->step();
    clock.advance(9s);
    engine->step();
    clock.advance(1s);
    engine->step(); // 10 s after the last row
    clock.advance(5s);
    engine.reset();
    start();
    engine->step();
    ASSERT_EQ(events().size(), 1);
    EXPECT_TRUE(events().last().contains("from 2026-05-04T08:00:10.000Z")) << events().last().toStdString();
}

TEST_F(EngineTest, TwoServicesDoNotShareAFolder)
{
    start();
    Inbox other(settings);
    StoreEngine second(settings, clock, other);
    QString problem;
    EXPECT_FALSE(second.open(problem));
    EXPECT_EQ(problem,
              QStringLiteral("another kv-gateway uses the data folder %1: stop it, or set another folder")
                  .arg(settings.folder));
    engine.reset();
    EXPECT_TRUE(second.open(problem)) << problem.toStdString();
}

TEST_F(EngineTest, AFolderThatCannotBeMadeIsRefused)
{
    QFile file(folder.path() + "/file");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    settings.folder = folder.path() + "/file/data";
    Inbox other(settings);
    StoreEngine second(settings, clock, other);
    QString problem;
    EXPECT_FALSE(second.open(problem));
    EXPECT_TRUE(problem.startsWith("the data folder ")) << problem.toStdString();
}

TEST_F(EngineTest, TheSizeLimitRemovesTheOldestAndGoesOn)
{
    settings.retention.historyBytes = 1'048'576;
    settings.mostHistoryQueued = 100'000;
    start();
    for (qint64 i = 0; i < 100; ++i) {
        std::vector<HistoryRow> rows;
        for (qint64 k = 0; k < 1000; ++k)
            rows.push_back({"a", good(i * 600'000 + k, i * 1000 + k)});
        inbox->addHistory(std::move(rows), clock.wall());
        for (int k = 0; k < 10; ++k) {
            clock.advance(60s);
            engine->step();
        }
    }
    EXPECT_EQ(engine->status().history, HistoryState::Running);
    EXPECT_LE(engine->status().historyBytes, 1'048'576);
    EXPECT_EQ(inbox->droppedHistory(), 0U);
    EXPECT_EQ(history("a").size(), 10'000); // the most that one question gets
    EXPECT_EQ(history("a", 99 * 600'000).last(), QStringLiteral("99999"));
}

// A disk of its own, which only root may have: 2 MB.
class SmallDisk
{
public:
    explicit SmallDisk(const QString &folder) : m_folder(folder.toLocal8Bit())
    {
        m_isThere = ::mount("tmpfs", m_folder.constData(), "tmpfs", 0, "size=2m") == 0;
    }
    ~SmallDisk()
    {
        if (m_isThere)
            ::umount2(m_folder.constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;
    bool isThere() const { return m_isThere; }

private:
    QByteArray m_folder;
    bool m_isThere = false;
};

bool fill(QFile &file)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        return false;
    const QByteArray page(4096, 'x');
    while (file.write(page) == page.size()) {
    }
    file.close();
    return true;
}

TEST_F(EngineTest, AFullDiskStopsHistoryUntilThereIsRoom)
{
    const QTemporaryDir mountPoint;
    const SmallDisk disk(mountPoint.path());
    if (!disk.isThere())
        GTEST_SKIP() << "only root may mount a small disk";
    settings.folder = mountPoint.path();
    settings.mostHistoryQueued = 1000;
    start();
    add("a", good(0, qint64(1)));
    audit("before");
    engine->step();
    EXPECT_EQ(engine->status().historyProblem, QString());
    QFile ballast(mountPoint.path() + "/ballast");
    ASSERT_TRUE(fill(ballast));
    for (qint64 i = 0; i < 5000; ++i)
        add("a", good(1 + i, i));
    audit("full");
    clock.advance(1s);
    engine->step();
    EXPECT_EQ(engine->status().history, HistoryState::Full);
    EXPECT_EQ(engine->status().historyProblem,
              settings.folder + "/history.sqlite: database or disk is full; no history is kept "
                                "until there is room again");
    EXPECT_EQ(engine->status().journalProblem,
              settings.folder + "/journal.sqlite: database or disk is full; audit and events "
                                "wait, and are tried again");
    EXPECT_EQ(inbox->queuedAudit(), 1);
    EXPECT_EQ(history("a"), QStringList("1")); // reading goes on
    EXPECT_EQ(told, QStringList({"history stopped", "audit and events wait"}))
        << "now, not once there is room";
    ASSERT_TRUE(ballast.remove());
    clock.advance(4s);
    engine->step();
    EXPECT_EQ(engine->status().history, HistoryState::Full); // tried again every 5 s
    clock.advance(1s);
    engine->step();
    engine->step();
    EXPECT_EQ(engine->status().history, HistoryState::Running);
    EXPECT_EQ(engine->status().journalProblem, QString());
    EXPECT_EQ(inbox->queuedAudit(), 0);
    EXPECT_EQ(inbox->queuedHistory(), 0);
    const QStringList kept = history("a");
    ASSERT_EQ(kept.size(), 1 + 1000 + 2);
    EXPECT_EQ(kept[1000], QStringLiteral("999"));
    EXPECT_EQ(kept[1001], QStringLiteral("stale queue-full"));
    EXPECT_EQ(kept[1002], QStringLiteral("4999"));
    EXPECT_EQ(inbox->droppedHistory(), 3999U);
    EXPECT_EQ(events(),
              QStringList({"history history stopped: " + settings.folder +
                               "/history.sqlite: database or disk is full",
                           "service audit and events wait: " + settings.folder +
                               "/journal.sqlite: database or disk is full",
                           "history history goes on: ", "service audit and events are written again: "}));
    EXPECT_EQ(told, QStringList({"history stopped", "audit and events wait", "history goes on",
                                 "audit and events are written again"}));
}

TEST_F(EngineTest, ADiskThatIsFullAtTheStartStopsNothingElse)
{
    const QTemporaryDir mountPoint;
    const SmallDisk disk(mountPoint.path());
    if (!disk.isThere())
        GTEST_SKIP() << "only root may mount a small disk";
    QFile ballast(mountPoint.path() + "/ballast");
    ASSERT_TRUE(fill(ballast));
    settings.folder = mountPoint.path();
    start();
    EXPECT_EQ(engine->status().history, HistoryState::Full);
    add("a", good(0, qint64(1)));
    EXPECT_TRUE(audit("1"));
    engine->step();
    EXPECT_EQ(inbox->queuedHistory(), 1);
    ASSERT_TRUE(ballast.remove());
    clock.advance(5s);
    engine->step();
    engine->step();
    EXPECT_EQ(engine->status().history, HistoryState::Running)
        << engine->status().historyProblem.toStdString();
    EXPECT_EQ(engine->status().journalProblem, QString());
    EXPECT_EQ(history("a"), QStringList("1"));
    EXPECT_EQ(inbox->queuedAudit(), 0);
}

TEST_F(EngineTest, LastValuesComeBackAsStale)
{
    struct {
        const char *tag;
        kvlink::Quality before, after;
    } const rows[] = {
        {"bad", kvlink::Quality::Bad, kvlink::Quality::Bad},
        {"good", kvlink::Quality::Good, kvlink::Quality::Stale},
        {"never", kvlink::Quality::Never, kvlink::Quality::Never},
        {"pending", kvlink::Quality::Pending, kvlink::Quality::Stale},
        {"stale", kvlink::Quality::Stale, kvlink::Quality::Stale},
    };
    start();
    std::vector<LastValue> values;
    for (const auto &one : rows) {
        kvlink::Sample sample = good(7, qint64(42));
        sample.quality = one.before;
        sample.reason = one.before == kvlink::Quality::Bad ? Reason::NoLink : Reason::None;
        values.push_back({QString::fromLatin1(one.tag), sample});
    }
    inbox->keepLast(values);
    inbox->keepLast({{"good", good(9, 1.5)}}); // newer
    engine->step();
    engine.reset();
    QString problem;
    const auto found = JournalReader::open(settings.folder, problem)->lastValues(problem);
    ASSERT_TRUE(found) << problem.toStdString();
    ASSERT_EQ(found->size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const LastValue &last = found->at(i);
        EXPECT_EQ(last.tag, QString::fromLatin1(rows[i].tag));
        EXPECT_EQ(last.sample.quality, rows[i].after) << rows[i].tag;
        const bool isNewer = last.tag == QLatin1String("good");
        EXPECT_EQ(last.sample.time, at(isNewer ? 9 : 7));
        EXPECT_EQ(last.sample.value, isNewer ? kvlink::Value(1.5) : kvlink::Value(qint64(42)));
    }
    EXPECT_EQ(found->at(0).sample.reason, Reason::NoLink);
}

TEST_F(EngineTest, ManyLastValuesTakeSeveralSteps)
{
    start();
    std::vector<LastValue> values;
    for (int i = 0; i < 12'000; ++i)
        values.push_back({QString::number(i), good(0, qint64(i))});
    inbox->keepLast(values);
    QString problem;
    const auto reader = JournalReader::open(settings.folder, problem);
    for (const std::size_t expected : {5000U, 10'000U, 12'000U}) {
        engine->step();
        EXPECT_EQ(reader->lastValues(problem)->size(), expected);
    }
    EXPECT_TRUE(engine->isIdle());
}

TEST(Store, WritesOnItsOwnThreadAndEndsAtOnce)
{
    const QTemporaryDir folder;
    StoreSettings settings;
    settings.folder = folder.path();
    const MachineClock clock;
    Store store(settings, clock);
    EXPECT_EQ(store.status().history, HistoryState::Off);
    QString problem;
    ASSERT_TRUE(store.start(problem)) << problem.toStdString();
    EXPECT_EQ(store.status().history, HistoryState::Running);
    std::vector<std::thread> adders;
    for (int i = 0; i < 4; ++i)
        adders.emplace_back([&store, i] {
            for (qint64 k = 0; k < 1000; ++k)
                store.addHistory({{QString::number(i), good(k, k)}});
            store.addAudit({});
            store.addEvent({});
        });
    for (std::thread &adder : adders)
        adder.join();
    ASSERT_TRUE(store.flush(30s));
    EXPECT_EQ(store.status().historyRows, 4000U);
    EXPECT_EQ(store.status().queuedHistoryRows, 0);
    const auto journal = JournalReader::open(folder.path(), problem);
    EXPECT_EQ(journal->audit({}, problem)->size(), 4U);
    EXPECT_EQ(journal->events({}, problem)->size(), 4U);
    store.addHistory({{"last", good(0, qint64(1))}});
    EXPECT_TRUE(store.stop());
    EXPECT_TRUE(store.stop()); // again
    EXPECT_EQ(HistoryReader::open(folder.path(), problem)
                  ->raw({"last", {{}, endOfTime}, {}, 1}, problem)
                  ->rows.size(),
              1U);
}

TEST(Store, ANewRetentionCountsFromTheNextStep)
{
    const QTemporaryDir folder;
    StoreSettings settings;
    settings.folder = folder.path();
    const MachineClock clock;
    Store store(settings, clock);
    QString problem;
    ASSERT_TRUE(store.start(problem)) << problem.toStdString();
    Retention retention;
    retention.historyBytes = 1'048'576;
    store.setRetention(retention);
    ASSERT_TRUE(store.flush(30s));
    std::vector<HistoryRow> rows(100'000, {"a", good(0, qint64(1))});
    store.addHistory(rows);
    // 100,000 rows of one moment: none is older than the others, so none can go.
    EXPECT_FALSE(store.flush(1s));
    for (int i = 0; i < 600 && store.status().history != HistoryState::Full; ++i)
        std::this_thread::sleep_for(100ms); // a slow machine takes longer to get there
    EXPECT_EQ(store.status().history, HistoryState::Full);
    EXPECT_FALSE(store.stop());
}

} // namespace
} // namespace kvgateway
