// SPDX-License-Identifier: MIT
// What leaves the PLC for one request: which bytes, in which portions, after which waits, and
// whether the connection survives it.
#pragma once

#include "faults/fault_plan.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

struct Step {
    std::uint32_t waitMs = 0; // before the bytes go out
    std::string bytes;
    bool operator==(const Step &) const = default;
};

enum class Ending { StayOpen, Close, Reset, Vanish };

struct Delivery {
    std::vector<Step> steps;
    Ending ending = Ending::StayOpen;
    std::uint32_t overtakenMs = 0; // the steps wait for the next answer, for so long at most
    bool operator==(const Delivery &) const = default;
};

/// Time between the portions of a split answer, so that they do not travel in one packet.
constexpr std::uint32_t portionGapMs = 2;

/// The same delivery on a serial line: every byte takes 11 bit times.
Delivery atBaud(const Delivery &delivery, std::uint32_t baud);

/// Time that bytes take on a serial line, in milliseconds, rounded up.
std::uint32_t serialTimeMs(std::size_t bytes, std::uint32_t baud);

/// Answers that have gone out, to be given again to a request that they do not belong to.
class AnswerMemory
{
public:
    void remember(const std::string &answer);

    /// Another answer of the same length: the last different one that was given, else
    /// a made-up one.
    std::string foreignTo(const std::string &answer) const;

private:
    struct Pair {
        std::string last;
        std::string lastDifferent;
    };
    std::map<std::size_t, Pair> m_byLength;
};

/// \param answer  without CR LF
/// \param foreign an answer of the same length, used by Foreign
Delivery shape(const std::string &answer, const std::string &foreign,
               const std::vector<FaultEffect> &effects);

} // namespace kvsim
