// One command line into its parts, with every check that needs no memory.
//
// Checks go in this order, and the first that fails gives the answer: form, device name, number notation,
// suffix, count, first and last element. Nothing is changed before all of them and the values are good.
#pragma once

#include "rules.h"

#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

enum class Verb {
    Unknown,
    OpenLink,
    CloseLink,
    ReadOne,
    ReadMany,
    WriteOne,
    WriteMany,
    SetRelay,
    ResetRelay,
    SetRelays,
    ResetRelays,
    AskModel,
    AskError,
    AskMode,
    ClearError,
    ToProgram,
    ToRun,
    SetClock,
};

struct Command {
    Verb verb = Verb::Unknown;
    std::string_view word; // as it came; all views point into the line
    std::string_view station;
    const Device *device = nullptr; // set as soon as the name is known, also when a later check fails
    std::uint32_t first = 0;
    Format format = Format::Bit;
    std::uint32_t count = 0;
    std::vector<std::string_view> values;
};

/// \param[out] command  filled as far as the checks went
/// \return refusal::none, or the error answer
Refusal parseCommand(std::string_view line, const Rules &rules, Command &command);

/// The device operand alone, "DM100", "R1000.U": name, number, suffix, alignment.
Refusal parseOperand(std::string_view text, const Rules &rules, Command &command);

/// Count against its limit, then first and last element against the family's range.
Refusal checkSpan(const Rules &rules, const Command &command);

/// "RDS" is one of the command words that are counted by name.
bool isCommandWord(std::string_view word);

} // namespace kvsim
