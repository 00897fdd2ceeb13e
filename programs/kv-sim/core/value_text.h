// Values as text: how they stand in answers, and how they are read from commands.
#pragma once

#include "device_memory.h"
#include "rules.h"

#include <string>
#include <string_view>

namespace kvsim
{

/// 10 is "00010" as .U, "+00010" as .S, "0000000010" as .D, "+0000000010" as .L, "000A" as .H, "1" or "0" as
/// bit.
void appendValue(std::string &text, std::uint32_t value, Format format);

/// "1,0000000050,0000000100", or with blanks for the commas.
void appendTimer(std::string &text, const TimerCells &timer, bool blanks);

/// \return false if the text is no number of this format, or out of the format's range
bool valueFromText(std::string_view text, Format format, const Rules &rules, std::uint32_t &value);

/// 'U' to Format::U and so on; false for any other letter.
bool formatFromLetter(char letter, Format &format);

} // namespace kvsim
