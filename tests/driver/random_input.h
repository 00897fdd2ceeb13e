// SPDX-License-Identifier: MIT
// Random input for tests, from a seed that is printed and can be given again.
#pragma once

#include <cstdlib>
#include <iostream>
#include <random>

/// A new seed each run, printed; KV_TEST_SEED=n repeats a run.
inline unsigned chosenSeed()
{
    const char *given = std::getenv("KV_TEST_SEED");
    const unsigned seed =
        given != nullptr ? unsigned(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::cout << "KV_TEST_SEED=" << seed << "\n";
    return seed;
}

class Dice
{
public:
    explicit Dice(unsigned seed) : m_engine(seed) {}
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_engine); }

private:
    std::mt19937 m_engine;
};
