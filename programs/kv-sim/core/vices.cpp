#include "vices.h"

#include <algorithm>
#include <array>

namespace kvsim
{
namespace
{

// clang-format off
constexpr std::array<ViceRow, 17> rows{{
    // name        vice             argument               std.  conn.  what it does
    { "silent",    Vice::Silent,    Argument::None,           0, false, "no answer; the command is carried out" },
    { "late",      Vice::Late,      Argument::Milliseconds, 2000, false, "the answer comes MS later (2000)" },
    { "error",     Vice::Error,     Argument::Code,           0, false, "answers CODE (E1); the command is not carried out" },
    { "short",     Vice::Short,     Argument::Bytes,          1, false, "the answer lacks its last N characters (1), not its CR LF" },
    { "long",      Vice::Long,      Argument::Bytes,          1, false, "N zeros too many (1) before CR LF" },
    { "torn",      Vice::Torn,      Argument::Position,       0, false, "only the first N bytes come (half of them); the line stays open" },
    { "garbled",   Vice::Garbled,   Argument::Position,       0, false, "the Nth character (the middle one) becomes '?'" },
    { "doubled",   Vice::Doubled,   Argument::None,           0, false, "the answer comes twice" },
    { "foreign",   Vice::Foreign,   Argument::None,           0, false, "the answer of another request of the same length" },
    { "split",     Vice::Split,     Argument::Position,       0, false, "in two parts, the first of N bytes (or byte by byte)" },
    { "slow",      Vice::Slow,      Argument::Milliseconds,  10, false, "slow line: every byte takes MS (10)" },
    { "close",     Vice::Close,     Argument::Moment,         0, false, "closes before, in or after the answer (before)" },
    { "reset",     Vice::Reset,     Argument::Moment,         0, false, "the same, but the connection is reset" },
    { "forget",    Vice::Forget,    Argument::None,           0, false, "the link forgets its opening: E1 until CR" },
    { "refuse",    Vice::Refuse,    Argument::None,           0, true,  "a new connection is reset at once" },
    { "blackhole", Vice::Blackhole, Argument::None,           0, true,  "a new connection is accepted and never answered" },
    { "second",    Vice::Second,    Argument::None,           0, true,  "a connection beside another one is closed at once" },
}};
// clang-format on

const char *argumentText(Argument argument)
{
    switch (argument) {
    case Argument::None:
        return "";
    case Argument::Milliseconds:
        return "[:MS]";
    case Argument::Bytes:
    case Argument::Position:
        return "[:N]";
    case Argument::Code:
        return "[:CODE]";
    case Argument::Moment:
        return "[:before|in|after]";
    }
    return "";
}

} // namespace

std::span<const ViceRow> viceRows()
{
    return rows;
}

const ViceRow &viceRow(Vice vice)
{
    return rows[static_cast<std::size_t>(vice)];
}

const ViceRow *viceRowNamed(std::string_view name)
{
    for (const ViceRow &row : rows)
        if (name == row.name)
            return &row;
    return nullptr;
}

const char *viceName(Vice vice)
{
    return viceRow(vice).name;
}

std::string viceList()
{
    std::string text;
    for (const ViceRow &row : rows) {
        std::string name = std::string("  ") + row.name + argumentText(row.argument);
        name.resize(std::max<std::size_t>(name.size() + 1, 28), ' ');
        text += name + row.help + "\n";
    }
    return text;
}

} // namespace kvsim
