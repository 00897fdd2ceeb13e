// SPDX-License-Identifier: MIT
// The table of fault kinds.
#include "faults/fault_kinds.h"

#include <algorithm>
#include <array>

namespace kvsim
{
namespace
{

// clang-format off
constexpr std::array<FaultKindRow, 21> rows{{
    // name        kind                 argument                  std.  conn.  what it does
    { "silent",    FaultKind::Silent,    FaultArgument::None,           0, false, "no answer; the command is carried out" },
    { "late",      FaultKind::Late,      FaultArgument::Milliseconds, 2000, false, "the answer comes MS later (2000)" },
    { "error",     FaultKind::Error,     FaultArgument::Code,           0, false, "answers CODE (E1); the command is not carried out" },
    { "short",     FaultKind::Short,     FaultArgument::Bytes,          1, false, "the answer lacks its last N characters (1), not its CR LF" },
    { "long",      FaultKind::Long,      FaultArgument::Bytes,          1, false, "N extra zeros (1) before CR LF" },
    { "torn",      FaultKind::Torn,      FaultArgument::Position,       0, false, "only the first N bytes come (half of them); the link stays open" },
    { "garbled",   FaultKind::Garbled,   FaultArgument::Position,       0, false, "the Nth character (the middle one) becomes '?'" },
    { "doubled",   FaultKind::Doubled,   FaultArgument::None,           0, false, "the answer comes twice" },
    { "foreign",   FaultKind::Foreign,   FaultArgument::None,           0, false, "the answer of another request of the same length" },
    { "split",     FaultKind::Split,     FaultArgument::Position,       0, false, "in two parts, the first of N bytes (or byte by byte)" },
    { "slow",      FaultKind::Slow,      FaultArgument::Milliseconds,  10, false, "slow line: every byte takes MS (10)" },
    { "close",     FaultKind::Close,     FaultArgument::Moment,         0, false, "closes before, in or after the answer (before)" },
    { "reset",     FaultKind::Reset,     FaultArgument::Moment,         0, false, "the same, but the connection is reset" },
    { "forget",    FaultKind::Forget,    FaultArgument::None,           0, false, "the link forgets its opening: E1 until CR" },
    { "lost",      FaultKind::Lost,      FaultArgument::None,           0, false, "the request is lost: not carried out, no answer" },
    { "twice",     FaultKind::Twice,     FaultArgument::None,           0, false, "the request comes twice: carried out and answered twice" },
    { "overtaken", FaultKind::Overtaken, FaultArgument::Milliseconds, 1000, false, "comes after the next answer, or after MS (1000)" },
    { "vanish",    FaultKind::Vanish,    FaultArgument::None,           0, false, "the PLC is gone for this connection: no answers, no close" },
    { "refuse",    FaultKind::Refuse,    FaultArgument::None,           0, true,  "a new connection is reset at once" },
    { "blackhole", FaultKind::Blackhole, FaultArgument::None,           0, true,  "a new connection is accepted and never answered" },
    { "second",    FaultKind::Second,    FaultArgument::None,           0, true,  "a connection beside another one is closed at once" },
}};
// clang-format on

const char *argumentText(FaultArgument argument)
{
    switch (argument) {
    case FaultArgument::None:
        return "";
    case FaultArgument::Milliseconds:
        return "[:MS]";
    case FaultArgument::Bytes:
    case FaultArgument::Position:
        return "[:N]";
    case FaultArgument::Code:
        return "[:CODE]";
    case FaultArgument::Moment:
        return "[:before|in|after]";
    }
    return "";
}

} // namespace

std::span<const FaultKindRow> faultKinds()
{
    return rows;
}

const FaultKindRow &faultKindRow(FaultKind kind)
{
    return rows[std::size_t(kind)];
}

const FaultKindRow *faultKindNamed(std::string_view name)
{
    for (const FaultKindRow &row : rows)
        if (name == row.name)
            return &row;
    return nullptr;
}

std::string faultUsage(const FaultKindRow &row)
{
    return std::string(row.name) + argumentText(row.argument);
}

std::string faultKindTable()
{
    constexpr std::size_t nameWidth = 28;
    std::string text;
    for (const FaultKindRow &row : rows) {
        std::string name = "  " + faultUsage(row);
        name.resize(std::max(name.size() + 1, nameWidth), ' ');
        text += name + row.help + "\n";
    }
    return text;
}

std::string faultKindNames()
{
    std::string text;
    for (const FaultKindRow &row : rows)
        text += (text.empty() ? "" : ", ") + std::string(row.name);
    return text;
}

} // namespace kvsim
