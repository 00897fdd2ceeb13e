// SPDX-License-Identifier: MIT
// The devices of the simulated PLC: names, kinds, notations, ranges by family and largest counts.
//
// The only place that knows a device. The ranges of the KV-8000/7000 column are published; those of
// the other columns and all largest counts are unverified.
#pragma once

#include "text/value_text.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kvsim
{

enum class Kind {
    Relay,    // single bits, 16 to a channel
    Word,     // 16-bit registers
    DWord,    // 32-bit registers, one number each
    Triple,   // contact, current value, set value
    SetValue, // the set value of a Triple, under a name of its own
};

enum class Notation {
    ChannelBit, // decimal channel followed by two digits of bit, 00 to 15
    Hex,
    Decimal,
};

enum class Family { Kv8000, Kv5000, Kv1000, Kv700, Nano };
constexpr std::size_t familyCount = 5;

struct Device {
    const char *name;
    Kind kind;
    Notation notation;
    Format standard;                            // the format when no suffix is given
    const char *first;                          // numbers as they are written in a ladder program
    std::array<const char *, familyCount> last; // nullptr: this family lacks the device
    std::uint32_t most16;                       // largest count with bits and 16-bit formats
    std::uint32_t most32;                       // largest count with 32-bit formats
    bool contactBySt;                           // ST and RS switch it
};

struct Model {
    const char *name;
    Family family;
    int code; // the answer to ?K; 0: not known, ?K is refused
};

constexpr std::size_t deviceCount = 22;
std::span<const Device, deviceCount> devices();
std::span<const Model> models();

/// The row of a device, for arrays that are parallel to the table.
std::size_t rowOf(const Device &device);

/// The device of exactly this name, nullptr if there is none.
const Device *deviceNamed(std::string_view name);

/// The device whose name is the longest one that the text begins with: "CTC1" is CTC, "BE0" is B.
const Device *deviceAtStartOf(std::string_view text);

/// The device that holds the cells: T for TS, C for CS, otherwise the device itself.
const Device &holderOf(const Device &device);

const Model *modelNamed(std::string_view name);

enum class NumberError { None, Form, BitDigits };

/// The number of a device as it is written.
struct ElementNumber {
    NumberError error = NumberError::None;
    std::uint32_t element = 0; // counted from 0; relays count in bits
};

/// "1015" of R is element 165, "B1af" without its B is 431.
/// \param upperOnly  lower-case hexadecimal digits are an error of form
ElementNumber elementFromText(Notation notation, std::string_view text, bool upperOnly = false);

/// The other way: 165 of R is "1005", 431 of B is "1AF".
std::string elementToText(Notation notation, std::uint32_t element);

constexpr std::uint32_t bitsPerChannel = 16;

/// First and last element.
struct Range {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// Element numbers that a family has; nothing if the family lacks the device.
std::optional<Range> rangeOf(const Device &device, Family family);

/// How many elements one value of this format takes: 16 relays, 2 words, 1 timer.
std::uint32_t elementsPerValue(const Device &device, Format format);

} // namespace kvsim
