// SPDX-License-Identifier: MIT
// One command line taken apart, with every check that needs no memory.
//
// The checks run in this order, and the first that fails gives the answer: form, device name,
// number notation, suffix, count, first and last element. Nothing is changed before all of them and
// the values are good.
#pragma once

#include "requests/request_filter.h"
#include "requests/rules.h"
#include "requests/verbs.h"

#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

struct Command {
    Refusal refused; // the error answer, or empty
    Verb verb = Verb::Unknown;
    std::string_view word; // as it came; all views point into the line
    std::string_view station;
    const Device *device = nullptr; // set as soon as the name is known, even if a later check fails
    std::uint32_t first = 0;
    Format format = Format::Bit;
    std::uint32_t count = 0;
    std::vector<std::string_view> values;
};

/// The parts are filled in as far as the checks went.
Command parseCommand(std::string_view line, const Rules &rules);

/// The device operand alone, "DM100" or "R1000.U": name, number, suffix, alignment; with count 1.
Command parseOperand(std::string_view text, const Rules &rules);

/// Count against its limit, then first and last element against the family's range.
/// \return the error answer, or empty
Refusal checkSpan(const Rules &rules, const Command &command);

Asked askedBy(const Command &command);

} // namespace kvsim
