// SPDX-License-Identifier: MIT
// The real program, killed while it reads and writes: it starts again, its databases are whole, and
// what it confirmed a second before is recorded. KV_KILLS sets how often.
#include "gateway_process.h"

#include "store/database.h"

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using Moment = std::chrono::steady_clock::time_point;

constexpr auto lossAllowed = 1s;
constexpr auto lossOfAStarvedMachine = 10s;
constexpr auto longestLife = 1500ms;
constexpr int fewKills = 3;

struct Confirmed {
    int number;
    Moment when;
};

class KillTest : public GatewayTest
{
protected:
    // Writes one number after the other until the program is killed.
    void liveUntilKilled(std::chrono::microseconds life)
    {
        const auto process = pid_t(gateway.processId());
        std::atomic<Moment> killedAt{Moment{}};
        std::thread killer([&] {
            std::this_thread::sleep_for(life);
            ::kill(process, SIGKILL);
            killedAt = std::chrono::steady_clock::now();
        });
        std::vector<Confirmed> confirmed;
        while (killedAt.load() == Moment{}) {
            ++m_number;
            const std::string body = R"({"tag":"a.speed","value":)" + std::to_string(m_number % 1000) +
                                     R"(,"correlation":"order-)" + std::to_string(m_number) + "\"}";
            if (post("/api/v1/writes", body).status == 200)
                confirmed.push_back({m_number, std::chrono::steady_clock::now()});
        }
        killer.join();
        gateway.waitForFinished(patienceMs);
        judge(confirmed, killedAt.load());
    }
    void expectWhole(const char *name) const
    {
        const auto database = open(name);
        ASSERT_NE(database, nullptr);
        Statement check(*database, "PRAGMA integrity_check");
        ASSERT_TRUE(check.step()) << database->problem().toStdString();
        EXPECT_EQ(check.text(0), QStringLiteral("ok")) << name;
    }

    int judged = 0; // writes
    int late = 0;   // kills
    std::chrono::nanoseconds worstLoss{0};

private:
    std::unique_ptr<Database> open(const char *name) const
    {
        OpenProblem problem;
        auto database = Database::open(path("data/") + name, Database::Use::Read, 0, problem);
        EXPECT_NE(database, nullptr) << problem.text.toStdString();
        return database;
    }
    // Confirmed and not recorded is only what came at the end.
    void judge(const std::vector<Confirmed> &confirmed, Moment killedAt)
    {
        const auto journal = open("journal.sqlite");
        ASSERT_NE(journal, nullptr);
        Statement find(*journal, "SELECT outcome FROM audit WHERE correlation = ? ORDER BY seq DESC LIMIT 1");
        std::chrono::nanoseconds loss{0};
        for (const Confirmed &one : confirmed) {
            find.bind(1, QStringLiteral("order-%1").arg(one.number));
            if (!find.step() || find.text(0) != "done")
                loss = std::max(loss, killedAt - one.when);
            else
                ++judged;
            find.reset();
        }
        late += loss > lossAllowed ? 1 : 0;
        EXPECT_LT(loss, lossOfAStarvedMachine);
        worstLoss = std::max(worstLoss, loss);
    }

    int m_number = 0;
};

TEST_F(KillTest, killedAtAnyMomentItStartsAgainAndHasItsRecords)
{
    const char *wanted = std::getenv("KV_KILLS");
    const int kills = wanted == nullptr ? fewKills : std::max(1, std::atoi(wanted));
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<qint64> lives(0, std::chrono::microseconds(longestLife).count());
    writeConfig();
    for (int i = 0; i < kills; ++i) {
        // The last one is long enough to be judged, whatever the others were.
        const std::chrono::microseconds life(i + 1 < kills ? lives(random)
                                                           : std::chrono::microseconds(longestLife).count());
        SCOPED_TRACE("killed after " + std::to_string(life.count()) + " us");
        ASSERT_TRUE(start());
        liveUntilKilled(life);
        for (const char *name : {"history.sqlite", "journal.sqlite", "access.sqlite"})
            expectWhole(name);
        if (HasFailure())
            return;
    }
    EXPECT_GT(judged, 0);
    // A starved machine may take longer, but seldom.
    EXPECT_LE(late, std::max(1, kills / 10)) << "of " << kills;
    std::printf("%d writes recorded; worst loss of %d: %.3f s\n", judged, kills,
                std::chrono::duration<double>(worstLoss).count());
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(get("/readyz").status, 200);
    stop();
}

} // namespace
} // namespace kvgateway
