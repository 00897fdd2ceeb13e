// SPDX-License-Identifier: MIT
// The thread of an outlet: who offers never waits, and a killed service loses nothing
// that was stored.
#include "outlets/outlet_runner.h"

#include "fake_outlet.h"
#include "store/fake_clock.h"
#include "store/killed_child.h"

#include <gtest/gtest.h>

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
