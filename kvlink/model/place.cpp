// SPDX-License-Identifier: MIT
// What a place is to reads, to the driver, and to people.
#include "model/place.h"

namespace kvlink
{

namespace
{

// Units of a format in words: two of them make one value.
bool takesTwoWords(Format format)
{
    return format == Format::Double || format == Format::Long || format == Format::Float;
}

QString suffixOf(const Place &place)
{
    if (!place.formatShown)
        return {};
    switch (place.format) {
    case Format::Bit:
        return QStringLiteral(".C");
    case Format::Unsigned:
        return QStringLiteral(".U");
    case Format::Signed:
        return QStringLiteral(".S");
    case Format::Double:
        return QStringLiteral(".D");
    case Format::Long:
        return QStringLiteral(".L");
    case Format::Hex:
        return QStringLiteral(".H");
    case Format::Float:
        return QStringLiteral(".F");
    case Format::Text:
        return QStringLiteral(".STR:%1").arg(place.characters);
    }
    return {};
}

QString inBase(int number, int base)
{
    return QString::number(number, base).toUpper();
}

} // namespace

int Place::readArea() const
{
    return device->readArea;
}

int Place::firstUnit() const
{
    return element == Element::Bit ? number / bitsOfWord : number;
}

int Place::unitCount() const
{
    if (element != Element::Bit)
        return elements;
    return (number % bitsOfWord + elements + bitsOfWord - 1) / bitsOfWord;
}

int Place::elementsPerValue() const
{
    if (format == Format::Text)
        return elements;
    return element == Element::Word && takesTwoWords(format) ? 2 : 1;
}

QString Place::name() const
{
    return values > 1 ? QStringLiteral("%1:%2").arg(nameOfValue(0)).arg(values) : nameOfValue(0);
}

QString Place::nameOfValue(int i) const
{
    return QLatin1String(device->name) + driverText(*device, area, number + i * elementsPerValue()) +
           suffixOf(*this);
}

QString driverText(const Device &device, int area, int number)
{
    const bool wordOfRelays = area == device.wordArea;
    const bool bitOfWord = area == device.bitArea && device.element == Element::Word;
    const int base = device.isHexadecimal() ? 16 : 10;
    if (device.notation == Notation::ChannelBit) {
        return wordOfRelays ? QString::number(number * 100)
                            : QString::number(number / bitsOfWord * 100 + number % bitsOfWord);
    }
    if (wordOfRelays)
        return inBase(number * bitsOfWord, base);
    if (!bitOfWord)
        return inBase(number, base);
    return QStringLiteral("%1.%2").arg(inBase(number / bitsOfWord, base)).arg(number % bitsOfWord);
}

} // namespace kvlink
