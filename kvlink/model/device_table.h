// SPDX-License-Identifier: MIT
// The devices of a KV PLC, as an engineer knows them and as the driver numbers them. One table for
// parser, planner, codec and help texts.
#pragma once

#include <QString>

#include <span>
#include <string_view>

namespace kvlink
{

/// What one element is to the driver: what GetRegisterData gives and SetRegisterData takes.
enum class Element : quint8 { Bit, Contact, Word, DoubleWord };

/// 1 of a bit or a contact, 2 of a word, 4 of a double word: as values lie in blocks and writes.
constexpr int bytesOfElement(Element element)
{
    switch (element) {
    case Element::Bit:
    case Element::Contact:
        return 1;
    case Element::Word:
        return 2;
    case Element::DoubleWord:
        return 4;
    }
    return 0;
}

/// Also the relays of a channel.
inline constexpr int bitsOfWord = 16;

/// How the number after the device's letters is written.
enum class Notation : quint8 {
    ChannelBit, ///< decimal channel, then two digits of bit, 00 to 15: R1015
    HexBit,     ///< hexadecimal; the last digit is the bit: B1F3
    Decimal,
    Hex,
};

/// Which of the values that one read unit brings is meant: timers and counters bring three.
enum class Field : quint8 { Whole, Contact, Current, Set };

struct Device {
    const char *name;
    Notation notation;
    Element element; ///< of the device itself
    int area;        ///< area code of the device itself
    int wordArea;    ///< relays as channels; -1: none
    int bitArea;     ///< single bits of a word, or the contact of a counter; -1: none
    int readArea;    ///< area code of the read request that brings it
    Field field;     ///< with timers and counters: which of the three values
    bool writable;   ///< has a way of being written at all
    int lowest;      ///< smallest element number of a KV-8000
    int highest;     ///< largest element number of a KV-8000 (bits for relays)
    int mostUnits; ///< most read units that a PLC answers in one request; 1000 unless it is known to be smaller
    const char *what;  ///< for people
    const char *range; ///< for people: "R0 to R199915"

    bool isHexadecimal() const { return notation == Notation::HexBit || notation == Notation::Hex; }
};

std::span<const Device> devices();

/// Null if no device has this name (capital letters).
const Device *deviceNamed(std::string_view name);
const Device *findDevice(const QString &name);

} // namespace kvlink
