// SPDX-License-Identifier: MIT
// The kinds of faults: name, argument and its default, one row each.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kvsim
{

enum class FaultKind {
    Silent,
    Late,
    Error,
    Short,
    Long,
    Torn,
    Garbled,
    Doubled,
    Foreign,
    Split,
    Slow,
    Close,
    Reset,
    Forget,
    Lost,
    Twice,
    Overtaken,
    Vanish,
    // These happen to connections, not to requests.
    Refuse,
    Blackhole,
    Second,
};

enum class FaultArgument { None, Milliseconds, Bytes, Position, Code, Moment };

struct FaultKindRow {
    const char *name;
    FaultKind kind;
    FaultArgument argument;
    std::uint32_t standard; // when no argument is given
    bool onConnections;
    const char *help;
};

/// Position 0 of Garbled and Torn: the middle. Position 0 of Split: every byte by itself.
constexpr std::uint32_t atTheMiddle = 0;

std::span<const FaultKindRow> faultKinds();
const FaultKindRow &faultKindRow(FaultKind kind);
const FaultKindRow *faultKindNamed(std::string_view name);

/// "late[:MS]"
std::string faultUsage(const FaultKindRow &row);

/// All kinds with their arguments, a line each, for the help.
std::string faultKindTable();

/// "silent, late, error, ...", for messages.
std::string faultKindNames();

} // namespace kvsim
