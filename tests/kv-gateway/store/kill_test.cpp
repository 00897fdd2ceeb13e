// SPDX-License-Identifier: MIT
// A store that is killed at any moment loses at most a second, and its databases stay whole.
// KV_KILLS sets how often: KV_KILLS=200 kv_gateway_store_tests --gtest_filter=Kill.*
#include "store/database.h"
#include "store/store.h"

#include "fake_clock.h"
#include "killed_child.h"

#include <gtest/gtest.h>

#include <QFile>

#include <random>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

constexpr int killsOfAFolder = 10;
// The thread gives rows to the disk four times a second. A starved machine or a slow disk may take
// longer, but seldom.
constexpr double lossAllowed = 1; // seconds
constexpr double lossOfAStarvedMachine = 10;
constexpr auto longestLife = 1400ms;
constexpr int tags = 50;
constexpr qint64 burst = 100; // rows together, of which one is audited

// A row that the child handed to its store.
struct Told {
    qint64 value;
    qint64 steadyNs;
};

qint64 steadyNs()
{
    return std::chrono::steady_clock::now().time_since_epoch().count();
}

// Adds rows as fast as a plant does, and tells each one once it is handed over.
[[noreturn]] void live(const QString &folder, int out, qint64 first)
{
    StoreSettings settings;
    settings.folder = folder;
    const MachineClock clock;
    Store store(settings, clock);
    QString problem;
    if (!store.start(problem)) {
        std::fprintf(stderr, "%s\n", qPrintable(problem));
        ::_exit(1);
    }
    for (qint64 value = first;; ++value) {
        kvlink::Sample sample = good(0, value);
        sample.time = clock.wall();
        store.addHistory({{QStringLiteral("tag%1").arg(value % tags), sample}});
        AuditRow row;
        row.newValue = value;
        if (value % burst == 0)
            store.addAudit(row);
        const Told told{value, steadyNs()};
        if (::write(out, &told, sizeof told) != sizeof told)
            ::_exit(1);
        if (value % burst == 0)
            std::this_thread::sleep_for(5ms);
    }
}

std::unique_ptr<Database> openFile(const QString &folder, const char *name)
{
    OpenProblem problem;
    auto database = Database::open(folder + QLatin1String(name), Database::Use::Read, 0, problem);
    EXPECT_NE(database, nullptr) << problem.text.toStdString();
    return database;
}

void expectWhole(Database &database)
{
    Statement check(database, "PRAGMA integrity_check");
    ASSERT_TRUE(check.step()) << database.problem().toStdString();
    EXPECT_EQ(check.text(0), QStringLiteral("ok"));
}

// Kills one store after the other on the same folder.
class Killer
{
public:
    explicit Killer(unsigned seed) : m_random(seed) {}

    void kill(std::chrono::microseconds life)
    {
        SCOPED_TRACE("killed after " + std::to_string(life.count()) + " us");
        const auto [told, killedAt] =
            killAfter<Told>(life, [this](int out) { live(m_folder.path(), out, m_next); });
        if (!told.empty())
            m_next = told.back().value + 1;
        if (!QFile::exists(m_folder.path() + "/history.sqlite"))
            return; // killed before it had made one
        const auto history = openFile(m_folder.path(), "/history.sqlite");
        const auto journal = openFile(m_folder.path(), "/journal.sqlite");
        expectWhole(*history);
        expectWhole(*journal);
        if (!told.empty())
            judge(told, killedAt.time_since_epoch().count(), *history, *journal);
    }
    void killAtRandom()
    {
        std::uniform_int_distribution<qint64> lives(0, std::chrono::microseconds(longestLife).count());
        kill(std::chrono::microseconds(lives(m_random)));
    }
    // Rows and roll-ups tell the same: nothing was rolled up twice, or not at all.
    void expectRolledUpOnce() const
    {
        const auto history = openFile(m_folder.path(), "/history.sqlite");
        const qint64 samples = history->number("SELECT count(*) FROM samples WHERE quality = 1");
        EXPECT_GT(samples, 0);
        EXPECT_EQ(history->number("SELECT sum(count) FROM minutes"), samples);
        EXPECT_EQ(history->number("SELECT sum(count) FROM hours"), samples);
    }

    void expectSmallLosses() const
    {
        ASSERT_FALSE(m_losses.empty());
        const auto late = std::count_if(m_losses.begin(), m_losses.end(),
                                        [](double seconds) { return seconds > lossAllowed; });
        const double worst = *std::max_element(m_losses.begin(), m_losses.end());
        EXPECT_LE(late, 1) << "of " << m_losses.size() << ", the worst " << worst << " s";
        EXPECT_LE(worst, lossOfAStarvedMachine);
        std::printf("worst loss of %zu: %.3f s\n", m_losses.size(), worst);
    }

private:
    // For how long the first row that is missing had been handed over; each \a each of them counts.
    static double lossBehind(qint64 newest, qint64 each, const std::vector<Told> &told, qint64 killedNs)
    {
        for (const Told &one : told) {
            if (one.value > newest && one.value % each == 0)
                return std::chrono::duration<double>(std::chrono::nanoseconds(killedNs - one.steadyNs))
                    .count();
        }
        return 0;
    }
    void judge(const std::vector<Told> &told, qint64 killedNs, Database &history, Database &journal)
    {
        const qint64 newest = history.number("SELECT max(value) FROM history WHERE quality = 'good'");
        const qint64 newestAudit = journal.number("SELECT max(new_value) FROM audit");
        m_losses.push_back(
            std::max(lossBehind(newest, 1, told, killedNs), lossBehind(newestAudit, burst, told, killedNs)));
        // What is there has no holes since this child began, and nothing is there twice.
        const qint64 first = told.front().value;
        Statement count(history, "SELECT count(*) FROM history WHERE quality = 'good' AND value >= ?");
        ASSERT_TRUE(count.bind(1, first).step());
        EXPECT_EQ(count.integer(0), std::max<qint64>(0, newest - first + 1));
        EXPECT_EQ(history.number("SELECT count(*) - count(DISTINCT seq) FROM history"), 0);
        m_next = std::max(m_next, newest + 1);
    }

    QTemporaryDir m_folder;
    std::mt19937 m_random;
    std::vector<double> m_losses;
    qint64 m_next = 1;
};

TEST(Kill, LosesAtMostASecondAndLeavesWholeDatabases)
{
    const char *wanted = std::getenv("KV_KILLS");
    const int folders = wanted == nullptr ? 1 : std::max(1, std::atoi(wanted) / killsOfAFolder);
    for (int i = 0; i < folders; ++i) {
        const unsigned seed = std::random_device{}();
        SCOPED_TRACE("seed " + std::to_string(seed));
        Killer killer(seed);
        for (int k = 0; k < killsOfAFolder - 2; ++k)
            killer.killAtRandom();
        killer.kill(longestLife); // long enough to be judged, whatever the others were
        killer.kill(longestLife);
        killer.expectRolledUpOnce();
        killer.expectSmallLosses();
    }
}

} // namespace
} // namespace kvgateway
