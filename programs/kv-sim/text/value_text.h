// SPDX-License-Identifier: MIT
// Values as text: how they appear in answers, and how they are read from commands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

/// The suffix of a device: ".U", ".S" and ".H" are 16 bits, ".D" and ".L" are 32, Bit
/// has no suffix.
enum class Format { Bit, U, S, D, L, H };

/// 'U' is Format::U, and so on.
std::optional<Format> formatFromLetter(char letter);
bool is32Bit(Format format);

/// What a reader of values accepts.
struct ValueRules {
    bool upperOnly = false;     // lower-case hexadecimal digits are refused
    bool negativeWraps = false; // "-1" after .U and .D is stored as two's complement
};

/// 10 is "00010" as .U, "+00010" as .S, "0000000010" as .D, "+0000000010" as .L, "000A" as .H and
/// "1" as a bit.
void appendValue(std::string &text, std::uint32_t value, Format format);

/// \return nothing if the text is not a number of this format, or does not fit into it
std::optional<std::uint32_t> valueFromText(std::string_view text, Format format, const ValueRules &rules);

} // namespace kvsim
