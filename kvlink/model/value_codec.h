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

/// Writes the raw bytes of a place to where the caller keeps them, by which changes are noticed:
/// no heap for 100,000 tags a second. 1 byte a bit or contact (0 or 1), else as in the block.
/// \param to room for rawSize(place) bytes
/// \return bytes written; 0, and nothing written, if the block does not cover the place
int copyRaw(const Place &place, const UnitBlock &block, char *to);

/// Bytes that copyRaw writes.
int rawSize(const Place &place);

/// The same in an array of its own; empty if the block does not cover the place.
QByteArray rawOf(const Place &place, const UnitBlock &block);

/// \param raw rawSize(place) bytes
/// \param scale, offset shown = raw * scale + offset, of numbers only: bits and texts ignore them.
///        With 1 and 0 whole numbers stay whole; with anything else they become real
/// \return nothing for Reason::NotRepresentable: a float that is NaN or infinite, or a text with
///         bytes that its encoding does not know; one of several spoils all
std::optional<Value> decode(const Place &place, const char *raw, const Coding &coding, double scale,
                            double offset);

/// The requests of a write, in order; range-checked.
///
/// Words go in pieces of at most maxUnits and 128, double words of at most maxUnits and 80, never a
/// 32-bit value apart: with maxUnits 1 it is a piece of two words. Relays and bits of words go one
/// by one. With a scale or an offset a number goes to the nearest raw step; without them 1.5 is
/// refused where whole numbers are expected. The rest of a text is filled with zeros.
///
/// \param problem "70000 is too large for DM100 (0 to 65535)"; set on failure only. The reason is
///        NotPermitted where canWrite is false, else InvalidValue
std::optional<std::vector<WriteUnits>> encode(const Place &place, const Value &value, const Coding &coding,
                                              double scale, double offset, int maxUnits, QString &problem);

/// False for contacts.
/// \param problem "T5 is a contact: only the PLC's program sets it"; set on failure only
bool canWrite(const Place &place, QString &problem);

/// A value as typed: "5", "on", "0x1F", "1.5", "1,2,3" for three values; a text as it is. Of the
/// kind that decode gives: a bool for a bit, a real number for a float or with a scale.
/// Hexadecimal places take hexadecimal digits; with a scale or an offset they take decimal numbers,
/// just as they are shown then. Ranges are checked by encode.
/// \param problem "'x' is not valid: DM100 takes a number, such as 15"; set on failure only
std::optional<Value> valueFromText(const Place &place, const QString &typed, double scale, double offset,
                                   QString &problem);

/// What a value is made of: the scalars of a list, or itself alone; nothing without a value.
std::vector<Scalar> scalarsOf(const Value &value);

/// For people, with the format of the place: hexadecimal as "01A2" (32 bits: "000001A2"), floats
/// with the digits that bring them back, several values separated by commas. valueFromText takes
/// it back. Empty without a value.
QString shown(const Place &place, const Value &value);

} // namespace kvlink
