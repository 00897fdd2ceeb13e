// SPDX-License-Identifier: MIT
// What follows the dot of an address: a bit, a contact, or how values are shown.
#include "model/place_number.h"
#include "model/place_reading.h"

namespace kvlink
{

namespace
{

void take(Reading &r, int area, Element element, Format format)
{
    r.place.area = area;
    r.place.element = element;
    r.place.format = format;
    r.place.number = r.first;
}

Format ownFormat(const Device &device)
{
    switch (device.element) {
    case Element::Bit:
    case Element::Contact:
        return Format::Bit;
    case Element::Word:
        return Format::Unsigned;
    case Element::DoubleWord:
        return Format::Double;
    }
    return Format::Unsigned;
}

QString placeText(const Reading &r, int number)
{
    return deviceName(r) + driverText(*r.place.device, r.place.device->area, number);
}

// R1000.5: the bit of a relay's channel is a relay itself.
bool refuseBitOfRelay(Reading &r, int bit)
{
    const QString problem = QStringLiteral("a relay has no bits; ");
    if (r.first % bitsOfWord != 0 || bit >= bitsOfWord)
        return fail(r, problem + QStringLiteral("write %1").arg(placeText(r, r.first)));
    return fail(r, problem + QStringLiteral("did you mean %1?").arg(placeText(r, r.first + bit)));
}

// DM100.5
bool applyBit(Reading &r, int bit)
{
    const Device &device = *r.place.device;
    if (device.element == Element::Bit)
        return refuseBitOfRelay(r, bit);
    if (device.element != Element::Word)
        return fail(r, QStringLiteral("%1 has no single bits; words have, as in DM100.5").arg(deviceName(r)));
    if (bit >= bitsOfWord)
        return fail(r, QStringLiteral("a word has the bits 0 to 15, not %1").arg(textOf(r.text.format)));
    if (r.text.hasLast)
        return fail(r, QStringLiteral("single bits are counted, not ranged; write %1:16")
                           .arg(placeText(r, r.first) + QStringLiteral(".0")));
    r.first = r.first * bitsOfWord + bit;
    take(r, device.bitArea, Element::Bit, Format::Bit);
    return true;
}

// .C: the contact of a timer or counter.
bool applyContact(Reading &r)
{
    const Device &device = *r.place.device;
    const bool ofCounter = device.element == Element::DoubleWord && device.bitArea >= 0;
    if (device.element != Element::Contact && !ofCounter)
        return fail(r, QStringLiteral("%1 has no contact; T, C, CTH and CTC have").arg(deviceName(r)));
    take(r, ofCounter ? device.bitArea : device.area, Element::Contact, Format::Bit);
    return true;
}

// R1000.U: relays as words of 16.
bool applyChannel(Reading &r, Format format)
{
    const Device &device = *r.place.device;
    if (r.first % bitsOfWord != 0) {
        return fail(r, QStringLiteral("a word of relays starts at bit %1; write %2.%3")
                           .arg(device.isHexadecimal() ? QStringLiteral("0") : QStringLiteral("00"),
                                placeText(r, r.first / bitsOfWord * bitsOfWord), textOf(r.text.format)));
    }
    r.first /= bitsOfWord;
    r.last /= bitsOfWord;
    take(r, device.wordArea, Element::Word, format);
    return true;
}

bool applyFormat(Reading &r, Format format)
{
    const Device &device = *r.place.device;
    const bool sixteenBits = format == Format::Unsigned || format == Format::Signed || format == Format::Text;
    switch (device.element) {
    case Element::Bit:
        return applyChannel(r, format);
    case Element::Contact:
        return fail(r, QStringLiteral("%1 is a contact, 0 or 1; its values are %2C%3 and %2S%3")
                           .arg(placeText(r, r.first), deviceName(r))
                           .arg(r.first));
    case Element::DoubleWord:
        if (sixteenBits)
            return fail(r, QStringLiteral("%1 holds 32 bits; use .D, .L, .H or .F").arg(deviceName(r)));
        break;
    case Element::Word:
        break;
    }
    take(r, device.area, device.element, format);
    return true;
}

struct FormatRow {
    std::string_view letters;
    Format format;
};

// clang-format off
constexpr FormatRow formats[] = {
    {"U", Format::Unsigned}, {"S", Format::Signed}, {"D", Format::Double}, {"L", Format::Long},
    {"H", Format::Hex},      {"F", Format::Float},  {"STR", Format::Text},
};
// clang-format on

} // namespace

bool readFormat(Reading &r)
{
    const Device &device = *r.place.device;
    if (!r.text.hasFormat) {
        take(r, device.area, device.element, ownFormat(device));
        return true;
    }
    if (const auto bit = plainNumber(r.text.format))
        return applyBit(r, *bit);
    r.place.formatShown = true;
    if (r.text.format == "C")
        return applyContact(r);
    for (const FormatRow &row : formats) {
        if (r.text.format == row.letters)
            return applyFormat(r, row.format);
    }
    return fail(
        r, QStringLiteral("'.%1' is not a format; use .U .S .D .L .H .F .STR:20, or a bit from .0 to .15")
               .arg(textOf(r.text.format)));
}

} // namespace kvlink
