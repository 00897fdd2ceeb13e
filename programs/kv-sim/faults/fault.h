// SPDX-License-Identifier: MIT
// One fault: what it does, to which requests, and how often.
#pragma once

#include "faults/fault_kinds.h"
#include "requests/request_filter.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace kvsim
{

enum class Moment { Before, In, After }; // of an answer

/// What a fault does to one request or connection.
struct FaultEffect {
    FaultKind kind = FaultKind::Silent;
    std::uint32_t number = 0; // milliseconds, bytes, or a position, as the kind needs it
    std::string code;         // the answer of Error
    Moment moment = Moment::Before;
};

/// How often a fault happens, counted over the requests that match.
struct FaultTiming {
    enum class When { Always, Every, Next, Probability };

    When when = When::Always;
    std::uint32_t period = 1; // of Every and Next
    double probability = 1;
    std::uint32_t seed = 0; // of Probability
    std::optional<std::uint32_t> times;
};

struct FaultSettings {
    FaultEffect effect;
    FaultTiming timing;
    RequestFilter filter;
    std::string text; // as it was asked for, with the seed that is used: "garbled:3 prob 0.5 seed 7"
};

class Fault
{
public:
    explicit Fault(FaultSettings settings);

    bool onConnections() const;
    bool matches(const Asked &asked) const;
    /// Counts one matching request; true if the fault happens to it.
    bool happens();
    /// It will never happen again.
    bool hasExpired() const;

    const FaultEffect &effect() const { return m_settings.effect; }
    const std::string &text() const { return m_settings.text; }
    /// How often it has happened.
    std::uint64_t done() const { return m_done; }

private:
    bool isDue();

    FaultSettings m_settings;
    std::mt19937 m_random;
    std::uint64_t m_seen = 0;
    std::uint64_t m_done = 0;
};

} // namespace kvsim
