// SPDX-License-Identifier: MIT
// What this simulated PLC accepts, and the answers it gives. Everything that no published document
// settles is a named constant or a switch here, with its default.
#pragma once

#include "devices/device_table.h"
#include "text/value_text.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace kvsim
{

/// An error answer, or empty when a command is accepted.
using Refusal = std::string_view;

namespace answer
{
constexpr std::string_view ok = "OK";
constexpr std::string_view linkOpened = "CC";
constexpr std::string_view linkClosed = "CF";
} // namespace answer

// Unverified: only the two-character shape of error answers is published, not which cause
// gives which code.
namespace refusal
{
constexpr Refusal none{};
constexpr Refusal unknownCommand = "E1";
constexpr Refusal wrongForm = "E1";
constexpr Refusal linkNotOpen = "E1";
constexpr Refusal openingRefused = "E1";
constexpr Refusal lineTooLong = "E1";
constexpr Refusal unknownDevice = "E0"; // our choice: like a device that the model lacks
constexpr Refusal missingDevice = "E0";
constexpr Refusal wrongNumber = "E1";    // not digits of the device's notation
constexpr Refusal wrongBitDigits = "E0"; // R1016
constexpr Refusal unaligned = "E0";      // our choice
constexpr Refusal wrongSuffix = "E1";
constexpr Refusal wrongCount = "E1";
constexpr Refusal outOfRange = "E0";
constexpr Refusal wrongValue = "E1";
constexpr Refusal atIsReadOnly = "E1"; // our choice of code
constexpr Refusal wrongClock = "E1";
constexpr Refusal unknownModelCode = "E1";
constexpr Refusal programMissing = "E2"; // M1 without a program in the CPU
constexpr Refusal writeProtected = "E4";
constexpr Refusal cpuError = "E5";       // M1 before ER
constexpr Refusal starting = "E1";       // our choice: the CPU is not ready yet
constexpr Refusal notRecorded = "E1";    // our choice: a replayed recording does not have this request
constexpr Refusal remoteChecksum = "E1"; // our choice, as all refusals of remote-area requests
constexpr Refusal remoteLength = "E1";
constexpr Refusal remoteArea = "E0";
constexpr Refusal remoteAccess = "E1";
} // namespace refusal

constexpr std::uint32_t mostRelaysAtOnce = 16; // STS and RSS; unverified

enum class Opening {
    Required, // until CR, every command is refused
    Never,    // commands are served at once; CR is answered all the same
    Refused,  // CR itself is refused, commands are served at once
};

struct Rules {
    Family family = Family::Kv8000;
    int modelCode = 57;
    Opening opening = Opening::Required;
    ValueRules values;
    bool unaligned = false; // words may begin at any relay of a channel
    bool atWritable = false;
    bool triplesWithBlanks = false;                    // spaces, not commas, inside a timer's three values
    std::size_t errorDigits = 3;                       // of ?E
    std::map<std::string, std::uint32_t> mostByDevice; // overrides the table; "" is for all devices

    /// The largest count of one read or write.
    std::uint32_t mostValues(const Device &device, Format format) const;
};

} // namespace kvsim
