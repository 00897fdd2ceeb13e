#include "values.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace kvhost
{

namespace
{

quint32 byteAt(const QByteArray &data, int at)
{
    return at < data.size() ? quint32(quint8(data[at])) : 0;
}

quint32 wordAt(const QByteArray &data, int word)
{
    return byteAt(data, 2 * word) | byteAt(data, 2 * word + 1) << 8;
}

quint32 doubleAt(const QByteArray &data, int number)
{
    return wordAt(data, 2 * number) | wordAt(data, 2 * number + 1) << 16;
}

quint32 swapWords(quint32 value)
{
    return value << 16 | value >> 16;
}

// The bits of value i, as wide as the format takes.
quint32 rawBits(const Address &address, const QByteArray &data, int i, WordOrder order)
{
    switch (address.element) {
    case Element::Bit:
    case Element::Contact:
        return byteAt(data, i);
    case Element::DoubleWord:
        return doubleAt(data, i);
    case Element::Word:
        break;
    }
    if (address.elementsPerValue() == 1)
        return wordAt(data, i);
    const quint32 lowFirst = doubleAt(data, i);
    return order == WordOrder::LowFirst ? lowFirst : swapWords(lowFirst);
}

// Two characters in a word, the first in the high byte; the text ends at a zero.
QString textOf(const Address &address, const QByteArray &data)
{
    QByteArray characters;
    for (int i = 0; i < address.characters; ++i) {
        const quint32 word = wordAt(data, i / 2);
        const char c = char(i % 2 == 0 ? word >> 8 : word & 0xFF);
        if (c == '\0')
            break;
        characters += c;
    }
    return QString::fromLatin1(characters);
}

Value decodeOne(const Address &address, const QByteArray &data, int i, WordOrder order)
{
    Value value;
    value.format = address.format;
    value.element = address.element;
    const quint32 bits = rawBits(address, data, i, order);
    switch (address.format) {
    case Format::Text:
        value.text = textOf(address, data);
        break;
    case Format::Float:
        value.real = double(std::bit_cast<float>(bits));
        break;
    case Format::Signed:
        value.whole = qint16(bits);
        break;
    case Format::Long:
        value.whole = qint32(bits);
        break;
    case Format::Bit:
        value.whole = bits != 0 ? 1 : 0;
        break;
    case Format::Unsigned:
    case Format::Double:
    case Format::Hex:
        value.whole = bits;
        break;
    }
    return value;
}

struct Span {
    qint64 lowest, highest;
};

Span spanOf(const Address &address)
{
    const bool wide = address.element == Element::DoubleWord || address.elementsPerValue() == 2;
    switch (address.format) {
    case Format::Bit:
        return {0, 1};
    case Format::Signed:
        return {INT16_MIN, INT16_MAX};
    case Format::Long:
        return {INT32_MIN, INT32_MAX};
    default:
        return {0, wide ? qint64(UINT32_MAX) : qint64(UINT16_MAX)};
    }
}

std::optional<qint64> bitFromWord(const QString &typed)
{
    const QString word = typed.toLower();
    if (word == "on" || word == "true")
        return 1;
    if (word == "off" || word == "false")
        return 0;
    return std::nullopt;
}

std::optional<qint64> wholeNumber(const Address &address, const QString &typed)
{
    if (address.format == Format::Bit) {
        if (const auto bit = bitFromWord(typed))
            return bit;
    }
    const bool prefixed = typed.startsWith(QStringLiteral("0x"), Qt::CaseInsensitive);
    bool ok = false;
    const qint64 number = prefixed                        ? typed.mid(2).toLongLong(&ok, 16)
                          : address.format == Format::Hex ? typed.toLongLong(&ok, 16)
                                                          : typed.toLongLong(&ok, 10);
    return ok ? std::optional<qint64>(number) : std::nullopt;
}

bool bitsOfFloat(const QString &typed, quint32 *bits, QString *problem)
{
    bool ok = false;
    const float number = typed.toFloat(&ok);
    if (!ok || !std::isfinite(number)) {
        *problem = QStringLiteral("'%1' is no number that 32 bits can hold").arg(typed);
        return false;
    }
    *bits = std::bit_cast<quint32>(number);
    return true;
}

bool bitsOf(const Address &address, const QString &typed, quint32 *bits, QString *problem)
{
    if (address.format == Format::Float)
        return bitsOfFloat(typed, bits, problem);
    const auto number = wholeNumber(address, typed);
    const Span span = spanOf(address);
    if (!number || *number < span.lowest || *number > span.highest) {
        *problem = QStringLiteral("'%1' does not fit: a number from %2 to %3 is expected")
                       .arg(typed)
                       .arg(span.lowest)
                       .arg(span.highest);
        return false;
    }
    *bits = quint32(*number);
    return true;
}

void append(QByteArray *data, quint32 bits, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        *data += char(bits >> (8 * i) & 0xFF);
}

int bytesPerValue(const Address &address)
{
    switch (address.element) {
    case Element::Bit:
    case Element::Contact:
        return 1;
    case Element::DoubleWord:
        return 4;
    case Element::Word:
        break;
    }
    return 2 * address.elementsPerValue();
}

std::optional<QByteArray> encodeText(const Address &address, const QString &typed, QString *problem)
{
    const QByteArray characters = typed.toLatin1();
    if (characters.size() > address.characters || QString::fromLatin1(characters) != typed) {
        *problem =
            QStringLiteral("the text '%1' does not fit: at most %2 single-byte characters are expected")
                .arg(typed)
                .arg(address.characters);
        return std::nullopt;
    }
    const QByteArray padded = characters.leftJustified(2 * address.elements, '\0');
    QByteArray data;
    for (int i = 0; i < padded.size(); i += 2) {
        data += padded[i + 1];
        data += padded[i];
    }
    return data;
}

QString hexShown(const Value &value)
{
    const int digits = value.element == Element::DoubleWord ? 8 : 4;
    return QStringLiteral("%1").arg(value.whole, digits, 16, QLatin1Char('0')).toUpper();
}

} // namespace

bool Value::operator==(const Value &other) const
{
    // Bit patterns decide between floating-point values: a value that is no number equals itself.
    return format == other.format && whole == other.whole && text == other.text &&
           std::bit_cast<quint64>(real) == std::bit_cast<quint64>(other.real);
}

QVector<Value> decodeValues(const Address &address, const QByteArray &data, WordOrder order)
{
    QVector<Value> values;
    for (int i = 0; i < address.values; ++i)
        values << decodeOne(address, data, i, order);
    return values;
}

QString shown(const Value &value)
{
    switch (value.format) {
    case Format::Text:
        return value.text;
    case Format::Float:
        return QString::number(value.real, 'g', 7);
    case Format::Hex:
        return hexShown(value);
    default:
        return QString::number(value.whole);
    }
}

std::optional<QByteArray> encodeValues(const Address &address, const QStringList &typed, WordOrder order,
                                       QString *problem)
{
    if (typed.size() != address.values) {
        *problem = QStringLiteral("%1 value(s) given for %2 place(s)").arg(typed.size()).arg(address.values);
        return std::nullopt;
    }
    if (address.format == Format::Text)
        return encodeText(address, typed.first(), problem);
    QByteArray data;
    for (const QString &text : typed) {
        quint32 bits = 0;
        if (!bitsOf(address, text.trimmed(), &bits, problem))
            return std::nullopt;
        if (address.element == Element::Word && address.elementsPerValue() == 2 &&
            order == WordOrder::HighFirst)
            bits = swapWords(bits);
        append(&data, bits, bytesPerValue(address));
    }
    return data;
}

} // namespace kvhost
