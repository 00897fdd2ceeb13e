// SPDX-License-Identifier: MIT
// The wait before every answer.
#include "faults/answer_delay.h"

#include "text/digits.h"
#include "text/words.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kvsim
{
namespace
{

// Only guessed, documented nowhere: what an Ethernet unit takes for an answer.
constexpr std::uint32_t guessedLeastMs = 5;
constexpr std::uint32_t guessedMostMs = 20;

constexpr std::uint32_t longestDelayMs = 3'600'000;
constexpr std::uint32_t largestSeed = 0xFFFFFFFFU;
constexpr double normal99 = 2.3263478740408408; // one of 100 draws of a standard normal is larger

std::optional<DelaySettings> rangeFrom(const std::vector<std::string_view> &parts)
{
    const auto least = numberWithin(parts[0], 0, longestDelayMs);
    const auto jitter =
        parts.size() == 1 ? std::optional<std::uint64_t>(0) : numberWithin(parts[1], 0, longestDelayMs);
    if (!least || !jitter || parts.size() > 2)
        return std::nullopt;
    DelaySettings delay;
    delay.leastMs = std::uint32_t(*least);
    delay.mostMs = std::uint32_t(*least + *jitter);
    return delay;
}

std::optional<DelaySettings> tailFrom(const std::vector<std::string_view> &parts)
{
    if (parts.size() < 3 || parts.size() > 4)
        return std::nullopt;
    const auto median = numberWithin(parts[1], 1, longestDelayMs);
    const auto p99 = numberWithin(parts[2], median.value_or(1), longestDelayMs);
    const auto seed =
        parts.size() == 4 ? numberWithin(parts[3], 0, largestSeed) : std::uint64_t(std::random_device{}());
    if (!median || !p99 || !seed)
        return std::nullopt;
    DelaySettings delay;
    delay.shape = DelaySettings::Shape::Tail;
    delay.medianMs = double(*median);
    delay.p99Ms = double(*p99);
    delay.seed = std::uint32_t(*seed);
    return delay;
}

} // namespace

std::optional<DelaySettings> delayFromText(std::string_view text, std::string &problem)
{
    const auto parts = splitAt(text, ':');
    std::optional<DelaySettings> delay;
    if (text == "guess") {
        delay.emplace();
        delay->leastMs = guessedLeastMs;
        delay->mostMs = guessedMostMs;
    } else {
        delay = parts[0] == "tail" ? tailFrom(parts) : rangeFrom(parts);
    }
    if (!delay)
        problem = inQuotes(text) +
                  " is not a delay (like 10, 10:5, guess, tail:8:60 or tail:8:60:SEED, up to " +
                  std::to_string(longestDelayMs) + " ms)";
    return delay;
}

AnswerDelay::AnswerDelay(const DelaySettings &settings)
    : m_settings(settings), m_random(settings.seed ? *settings.seed : std::random_device{}())
{
}

// From above 0 up to 1. By hand: distributions differ between standard libraries, and a
// seed must not.
double AnswerDelay::share()
{
    return double(m_random() - std::minstd_rand::min() + 1) /
           double(std::minstd_rand::max() - std::minstd_rand::min() + 1);
}

// The tail is a log-normal one: its logarithm is normal, made of two even shares.
std::uint32_t AnswerDelay::draw()
{
    if (m_settings.shape == DelaySettings::Shape::Range) {
        const std::uint32_t width = m_settings.mostMs - m_settings.leastMs;
        return m_settings.mostMs == 0 || width == 0
                   ? m_settings.leastMs
                   : m_settings.leastMs + std::uint32_t(m_random() % (width + 1));
    }
    const double normal = std::sqrt(-2 * std::log(share())) * std::cos(2 * std::numbers::pi * share());
    const double spread = std::log(m_settings.p99Ms / m_settings.medianMs) / normal99;
    const double wait = m_settings.medianMs * std::exp(spread * normal);
    return std::uint32_t(std::lround(std::min(wait, double(longestDelayMs))));
}

} // namespace kvsim
