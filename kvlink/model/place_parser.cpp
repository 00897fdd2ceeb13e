// SPDX-License-Identifier: MIT
// Addresses as engineers write them: parts, device and number, format, count, range.
//
// 100,000 addresses are parsed when a screen starts: nothing uses the heap while all is well.
#include "model/place_number.h"
#include "model/place_reading.h"

namespace kvlink
{

namespace
{

constexpr int highestCount = 65536;
constexpr int highestCharacters = 2000; // two in each word of the longest read
bool unknownDevice(Reading &r)
{
    const std::string_view text = r.text.first;
    const size_t letters = text.find_first_of("0123456789");
    const QString problem = QStringLiteral("'%1' is not a device; ").arg(textOf(text.substr(0, letters)));
    const QString near = nearDeviceText(text);
    if (near.isEmpty())
        return fail(r, problem + QStringLiteral("write a name and a number, as in DM100, R1015 or T5"));
    const QString format = r.text.hasFormat ? QLatin1Char('.') + textOf(r.text.format) : QString();
    const QString count = r.text.hasCount ? QLatin1Char(':') + textOf(r.text.count) : QString();
    return fail(r, problem + QStringLiteral("did you mean %1?").arg(near + format + count));
}

bool readFirst(Reading &r)
{
    const auto first = deviceNumber(r.text.first, r.problem);
    if (!first)
        return r.problem.isEmpty() ? unknownDevice(r) : false;
    r.place.device = first->device;
    r.first = first->number;
    return true;
}

bool isNumberOf(const Device &device, std::string_view digits)
{
    return plainNumber(digits, device.isHexadecimal() ? 16 : 10).has_value();
}

// "DM109" or "109" after "DM100-".
bool readLast(Reading &r)
{
    if (!r.text.hasLast)
        return true;
    const std::string_view name = r.place.device->name;
    std::string_view digits = r.text.last;
    if (digits.substr(0, name.size()) == name)
        digits.remove_prefix(name.size());
    else if (!isNumberOf(*r.place.device, digits) && deviceNumber(digits, r.problem))
        return fail(r, QStringLiteral("the range ends in another device; write DM100-DM109"));
    const auto last = numberOf(*r.place.device, digits, r.problem);
    if (!last)
        return false;
    r.last = *last;
    return r.last >= r.first || fail(r, QStringLiteral("the range ends before it begins"));
}

// The number after the colon; 1 if there is none.
bool takeCount(Reading &r, int highest, int &count)
{
    count = 1;
    if (!r.text.hasCount)
        return true;
    count = plainNumber(r.text.count).value_or(0);
    if (count >= 1 && count <= highest)
        return true;
    return fail(r, QStringLiteral("'%1' is not a valid count; write a number from 1 to %2 after ':'")
                       .arg(textOf(r.text.count))
                       .arg(highest));
}

bool readText(Reading &r)
{
    if (!r.text.hasCount)
        return fail(
            r, QStringLiteral("a text needs its length in bytes; write %1.STR:20").arg(textOf(r.text.first)));
    if (!takeCount(r, highestCharacters, r.place.characters))
        return false;
    r.place.elements = (r.place.characters + 1) / 2;
    return true;
}

bool readCount(Reading &r)
{
    if (r.place.format == Format::Text)
        return readText(r);
    const int perValue = r.place.elementsPerValue();
    if (!r.text.hasLast) {
        if (!takeCount(r, highestCount, r.place.values))
            return false;
        r.place.elements = r.place.values * perValue;
        return true;
    }
    r.place.elements = r.last - r.first + 1;
    r.place.values = r.place.elements / perValue;
    if (r.place.values > highestCount)
        return fail(r, QStringLiteral("the range is longer than %1").arg(highestCount));
    if (r.place.elements % perValue != 0)
        return fail(r, QStringLiteral("the range has %1 words, an odd number, and a 32-bit value takes two")
                           .arg(r.place.elements));
    return true;
}

// Lowest and highest element of the place's own area.
int inArea(const Place &place, int number, bool highest)
{
    const Device &device = *place.device;
    if (place.area == device.wordArea)
        return number / bitsOfWord;
    const bool bitOfWord = place.element == Element::Bit && device.element == Element::Word;
    if (!bitOfWord)
        return number;
    return number * bitsOfWord + (highest ? bitsOfWord - 1 : 0);
}

bool checkRange(Reading &r)
{
    const Place &place = r.place;
    const Device &device = *place.device;
    const int lowest = inArea(place, device.lowest, false);
    const int highest = inArea(place, device.highest, true);
    const int last = place.number + place.elements - 1;
    if (place.number >= lowest && last <= highest)
        return true;
    const QString range = QStringLiteral("a KV-8000 has %1").arg(QLatin1String(device.range));
    if (place.number < lowest || place.number > highest)
        return fail(r, range);
    return fail(r, QStringLiteral("it ends at %1%2, but %3")
                       .arg(deviceName(r), driverText(device, place.area, last), range));
}

} // namespace

std::optional<Place> parsePlace(const QString &given, QString &problem)
{
    Reading r;
    const bool good = r.text.split(given, r.problem) && readFirst(r) && readLast(r) && readFormat(r) &&
                      readCount(r) && checkRange(r);
    if (good)
        return r.place;
    problem =
        given.trimmed().isEmpty() ? r.problem : QStringLiteral("%1: %2").arg(given.trimmed(), r.problem);
    return std::nullopt;
}

} // namespace kvlink
