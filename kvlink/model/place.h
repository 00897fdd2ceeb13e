// SPDX-License-Identifier: MIT
// A place: a range of a PLC's devices as an engineer writes it, and what it is to the driver.
//
//   DEVICE[.FORMAT][:COUNT]   DM100  DM100:10  R1015  DM100.5  W1A.3  R1000.U  TC5.L  DM10.STR:8
//   FIRST-LAST                DM100-DM109  R1000-R1015
//
// Upper or lower case. An engineer never writes an area code; the one table in
// device_table.cpp knows them.
#pragma once

#include "model/device_table.h"

#include <kvlink/tag.h>

#include <optional>

namespace kvlink
{

/// How values are shown and typed.
enum class Format : quint8 {
    Bit,      ///< 0 or 1
    Unsigned, ///< .U 16 bits
    Signed,   ///< .S 16 bits
    Double,   ///< .D 32 bits, unsigned
    Long,     ///< .L 32 bits, signed
    Hex,      ///< .H 16 bits (32 of a double word), hexadecimal
    Float,    ///< .F 32 bits
    Text,     ///< .STR:n characters, two in a word
};

/// A place, ready for the planner and for the driver's calls. Small: 100,000 of them are held.
struct Place {
    const Device *device = nullptr;
    int area = 0;       ///< area code for the driver's writes
    int number = 0;     ///< of the first element, in elements of the area
    int elements = 1;   ///< elements of the area
    int values = 1;     ///< scalars shown
    int characters = 0; ///< with Format::Text
    Element element = Element::Word;
    Format format = Format::Unsigned;
    bool formatShown = false; ///< the format is part of the name: it was written, or is not the device's own

    /// What a read of the place asks for: area code of the request, first read unit, how many.
    /// Read units: 16-bit words of relays and of words, double words, timers, counters.
    int readArea() const;
    int firstUnit() const;
    int unitCount() const;
    int elementsPerValue() const;

    /// Capital letters: "DM100.D:2".
    QString name() const;
    /// Example: value 1 of DM100.D:2 is "DM102.D".
    QString nameOfValue(int i) const;
};

/// \param problem what is wrong and what to write instead; set on failure only
std::optional<Place> parsePlace(const QString &given, QString &problem);

/// The text that the driver parses into element \a number of \a area of \a device.
QString driverText(const Device &device, int area, int number);

} // namespace kvlink
