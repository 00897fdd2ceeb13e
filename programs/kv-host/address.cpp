#include "address.h"

#include <algorithm>

namespace kvhost
{

namespace
{

constexpr int HIGHEST_NUMBER = 9999999; // far above every PLC; keeps element * 16 within an int
constexpr int HIGHEST_COUNT = 65536;

// clang-format off
const QVector<Device> TABLE = {
    // name  notation              element               area word bit read  writable
    {"R",    Notation::ChannelBit, Element::Bit,          0,  26, -1,  0, true,  "relay (inputs, outputs, internal)", "R0-R199915"},
    {"B",    Notation::HexBit,     Element::Bit,          1,  27, -1,  1, true,  "link relay",                        "B0-B7FFF"},
    {"MR",   Notation::ChannelBit, Element::Bit,          2,  28, -1,  2, true,  "internal auxiliary relay",          "MR0-MR399915"},
    {"LR",   Notation::ChannelBit, Element::Bit,          3,  29, -1,  3, true,  "latch relay",                       "LR0-LR99915"},
    {"CR",   Notation::ChannelBit, Element::Bit,          4,  30, -1,  4, true,  "control relay",                     "CR0-CR7915"},
    {"VB",   Notation::HexBit,     Element::Bit,          5,  31, -1,  5, true,  "work relay",                        "VB0-VBF9FF"},
    {"T",    Notation::Decimal,    Element::Contact,      6,  -1, -1,  6, false, "timer contact",                     "T0-T3999"},
    {"C",    Notation::Decimal,    Element::Contact,      7,  -1, -1,  7, false, "counter contact",                   "C0-C3999"},
    {"DM",   Notation::Decimal,    Element::Word,        10,  -1, 32, 10, true,  "data memory",                       "DM0-DM65534"},
    {"EM",   Notation::Decimal,    Element::Word,        11,  -1, 33, 11, true,  "extended data memory",              "EM0-EM65534"},
    {"FM",   Notation::Decimal,    Element::Word,        12,  -1, 34, 12, true,  "file memory, current bank",         "FM0-FM32767"},
    {"ZF",   Notation::Decimal,    Element::Word,        13,  -1, 35, 13, true,  "file memory, continuous",           "ZF0-ZF524287"},
    {"W",    Notation::Hex,        Element::Word,        14,  -1, 36, 14, true,  "link register",                     "W0-W7FFF"},
    {"TM",   Notation::Decimal,    Element::Word,        15,  -1, 37, 15, true,  "temporary memory",                  "TM0-TM511"},
    {"Z",    Notation::Decimal,    Element::DoubleWord,  16,  -1, -1, 16, true,  "index register",                    "Z1-Z12"},
    {"TC",   Notation::Decimal,    Element::DoubleWord,  17,  -1, -1,  6, true,  "timer, current value",              "TC0-TC3999"},
    {"TS",   Notation::Decimal,    Element::DoubleWord,  18,  -1, -1,  6, true,  "timer, set value",                  "TS0-TS3999"},
    {"CC",   Notation::Decimal,    Element::DoubleWord,  19,  -1, -1,  7, true,  "counter, current value",            "CC0-CC3999"},
    {"CS",   Notation::Decimal,    Element::DoubleWord,  20,  -1, -1,  7, true,  "counter, set value",                "CS0-CS3999"},
    {"CTH",  Notation::Decimal,    Element::DoubleWord,  21,  -1,  8, 21, true,  "high-speed counter (contact: CTH0.C)",   "CTH0-CTH1"},
    {"CTC",  Notation::Decimal,    Element::DoubleWord,  22,  -1,  9, 22, true,  "counter comparator (contact: CTC0.C)",   "CTC0-CTC3"},
    {"AT",   Notation::Decimal,    Element::DoubleWord,  23,  -1, -1, 23, true,  "digital trimmer",                   "AT0-AT7"},
    {"CM",   Notation::Decimal,    Element::Word,        24,  -1, 38, 24, true,  "control memory",                    "CM0-CM7599"},
    {"VM",   Notation::Decimal,    Element::Word,        25,  -1, 39, 25, true,  "work memory",                       "VM0-VM589823"},
};
// clang-format on

/// One address being read, piece by piece.
struct Reading {
    Address address;
    int firstNumber = 0;
    int lastNumber = -1; ///< with a range
    QString format;      ///< in capitals, without the point
    QString problem;
    int count = -1; ///< behind the colon
};

bool fail(Reading *r, const QString &why)
{
    r->problem = why;
    return false;
}

// Longest name first: CTH before C, ZF before Z. What follows the letters must start with a number of the
// device, which for B and VB may be a letter: BE0 is B, number E0.
const Device *deviceOf(const QString &text, QString *rest)
{
    for (int length = 3; length >= 1; --length) {
        for (const Device &device : TABLE) {
            const QString name = QString::fromLatin1(device.name);
            if (name.size() == length && text.startsWith(name) && text.size() > length) {
                *rest = text.mid(length);
                return &device;
            }
        }
    }
    return nullptr;
}

bool isDecimal(QChar c)
{
    return c >= '0' && c <= '9';
}

bool isHexadecimal(QChar c)
{
    return isDecimal(c) || (c >= 'A' && c <= 'F');
}

// By hand: a regular expression would load half a megabyte of its library into a program that runs for months.
bool isAll(const QString &text, bool (*wanted)(QChar))
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), wanted);
}

bool readHex(const Device &device, const QString &digits, Reading *r, int *number)
{
    bool ok = false;
    const uint value = digits.toUInt(&ok, 16);
    if (!ok || value > uint(HIGHEST_NUMBER)) {
        return fail(r, QStringLiteral("'%1' is no number of %2: hexadecimal digits are expected, as in %2%3")
                           .arg(digits, QString::fromLatin1(device.name),
                                QString::fromLatin1(device.element == Element::Bit ? "1F3" : "1A")));
    }
    *number = int(value);
    return true;
}

bool readDecimal(const Device &device, const QString &digits, Reading *r, int *number)
{
    bool ok = false;
    const uint value = digits.toUInt(&ok);
    if (!isAll(digits, isDecimal) || !ok || value > uint(HIGHEST_NUMBER)) {
        return fail(r, QStringLiteral("'%1' is no number of %2: decimal digits are expected (%3)")
                           .arg(digits, QString::fromLatin1(device.name), QString::fromLatin1(device.range)));
    }
    *number = int(value);
    return true;
}

bool readChannelBit(const Device &device, const QString &digits, Reading *r, int *number)
{
    int whole = 0;
    if (!readDecimal(device, digits, r, &whole))
        return false;
    const int bit = whole % 100;
    const int channel = whole / 100;
    if (bit > 15) {
        return fail(r,
                    QStringLiteral("%1%2: the last two digits are the bit, 00 to 15; after %1%3 comes %1%4")
                        .arg(QString::fromLatin1(device.name), digits)
                        .arg(channel * 100 + 15)
                        .arg((channel + 1) * 100));
    }
    *number = channel * 16 + bit;
    return true;
}

bool readNumber(const Device &device, const QString &digits, Reading *r, int *number)
{
    switch (device.notation) {
    case Notation::ChannelBit:
        return readChannelBit(device, digits, r, number);
    case Notation::Decimal:
        return readDecimal(device, digits, r, number);
    case Notation::Hex:
    case Notation::HexBit:
        break;
    }
    if (!isAll(digits, isHexadecimal))
        return readHex(device, QStringLiteral("?") + digits, r, number);
    return readHex(device, digits, r, number);
}

bool splitStation(QString *text, Reading *r)
{
    const int slash = int(text->indexOf('/'));
    if (slash < 0)
        return true;
    bool ok = false;
    const int station = text->left(slash).toInt(&ok);
    if (!ok || station < 0 || station > 255) {
        return fail(r, QStringLiteral("'%1' is not a station: a number from 0 to 255 is expected before '/'")
                           .arg(text->left(slash)));
    }
    r->address.station = station;
    r->address.stationShown = true;
    text->remove(0, slash + 1);
    return true;
}

bool splitCount(QString *text, Reading *r)
{
    const int colon = int(text->indexOf(':'));
    if (colon < 0)
        return true;
    bool ok = false;
    r->count = text->mid(colon + 1).toInt(&ok);
    if (!ok || r->count < 1 || r->count > HIGHEST_COUNT) {
        return fail(r, QStringLiteral("'%1' is no count: a number from 1 to %2 is expected after ':'")
                           .arg(text->mid(colon + 1))
                           .arg(HIGHEST_COUNT));
    }
    text->truncate(colon);
    return true;
}

void splitFormat(QString *text, Reading *r)
{
    const int point = int(text->indexOf('.'));
    if (point < 0)
        return;
    r->format = text->mid(point + 1);
    r->address.suffix = text->mid(point);
    text->truncate(point);
}

bool splitRange(QString *text, Reading *r, QString *last)
{
    const int dash = int(text->indexOf('-'));
    if (dash < 0)
        return true;
    if (r->count > 0)
        return fail(r, QStringLiteral("a range and a count together: write DM100-DM109 or DM100:10"));
    *last = text->mid(dash + 1);
    text->truncate(dash);
    return true;
}

bool readDevice(const QString &text, Reading *r)
{
    QString digits;
    r->address.device = deviceOf(text, &digits);
    if (r->address.device == nullptr) {
        return fail(
            r, QStringLiteral("'%1' is no device: a name and a number are expected, as in DM100, R1015 or "
                              "T5; 'kv-host areas' lists the names")
                   .arg(text));
    }
    return readNumber(*r->address.device, digits, r, &r->firstNumber);
}

bool readLast(const QString &last, Reading *r)
{
    if (last.isEmpty())
        return fail(r, QStringLiteral("the range has no end: write DM100-DM109"));
    const QString name = QString::fromLatin1(r->address.device->name);
    const bool hexadecimal =
        r->address.device->notation == Notation::Hex || r->address.device->notation == Notation::HexBit;
    QString digits = last.startsWith(name) ? last.mid(name.size()) : last;
    if (!last.startsWith(name) && !hexadecimal && !last[0].isDigit())
        return fail(r, QStringLiteral("the range ends in another device: write DM100-DM109"));
    if (!readNumber(*r->address.device, digits, r, &r->lastNumber))
        return false;
    if (r->lastNumber < r->firstNumber)
        return fail(r, QStringLiteral("the range ends before it begins"));
    return true;
}

std::optional<Format> formatOf(const QString &letters)
{
    static const struct {
        const char *letters;
        Format format;
    } rows[] = {{"U", Format::Unsigned}, {"S", Format::Signed}, {"D", Format::Double}, {"L", Format::Long},
                {"H", Format::Hex},      {"F", Format::Float},  {"STR", Format::Text}};
    for (const auto &row : rows) {
        if (letters == QString::fromLatin1(row.letters))
            return row.format;
    }
    return std::nullopt;
}

bool isThirtyTwoBits(Format format)
{
    return format == Format::Double || format == Format::Long || format == Format::Float;
}

void takeArea(Reading *r, int area, Element element, int number)
{
    r->address.area = area;
    r->address.element = element;
    r->address.number = number;
}

// The bit behind the point: DM100.5
bool applyBit(Reading *r)
{
    bool ok = false;
    const int bit = r->format.toInt(&ok);
    const Device &device = *r->address.device;
    if (device.element != Element::Word) {
        return fail(r, QStringLiteral("%1 has no single bits behind a point; words have (DM100.5)")
                           .arg(QString::fromLatin1(device.name)));
    }
    if (!ok || bit < 0 || bit > 15)
        return fail(r, QStringLiteral("bit '%1': a decimal number from 0 to 15 is expected").arg(r->format));
    if (r->lastNumber >= 0)
        return fail(r, QStringLiteral("a range of single bits: write DM100.0:16"));
    takeArea(r, device.bitArea, Element::Bit, r->firstNumber * 16 + bit);
    r->address.format = Format::Bit;
    r->address.suffix.clear();
    return true;
}

bool applyRelayFormat(Reading *r, Format format)
{
    const Device &device = *r->address.device;
    if (device.wordArea < 0) {
        return fail(r,
                    QStringLiteral("%1 is a contact, 0 or 1, without formats; its values are %1C%2 and %1S%2")
                        .arg(QString::fromLatin1(device.name))
                        .arg(r->firstNumber));
    }
    if (r->firstNumber % 16 != 0) {
        return fail(r, QStringLiteral("a channel begins at bit %1: write %2")
                           .arg(QString::fromLatin1(device.notation == Notation::HexBit ? "0" : "00"),
                                QString::fromLatin1(device.name) +
                                    driverText(device, device.area, r->firstNumber / 16 * 16) +
                                    r->address.suffix));
    }
    takeArea(r, device.wordArea, Element::Word, r->firstNumber / 16);
    if (r->lastNumber >= 0)
        r->lastNumber /= 16;
    r->address.format = format;
    return true;
}

bool applyFormat(Reading *r, Format format)
{
    const Device &device = *r->address.device;
    if (device.element == Element::Bit || device.element == Element::Contact)
        return applyRelayFormat(r, format);
    const bool sixteenBits = format == Format::Unsigned || format == Format::Signed || format == Format::Text;
    if (device.element == Element::DoubleWord && sixteenBits) {
        return fail(
            r,
            QStringLiteral("%1 holds 32 bits: use .D, .L, .H or .F").arg(QString::fromLatin1(device.name)));
    }
    takeArea(r, device.area, device.element, r->firstNumber);
    r->address.format = format;
    return true;
}

bool applyDefault(Reading *r)
{
    const Device &device = *r->address.device;
    takeArea(r, device.area, device.element, r->firstNumber);
    const bool bit = device.element == Element::Bit || device.element == Element::Contact;
    r->address.format = bit                                     ? Format::Bit
                        : device.element == Element::DoubleWord ? Format::Double
                                                                : Format::Unsigned;
    return true;
}

bool applySuffix(Reading *r)
{
    if (r->address.suffix.isEmpty())
        return applyDefault(r);
    if (!r->format.isEmpty() && r->format[0].isDigit())
        return applyBit(r);
    if (const auto format = formatOf(r->format))
        return applyFormat(r, *format);
    const Device &device = *r->address.device;
    if (r->format == "C" && (device.element == Element::Contact || device.area == 21 || device.area == 22)) {
        takeArea(r, device.element == Element::Contact ? device.area : device.bitArea, Element::Contact,
                 r->firstNumber);
        r->address.format = Format::Bit;
        return true;
    }
    return fail(r,
                QStringLiteral("'.%1' is no format: .U .S .D .L .H .F .STR:n, or a bit number from 0 to 15")
                    .arg(r->format));
}

bool applyText(Reading *r)
{
    if (r->lastNumber >= 0 || r->count < 1)
        return fail(r, QStringLiteral("a text needs its number of characters: write DM100.STR:20"));
    r->address.characters = r->count;
    r->address.values = 1;
    r->address.elements = (r->count + 1) / 2;
    return true;
}

bool applyCount(Reading *r)
{
    if (r->address.format == Format::Text)
        return applyText(r);
    const int perValue = r->address.elementsPerValue();
    if (r->lastNumber < 0) {
        r->address.values = r->count > 0 ? r->count : 1;
        r->address.elements = r->address.values * perValue;
        return true;
    }
    const int elements = r->lastNumber - r->address.number + 1;
    if (elements > HIGHEST_COUNT)
        return fail(r, QStringLiteral("the range is longer than %1").arg(HIGHEST_COUNT));
    if (elements % perValue != 0) {
        return fail(r, QStringLiteral("the range holds %1 words, which is no whole number of 32-bit values")
                           .arg(elements));
    }
    r->address.elements = elements;
    r->address.values = elements / perValue;
    return true;
}

} // namespace

const QVector<Device> &devices()
{
    return TABLE;
}

int Address::hostCount() const
{
    // Contacts and double words are counted in 16-bit registers there.
    return element == Element::Contact || element == Element::DoubleWord ? elements * 2 : elements;
}

int Address::elementsPerValue() const
{
    if (format == Format::Text)
        return elements;
    return element == Element::Word && isThirtyTwoBits(format) ? 2 : 1;
}

int Address::firstUnit() const
{
    return firstUnitOfValue(0);
}

int Address::unitCount() const
{
    return element == Element::Bit ? (number % 16 + elements + 15) / 16 : elements;
}

int Address::firstUnitOfValue(int i) const
{
    const int at = number + i * elementsPerValue();
    return element == Element::Bit ? at / 16 : at;
}

int Address::unitsOfValue() const
{
    return element == Element::Bit ? 1 : elementsPerValue();
}

QString Address::nameOfValue(int i) const
{
    const QString prefix = !stationShown ? QString() : QStringLiteral("%1/").arg(station);
    const QString number_ = driverText(*device, area, number + i * elementsPerValue());
    const QString length = format == Format::Text ? QStringLiteral(":%1").arg(characters) : QString();
    return prefix + QString::fromLatin1(device->name) + number_ + suffix + length;
}

QString Address::name() const
{
    return values > 1 ? QStringLiteral("%1:%2").arg(nameOfValue(0)).arg(values) : nameOfValue(0);
}

std::optional<Address> parseAddress(const QString &given, QString *problem)
{
    Reading r;
    QString text = given.trimmed().toUpper();
    QString last;
    const bool split = splitStation(&text, &r) && splitCount(&text, &r);
    if (split)
        splitFormat(&text, &r);
    // DM100.S-DM109.S would be two formats; the format stands behind the range: DM100-DM109.S
    const bool good = split && splitRange(&text, &r, &last) && readDevice(text, &r) &&
                      (last.isNull() || readLast(last, &r)) && applySuffix(&r) && applyCount(&r);
    if (!good) {
        *problem = QStringLiteral("%1: %2").arg(given, r.problem);
        return std::nullopt;
    }
    r.address.addressText = driverText(*r.address.device, r.address.area, r.address.number);
    return r.address;
}

Address partOf(const Address &whole, int first, int count)
{
    Address part = whole;
    part.number += first * whole.elementsPerValue();
    part.values = count;
    part.elements = count * whole.elementsPerValue();
    part.addressText = driverText(*part.device, part.area, part.number);
    return part;
}

QString driverText(const Device &device, int area, int number)
{
    const bool wordOfRelay = area == device.wordArea;
    const bool bitOfWord = area == device.bitArea && device.element == Element::Word;
    switch (device.notation) {
    case Notation::ChannelBit:
        return wordOfRelay ? QStringLiteral("%1").arg(number * 100)
                           : QStringLiteral("%1").arg(number / 16 * 100 + number % 16);
    case Notation::HexBit:
        return QString::number(wordOfRelay ? number * 16 : number, 16).toUpper();
    case Notation::Hex:
    case Notation::Decimal:
        break;
    }
    const int base = device.notation == Notation::Hex ? 16 : 10;
    if (!bitOfWord)
        return QString::number(number, base).toUpper();
    return QStringLiteral("%1.%2").arg(QString::number(number / 16, base).toUpper()).arg(number % 16);
}

} // namespace kvhost
