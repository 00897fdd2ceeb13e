// SPDX-License-Identifier: MIT
// Faults of the simulated PLC by chance: those that it has by name, and connections that break.
#pragma once

#include <QByteArray>

#include <random>
#include <vector>

namespace soak
{
class FaultDice
{
public:
    explicit FaultDice(unsigned seed) : m_dice(seed) {}

    /// One to three faults for the next round, as the control connection takes them.
    std::vector<QByteArray> draw();

    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_dice); }

private:
    QByteArray when();

    std::mt19937 m_dice;
};
} // namespace soak
