// Addresses as an engineer writes them, and what they are to the driver.
//
//   [STATION/]DEVICE[.FORMAT][:COUNT]     DM100  DM100:10  R1015  DM100.5  W1A.3  R1000.U  T5  TC5.L  2/DM0.F
//   FIRST-LAST                            DM100-DM109  R1000-R1015
//
// Upper or lower case. An engineer never writes an area code; the one table in address.cpp knows them.
#pragma once

#include <QString>
#include <QVector>

#include <optional>

namespace kvhost
{

/// What one element is to the driver: what GetRegisterData gives and SetRegisterData takes.
enum class Element { Bit, Contact, Word, DoubleWord };

/// How values are shown and typed.
enum class Format {
    Bit,      ///< 0 or 1
    Unsigned, ///< .U 16 bits
    Signed,   ///< .S 16 bits
    Double,   ///< .D 32 bits, unsigned
    Long,     ///< .L 32 bits, signed
    Hex,      ///< .H 16 bits (32 of a double word), hexadecimal
    Float,    ///< .F 32 bits
    Text,     ///< .STR:n characters, two in a word
};

/// How the number behind the device's letters is written.
enum class Notation { ChannelBit, HexBit, Decimal, Hex };

/// A device as an engineer knows it.
struct Device {
    const char *name;
    Notation notation;
    Element element;   ///< of the device itself
    int area;          ///< area code of the device itself
    int wordArea;      ///< relays as channels; -1: none
    int bitArea;       ///< single bits of a word, or the contact of a counter; -1: none
    int readKey;       ///< area under which its cyclic reads appear
    bool writable;     ///< has a way of being written at all
    const char *what;  ///< for people
    const char *range; ///< numbers of a KV-8000, for people
};

const QVector<Device> &devices();

/// A place in the PLC, ready for the driver's calls.
struct Address {
    int station = -1;          ///< -1: the first PLC named on the command line
    bool stationShown = false; ///< as part of the name
    const Device *device = nullptr;
    int area = 0;        ///< area code for the driver
    QString addressText; ///< address text for the driver
    int number = 0;      ///< of the first element, in elements of the area
    Element element = Element::Word;
    int elements = 1; ///< elements of the area
    Format format = Format::Unsigned;
    int values = 1;     ///< values shown
    int characters = 0; ///< with Format::Text
    QString suffix;     ///< ".U" and so on, as it was asked for; empty by default

    /// Count as the driver's registration and write calls want it: bits, words, 16-bit registers of double
    /// words.
    int hostCount() const;
    int elementsPerValue() const;
    /// First unit and number of units in the driver's read blocks: words of relays, else elements.
    int firstUnit() const;
    int unitCount() const;
    /// Units that value i needs.
    int firstUnitOfValue(int i) const;
    int unitsOfValue() const;
    /// Example: value 1 of DM100.D:2 is "DM102.D".
    QString nameOfValue(int i) const;
    /// The whole address in capital letters: "DM100.D:2".
    QString name() const;
};

/// \param problem what is wrong and what to write instead
std::optional<Address> parseAddress(const QString &given, QString *problem);

/// A part of an address: \a count values from value \a first on.
Address partOf(const Address &whole, int first, int count);

/// The text that the driver parses into element \a number of \a area of \a device.
QString driverText(const Device &device, int area, int number);

} // namespace kvhost
