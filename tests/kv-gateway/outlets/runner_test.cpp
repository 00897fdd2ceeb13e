// SPDX-License-Identifier: MIT
// The thread of an outlet: who offers never waits, and a killed service loses nothing
// that was stored.
#include "outlets/outlet_runner.h"

#include "fake_outlet.h"
#include "store/fake_clock.h"
#include "store/killed_child.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

FeederSettings settingsIn(const QString &folder)
{
    constexpr kvlink::Duration anyAge{0}; // the rows are of another time than the clock
    return {folder + "/outlet-a.sqlite", {0, anyAge}, 1'000'000};
}

bool until(const std::function<bool()> &isThere)
{
    QElapsedTimer clock;
    clock.start();
    while (!isThere() && clock.elapsed() < 10'000)
        std::this_thread::sleep_for(1ms);
    return isThere();
}

// The machine's, and ahead of it as far as the test says; for two threads.
class AheadClock : public Clock
{
public:
    kvlink::WallTime wall() const override { return m_machine.wall() + m_ahead.load(); }
    kvlink::SteadyTime steady() const override { return m_machine.steady() + m_ahead.load(); }
    void advance(kvlink::Duration time) { m_ahead = m_ahead.load() + time; }

private:
    MachineClock m_machine;
    std::atomic<kvlink::Duration> m_ahead{kvlink::Duration(0)};
};

// Hangs in offer(), as an outlet never should.
struct HangingOutlet : FakeOutlet {
    std::size_t offer(const std::vector<OutletRow> & /*rows*/, OfferKind /*kind*/) override
    {
        hasBegun = true;
        const std::lock_guard lock(hold);
        return 0;
    }
    std::mutex hold;
    std::atomic<bool> hasBegun = false;
};

TEST(OutletRunner, offersNeverWaitAndMemoryIsBounded)
{
    const QTemporaryDir folder;
    const MachineClock clock;
    auto made = std::make_unique<HangingOutlet>();
    HangingOutlet &outlet = *made;
    outlet.connect();
    OutletRunner runner("a", settingsIn(folder.path()), std::move(made), clock,
                        [](const QString & /*text*/, const QString & /*cause*/) {});
    std::unique_lock hold(outlet.hold);
    runner.start();
    runner.offer("a.x", good(0, qint64(-1)));
    ASSERT_TRUE(until([&] { return outlet.hasBegun.load(); }));
    constexpr quint64 more = 1000;
    for (quint64 i = 0; i < OutletRunner::mostQueued + more; ++i)
        runner.offer("a.x", good(0, qint64(i)));
    EXPECT_EQ(runner.status().queued, qint64(OutletRunner::mostQueued));
    EXPECT_EQ(runner.status().lost, more) << "the oldest are lost, and counted";
    hold.unlock();
    runner.stop();
    EXPECT_EQ(runner.status().counts.stored, qint64(OutletRunner::mostQueued) + 1);
}

TEST(OutletRunner, saysOnceWhatHappens)
{
    const QTemporaryDir folder;
    const MachineClock clock;
    std::mutex mutex;
    std::string said;
    auto made = std::make_unique<FakeOutlet>();
    made->now.problem = "refused";
    OutletRunner runner("a", settingsIn(folder.path()), std::move(made), clock,
                        [&](const QString &text, const QString &cause) {
                            const std::lock_guard lock(mutex);
                            said += (text + ": " + cause + "\n").toStdString();
                        });
    runner.start();
    for (qint64 i = 0; i < 3; ++i) {
        runner.offer("a.x", good(0, i));
        EXPECT_TRUE(until([&] { return runner.status().counts.stored == i + 1; }));
    }
    runner.stop();
    EXPECT_EQ(said, "outlet a: no connection: refused\n");
}

TEST(OutletRunner, saysOnceThatTheDiskTakesNothing)
{
    const QTemporaryDir folder;
    AheadClock clock;
    std::mutex mutex;
    std::string said;
    OutletRunner runner(
        "a", settingsIn(folder.filePath("missing")), std::make_unique<FakeOutlet>(), clock,
        [&](const QString &text, const QString &cause) {
            const std::lock_guard lock(mutex);
            said += (text + (cause.isEmpty() ? "" : ": " + cause.section(": ", 1)) + "\n").toStdString();
        });
    const auto hasSaid = [&](const char *what) {
        return until([&] {
            const std::lock_guard lock(mutex);
            return said.find(what) != std::string::npos;
        });
    };
    runner.start();
    runner.offer("a.x", good(0, qint64(1)));
    EXPECT_TRUE(hasSaid("takes nothing"));
    EXPECT_NE(runner.status().counts.diskProblem, "");
    for (int i = 0; i < 3; ++i) { // each opens again, in vain
        clock.advance(5s);
        runner.offer("a.x", good(0, qint64(i)));
        EXPECT_TRUE(until([&] { return runner.status().queued == 0; }));
    }
    QDir(folder.path()).mkdir("missing");
    clock.advance(5s);
    runner.offer("a.x", good(0, qint64(5)));
    EXPECT_TRUE(hasSaid("again"));
    runner.stop();
    EXPECT_EQ(said, "outlet a: its file takes nothing; values wait in memory, 100000 at most: "
                    "No such file or directory\n"
                    "outlet a: its file takes values again\n");
}

TEST(OutletRunner, saysOnceAMinuteThatRowsAreDropped)
{
    const QTemporaryDir folder;
    AheadClock clock;
    std::mutex mutex;
    std::string said;
    FeederSettings settings = settingsIn(folder.path());
    settings.limits.age = 1s;
    OutletRunner runner("a", settings, std::make_unique<FakeOutlet>(), clock,
                        [&](const QString &text, const QString &cause) {
                            const std::lock_guard lock(mutex);
                            said += (text + ": " + cause + "\n").toStdString();
                        });
    runner.start();
    const auto drop = [&](quint64 all, kvlink::Duration later) {
        runner.offer("a.x", good(0, true));
        EXPECT_TRUE(until([&] { return runner.status().counts.stored == 1; }));
        clock.advance(later);
        // An age is told by the time of day; the next step looks at it.
        EXPECT_TRUE(until([&] { return runner.status().counts.dropped == all; }));
    };
    drop(1, 2s);
    drop(2, 2s);
    drop(3, 1min);
    runner.stop();
    EXPECT_EQ(said, "outlet a: the oldest rows are dropped, more than it may keep: 1 since the start\n"
                    "outlet a: the oldest rows are dropped, more than it may keep: 3 since the start\n");
}

// Refuses each row at once, for a reason of its own.
struct RefusingOutlet : FakeOutlet {
    void start(OutletEvents &to) override { events = &to; }
    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind /*kind*/) override
    {
        for (const OutletRow &row : rows)
            events->refused({row.seq}, "no right to " + row.tag);
        return rows.size();
    }
    OutletEvents *events = nullptr;
};

TEST(OutletRunner, saysRefusalsOnceAMinute)
{
    const QTemporaryDir folder;
    AheadClock clock;
    std::mutex mutex;
    std::string said;
    auto made = std::make_unique<RefusingOutlet>();
    made->connect();
    OutletRunner runner("a", settingsIn(folder.path()), std::move(made), clock,
                        [&](const QString &text, const QString &cause) {
                            const std::lock_guard lock(mutex);
                            if (text.contains("refused"))
                                said += (text + ": " + cause + "\n").toStdString();
                        });
    runner.start();
    const auto offer = [&](const char *tag, quint64 all) {
        runner.offer(tag, good(0, true));
        EXPECT_TRUE(until([&] { return runner.status().counts.refused == all; }));
    };
    offer("a.x", 1);
    offer("a.y", 2);
    offer("a.x", 3);
    clock.advance(1min);
    offer("a.z", 4);
    offer("a.x", 5);
    runner.stop();
    EXPECT_EQ(said, "outlet a: values were refused and are dropped: no right to a.x; 1 since the start\n"
                    "outlet a: values were refused and are dropped: no right to a.z; 4 since the start\n");
}

// Offers rows as fast as they are stored, and tells each one that is on disk.
[[noreturn]] void live(const QString &folder, int out, qint64 first)
{
    const MachineClock clock;
    OutletRunner runner("a", settingsIn(folder), std::make_unique<FakeOutlet>(), clock,
                        [](const QString & /*text*/, const QString & /*cause*/) {});
    runner.start();
    const qint64 before = first - 1;
    for (qint64 value = first;; ++value) {
        runner.offer("a.x", good(0, value));
        const qint64 stored = runner.status().counts.stored;
        const qint64 told = stored > before ? stored : before;
        if (::write(out, &told, sizeof told) != sizeof told)
            ::_exit(1);
        std::this_thread::sleep_for(100us);
    }
}

TEST(OutletRunner, aKilledServiceLosesNothingThatWasStored)
{
    const QTemporaryDir folder;
    const MachineClock clock;
    qint64 stored = 0;
    for (const auto life : {3ms, 20ms, 37ms, 71ms, 113ms, 300ms}) {
        const auto child = killAfter<qint64>(life, [&](int out) { live(folder.path(), out, stored + 1); });
        const qint64 told = child.told.empty() ? stored : child.told.back();
        QString notice, problem;
        const auto backlog = Backlog::open(settingsIn(folder.path()).path, {}, clock, notice, problem);
        ASSERT_NE(backlog, nullptr) << problem.toStdString();
        EXPECT_EQ(notice, "");
        EXPECT_GE(backlog->count(), told);
        // Without holes and in order: what is there is everything up to some row.
        const auto rows = backlog->rowsAfter(0, 1'000'000);
        qint64 next = 1;
        for (const OutletRow &row : rows)
            EXPECT_EQ(row.sample.toInt(), next++);
        stored = backlog->count();
    }
    EXPECT_GT(stored, 0);
}

} // namespace
} // namespace kvgateway
