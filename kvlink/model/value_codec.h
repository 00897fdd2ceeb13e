// SPDX-License-Identifier: MIT
// Raw units into values, and values into writes.
#pragma once

#include "model/place.h"
#include "model/units.h"

#include <kvlink/link.h>

#include <optional>

namespace kvlink
{

/// How the words of a PLC make up values.
struct Coding {
    WordOrder wordOrder = WordOrder::LowFirst;
    TextEncoding textEncoding = TextEncoding::Utf8;
};

/// The raw bytes of a place out of a block that covers all of it; what changes are compared by.
/// 1 byte a bit or contact, else as in the block.
QByteArray rawOf(const Place &place, const UnitBlock &block);

/// The same, appended to where the caller keeps it: no heap for 100,000 tags a second. Returns the bytes written.
int copyRaw(const Place &place, const UnitBlock &block, char *to);

/// Bytes that copyRaw writes.
int rawSize(const Place &place);

/// \param scale, offset shown = raw * scale + offset; with 1 and 0 whole numbers stay whole
/// \return Reason::NotRepresentable in a sample if a float is NaN or infinite, or a text has bytes that its encoding does not know:
///         then nothing
std::optional<Value> decode(const Place &place, const char *raw, const Coding &coding, double scale,
                            double offset);

/// The requests of a write, in order; range-checked. Words and double words in pieces of at most maxUnits, never a
/// 32-bit value apart; single relays and bits of words one each.
/// \param problem what is wrong with the value: "70000 is too large for DM100 (0 to 65535)"; set on failure only
std::optional<std::vector<WriteUnits>> encode(const Place &place, const Value &value, const Coding &coding,
                                              double scale, double offset, int maxUnits, QString &problem);

/// A value as typed: "5", "on", "0x1F", "1.5", "1,2,3". Hexadecimal formats take hexadecimal digits.
std::optional<Value> valueFromText(const Place &place, const QString &typed, double scale, double offset,
                                   QString &problem);

/// As kv-host shows it, with the format of the place: hexadecimal as "01A2", floats with the digits that bring them back.
QString shown(const Place &place, const Value &value);

} // namespace kvlink
