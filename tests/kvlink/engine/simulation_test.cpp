// SPDX-License-Identifier: MIT
// Many short runs, each from a seed that is printed when it fails. KV_SIM_SECONDS=600 runs for ten
// minutes, KV_SIM_SEED=0x1f runs one seed.
#include "engine/simulation.h"

#include <chrono>
#include <cstdlib>

namespace kvlink
{
namespace
{

constexpr int secondsInTests = 12;
constexpr quint64 firstSeed = 1;

TEST(Simulation, KeepsItsPromises)
{
    if (const char *seed = std::getenv("KV_SIM_SEED")) {
        const SimOptions options = SimOptions::drawnFrom(std::strtoull(seed, nullptr, 0));
        std::printf("%s\n", options.text().c_str());
        EXPECT_EQ(Simulation(options).run(), "");
        return;
    }
    const char *given = std::getenv("KV_SIM_SECONDS");
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::seconds(given == nullptr ? secondsInTests : std::atoi(given));
    quint64 runs = 0;
    quint64 steps = 0;
    Duration simulated{};
    for (quint64 seed = firstSeed; std::chrono::steady_clock::now() < end; ++seed, ++runs) {
        const SimOptions options = SimOptions::drawnFrom(seed);
        Simulation simulation(options);
        const std::string broken = simulation.run();
        ASSERT_EQ(broken, "") << options.text() << "\nagain: KV_SIM_SEED=" << seed;
        steps += simulation.steps();
        simulated += simulation.simulated();
    }
    std::printf("%llu runs, %llu steps, %.1f hours\n", static_cast<unsigned long long>(runs),
                static_cast<unsigned long long>(steps), double(simulated.count()) / 3600e6);
}

TEST(Simulation, TheSameSeedGoesTheSameWay)
{
    for (const quint64 seed : {3ULL, 11ULL, 12ULL}) {
        Simulation one(SimOptions::drawnFrom(seed));
        Simulation two(SimOptions::drawnFrom(seed));
        one.run();
        two.run();
        EXPECT_EQ(one.digest(), two.digest()) << "seed " << seed;
        EXPECT_EQ(one.steps(), two.steps());
    }
}

} // namespace
} // namespace kvlink
