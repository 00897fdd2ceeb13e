// SPDX-License-Identifier: MIT
// The command words of the PLC, and the two names that binary remote-area requests go by.
#pragma once

#include <cstddef>
#include <string_view>

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

struct VerbRow {
    std::string_view word;
    Verb verb;
    std::size_t least; // fields after the word
    std::size_t most;
};

constexpr std::size_t clockFields = 7; // yy mm dd hh mm ss w; unverified form

constexpr std::string_view remoteReadWord = "remote-read";
constexpr std::string_view remoteWriteWord = "remote-write";

/// nullptr if the PLC does not know this word.
const VerbRow *verbRow(std::string_view word);

/// A command word, remote-read or remote-write: what requests are counted and filtered by.
bool isRequestWord(std::string_view word);

bool isRemoteWord(std::string_view word);

} // namespace kvsim
