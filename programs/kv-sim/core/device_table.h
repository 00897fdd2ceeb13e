// The devices of the simulated PLC: names, kinds, notations, ranges by family and largest counts.
//
// The one place that knows a device. The ranges of the KV-8000/7000 column are published ones; those of the
// other columns and all largest counts are unverified.
#pragma once

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

enum class Format { Bit, U, S, D, L, H };

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

/// Row of a device, for arrays that run along the table.
std::size_t rowOf(const Device &device);

/// The device of exactly this name, nullptr if there is none.
const Device *deviceNamed(std::string_view name);

/// The device whose name is the longest one that the text begins with: "CTC1" is CTC, "BE0" is B.
const Device *deviceAtStartOf(std::string_view text);

/// The device that holds the cells: T for TS, C for CS, otherwise the device itself.
const Device &holderOf(const Device &device);

const Model *modelNamed(std::string_view name);

enum class NumberFault { None, Form, BitDigits };

/// Number as written ("1015", "B1af") into an element number counted from 0: bits for relays.
/// \param upperOnly  lower-case hexadecimal digits are a fault of form
NumberFault elementFromText(Notation notation, std::string_view text, bool upperOnly, std::uint32_t &element);

/// The other way: 165 of R is "1005", 431 of B is "1AF".
std::string elementToText(Notation notation, std::uint32_t element);

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

/// Element numbers that a family has; nothing if the family lacks the device.
std::optional<Range> rangeOf(const Device &device, Family family);

bool is32Bit(Format format);

/// How many elements one value of this format takes: 16 relays, 2 words, 1 timer.
std::uint32_t elementsPerValue(const Device &device, Format format);

} // namespace kvsim
