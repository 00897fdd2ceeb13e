// SPDX-License-Identifier: MIT
// The table of command words.
#include "requests/verbs.h"

#include <array>

namespace kvsim
{
namespace
{

constexpr std::size_t anyNumber = std::size_t(-1);

// clang-format off
constexpr std::array<VerbRow, 19> verbs{{
    { "CR",  Verb::OpenLink,    0, 1 },
    { "CQ",  Verb::CloseLink,   0, 0 },
    { "RD",  Verb::ReadOne,     1, 1 },
    { "RDS", Verb::ReadMany,    2, 2 },
    { "RDE", Verb::ReadMany,    2, 2 },
    { "WR",  Verb::WriteOne,    2, 2 },
    { "WRS", Verb::WriteMany,   3, anyNumber },
    { "WRE", Verb::WriteMany,   3, anyNumber }, // unverified second name
    { "ST",  Verb::SetRelay,    1, 1 },
    { "RS",  Verb::ResetRelay,  1, 1 },
    { "STS", Verb::SetRelays,   2, 2 },
    { "RSS", Verb::ResetRelays, 2, 2 },
    { "?K",  Verb::AskModel,    0, 0 },
    { "?E",  Verb::AskError,    0, 0 },
    { "?M",  Verb::AskMode,     0, 0 },
    { "ER",  Verb::ClearError,  0, 0 },
    { "M0",  Verb::ToProgram,   0, 0 },
    { "M1",  Verb::ToRun,       0, 0 },
    { "WRT", Verb::SetClock,    clockFields, clockFields },
}};
// clang-format on

} // namespace

const VerbRow *verbRow(std::string_view word)
{
    for (const VerbRow &row : verbs)
        if (word == row.word)
            return &row;
    return nullptr;
}

bool isRequestWord(std::string_view word)
{
    return verbRow(word) != nullptr || isRemoteWord(word);
}

bool isRemoteWord(std::string_view word)
{
    return word == remoteReadWord || word == remoteWriteWord;
}

} // namespace kvsim
