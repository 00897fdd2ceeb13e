// The table of vices: name, argument and its default.
#pragma once

#include "fault_plan.h"

#include <span>

namespace kvsim
{

enum class Argument { None, Milliseconds, Bytes, Position, Code, Moment };

struct ViceRow {
    const char *name;
    Vice vice;
    Argument argument;
    std::uint32_t standard; // when no argument is given
    bool onConnections;
    const char *help;
};

std::span<const ViceRow> viceRows();
const ViceRow &viceRow(Vice vice);
const ViceRow *viceRowNamed(std::string_view name);

/// Position 0 of Garbled and Torn: the middle. Position 0 of Split: every byte by itself.
constexpr std::uint32_t atTheMiddle = 0;

} // namespace kvsim
