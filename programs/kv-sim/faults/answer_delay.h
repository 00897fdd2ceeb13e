// SPDX-License-Identifier: MIT
// The wait before every answer: fixed, within a range, or with a long tail.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace kvsim
{

struct DelaySettings {
    enum class Shape { Range, Tail };

    Shape shape = Shape::Range;
    std::uint32_t leastMs = 0; // of Range: every value up to mostMs is equally likely
    std::uint32_t mostMs = 0;
    double medianMs = 0; // of Tail: one wait of 100 is longer than p99Ms, a few are much longer
    double p99Ms = 0;
    std::optional<std::uint32_t> seed;
};

/// "10", "10:5" (10 to 15), "guess" (5 to 20), "tail:8:60" (median 8, one of 100 beyond 60), and
/// "tail:8:60:SEED", which repeats itself.
/// \param[out] problem  what is wrong with the text, if nothing is returned
std::optional<DelaySettings> delayFromText(std::string_view text, std::string &problem);

class AnswerDelay
{
public:
    explicit AnswerDelay(const DelaySettings &settings = {});

    /// Milliseconds to wait before the next answer.
    std::uint32_t draw();

private:
    double share();

    DelaySettings m_settings;
    std::minstd_rand m_random;
};

} // namespace kvsim
