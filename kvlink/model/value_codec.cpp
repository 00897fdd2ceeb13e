// SPDX-License-Identifier: MIT
// Raw units into values.
//
// In:   the answer to one read, low byte first; a place that lies in it.
// Out:  a bool, a whole number, a real number or a text for each value of the place.
// Runs: for every tag at every pass; numbers take nothing from the heap.
#include "model/value_codec.h"

#include "model/scaling.h"
#include "model/text_encoding.h"

#include <bit>
#include <cmath>
#include <cstring>

#include <QtEndian>

namespace kvlink
{

namespace
{

// The part of the answer that holds the place's elements.
const QByteArray &bytesOf(const Place &place, const UnitBlock &block)
{
    if (place.element == Element::Contact)
        return block.contact;
    switch (place.device->field) {
    case Field::Current:
        return block.current;
    case Field::Set:
        return block.set;
    case Field::Whole:
    case Field::Contact:
        break;
    }
    return block.whole;
}

bool covers(const UnitBlock &block, const Place &place, const QByteArray &bytes)
{
    const int first = place.firstUnit() - block.firstUnit;
    const int end = first + place.unitCount();
    const int bytesOfUnit = bytesOfElement(place.element == Element::Bit ? Element::Word : place.element);
    return block.readArea == place.readArea() && first >= 0 && end <= block.unitCount &&
           end * bytesOfUnit <= int(bytes.size());
}

void copyBits(const Place &place, const UnitBlock &block, char *to)
{
    const int first = place.number - block.firstUnit * bitsOfWord;
    for (int i = 0; i < place.elements; ++i) {
        const auto byte = quint8(block.whole.at((first + i) / 8));
        to[i] = char(byte >> (first + i) % 8 & 1);
    }
}

// How the numbers of a place lie in its raw bytes.
struct RawNumbers {
    int bytes = 0;        // of one: 1, 2 or 4
    bool swapped = false; // the high word comes first
};

RawNumbers numbersOf(const Place &place, WordOrder order)
{
    const int elements = place.elementsPerValue();
    return {bytesOfElement(place.element) * elements, elements == 2 && order == WordOrder::HighFirst};
}

quint32 numberAt(const char *raw, const RawNumbers &numbers)
{
    if (numbers.bytes == 1)
        return quint8(*raw);
    if (numbers.bytes == 2)
        return qFromLittleEndian<quint16>(raw);
    const auto number = qFromLittleEndian<quint32>(raw);
    return numbers.swapped ? std::rotl(number, bitsOfWord) : number;
}

// Monostate for what is not a number. On purpose not computed without a scale: -0 would become 0.
Scalar realOf(double raw, double scale, double offset)
{
    const double real = isScaled(scale, offset) ? raw * scale + offset : raw;
    return std::isfinite(real) ? Scalar(real) : Scalar();
}

Scalar wholeOf(qint64 raw, double scale, double offset)
{
    return isScaled(scale, offset) ? realOf(double(raw), scale, offset) : Scalar(raw);
}

Scalar scalarOf(Format format, quint32 bits, double scale, double offset)
{
    switch (format) {
    case Format::Bit:
        return bits != 0;
    case Format::Signed:
        return wholeOf(qint16(bits), scale, offset);
    case Format::Long:
        return wholeOf(qint32(bits), scale, offset);
    case Format::Unsigned:
    case Format::Double:
    case Format::Hex:
        return wholeOf(qint64(bits), scale, offset);
    case Format::Float:
        return realOf(double(std::bit_cast<float>(bits)), scale, offset);
    case Format::Text:
        break;
    }
    return {};
}

// Two characters in a word, the first in the high byte; the text ends at a zero.
std::optional<Value> decodeText(const Place &place, const char *raw, TextEncoding encoding)
{
    QByteArray bytes;
    bytes.reserve(place.characters);
    for (int i = 0; i < place.characters; ++i) {
        const char c = raw[i ^ 1];
        if (c == '\0')
            break;
        bytes += c;
    }
    const auto text = textFromBytes(bytes, encoding);
    return text ? std::optional<Value>(*text) : std::nullopt;
}

Value valueOf(Scalar scalar)
{
    return std::visit([](auto &one) { return Value(std::move(one)); }, scalar);
}

} // namespace

int rawSize(const Place &place)
{
    return place.elements * bytesOfElement(place.element);
}

int copyRaw(const Place &place, const UnitBlock &block, char *to)
{
    const QByteArray &bytes = bytesOf(place, block);
    if (!covers(block, place, bytes))
        return 0;
    if (place.element == Element::Bit) {
        copyBits(place, block, to);
    } else {
        const int offset = (place.firstUnit() - block.firstUnit) * bytesOfElement(place.element);
        std::memcpy(to, bytes.constData() + offset, size_t(rawSize(place)));
    }
    return rawSize(place);
}

QByteArray rawOf(const Place &place, const UnitBlock &block)
{
    QByteArray raw(rawSize(place), '\0');
    raw.truncate(copyRaw(place, block, raw.data()));
    return raw;
}

std::optional<Value> decode(const Place &place, const char *raw, const Coding &coding, double scale,
                            double offset)
{
    if (place.format == Format::Text)
        return decodeText(place, raw, coding.textEncoding);
    const RawNumbers numbers = numbersOf(place, coding.wordOrder);
    std::vector<Scalar> scalars;
    if (place.values > 1)
        scalars.reserve(size_t(place.values));
    for (int i = 0; i < place.values; ++i) {
        Scalar scalar = scalarOf(place.format, numberAt(raw + i * numbers.bytes, numbers), scale, offset);
        if (scalar.index() == 0)
            return std::nullopt;
        if (place.values == 1)
            return valueOf(std::move(scalar));
        scalars.push_back(std::move(scalar));
    }
    return Value(std::move(scalars));
}

} // namespace kvlink
