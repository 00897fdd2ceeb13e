// SPDX-License-Identifier: MIT
// Values into the requests of a write.
//
// In:   a value as people see it; the place that takes it.
// Out:  requests that the driver takes whole, or a sentence that says why not.
#include "model/text_encoding.h"
#include "model/value_bits.h"
#include "model/value_codec.h"

#include <algorithm>
#include <bit>

namespace kvlink
{

namespace
{

constexpr int mostWords = 128;      // the driver cuts longer writes apart
constexpr int mostDoubleWords = 80; // eleven characters each: as long a frame as that of the words
std::optional<double> numberOf(const Scalar &scalar)
{
    if (const bool *bit = std::get_if<bool>(&scalar))
        return *bit ? 1.0 : 0.0;
    if (const qint64 *whole = std::get_if<qint64>(&scalar))
        return double(*whole);
    if (const double *real = std::get_if<double>(&scalar))
        return *real;
    return std::nullopt;
}

QString notANumber(const QString &name, const Scalar &scalar)
{
    return (scalar.index() == 0 ? QStringLiteral("%1 takes a number, and none was given")
                                : QStringLiteral("%1 takes a number, not a text"))
        .arg(name);
}

void append(QByteArray &data, quint32 bits, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        data += char(bits >> (8 * i) & 0xFF);
}

std::optional<QByteArray> encodeNumbers(Writing &w, const std::vector<Scalar> &scalars)
{
    QByteArray data;
    const int bytes = bytesOfElement(w.place.element) * w.place.elementsPerValue();
    for (size_t i = 0; i < scalars.size(); ++i) {
        const QString name = w.place.nameOfValue(int(i));
        const auto number = numberOf(scalars[i]);
        if (!number)
            return fail(w, notANumber(name, scalars[i]));
        auto bits = bitsOfNumber(w, name, *number);
        if (!bits)
            return std::nullopt;
        if (w.place.elementsPerValue() == 2 && w.wordOrder == WordOrder::HighFirst)
            bits = std::rotl(*bits, bitsOfWord);
        append(data, *bits, bytes);
    }
    return data;
}

// Two characters in a word, the first in the high byte; the rest is zero.
std::optional<QByteArray> encodeText(Writing &w, const Scalar &scalar, TextEncoding encoding)
{
    const QString name = w.place.name();
    const QString *text = std::get_if<QString>(&scalar);
    if (text == nullptr)
        return fail(w, QStringLiteral("%1 takes a text, not a number").arg(name));
    if (text->contains(QChar(0)))
        return fail(
            w, QStringLiteral("a text for %1 cannot contain the character 0, which ends texts").arg(name));
    const auto bytes = bytesFromText(*text, encoding);
    if (!bytes)
        return fail(
            w,
            QStringLiteral("'%1' has characters that %2 does not have").arg(*text, encodingName(encoding)));
    if (bytes->size() > w.place.characters) {
        return fail(w, QStringLiteral("'%1' takes %2 bytes in %3, and %4 holds %5")
                           .arg(*text)
                           .arg(bytes->size())
                           .arg(encodingName(encoding), name)
                           .arg(w.place.characters));
    }
    const QByteArray padded = bytes->leftJustified(2 * w.place.elements, '\0');
    QByteArray data(padded.size(), '\0');
    for (int i = 0; i < int(padded.size()); ++i)
        data[i] = padded[i ^ 1];
    return data;
}

QString countText(int values)
{
    return values == 1 ? QStringLiteral("1 value") : QStringLiteral("%1 values").arg(values);
}

QString givenText(size_t values)
{
    if (values == 0)
        return QStringLiteral("none was");
    return values == 1 ? QStringLiteral("1 was") : QStringLiteral("%1 were").arg(values);
}

// Elements of one request.
int longestPiece(const Place &place, int maxUnits)
{
    switch (place.element) {
    case Element::Bit:
    case Element::Contact:
        return 1;
    case Element::DoubleWord:
        return std::clamp(maxUnits, 1, mostDoubleWords);
    case Element::Word:
        break;
    }
    const int words = std::clamp(maxUnits, 1, mostWords);
    const bool pairs = place.format != Format::Text && place.elementsPerValue() == 2;
    return pairs ? std::max(2, words / 2 * 2) : words;
}

std::vector<WriteUnits> cut(const Place &place, const QByteArray &data, int longest)
{
    std::vector<WriteUnits> requests;
    const int bytes = bytesOfElement(place.element);
    const int registers = place.element == Element::DoubleWord ? 2 : 1;
    for (int at = 0; at < place.elements; at += longest) {
        const int count = std::min(longest, place.elements - at);
        requests.push_back({place.area, driverText(*place.device, place.area, place.number + at),
                            data.mid(at * bytes, count * bytes), count * registers});
    }
    return requests;
}

} // namespace

std::vector<Scalar> scalarsOf(const Value &value)
{
    if (const auto *list = std::get_if<std::vector<Scalar>>(&value))
        return *list;
    if (const bool *bit = std::get_if<bool>(&value))
        return {*bit};
    if (const qint64 *whole = std::get_if<qint64>(&value))
        return {*whole};
    if (const double *real = std::get_if<double>(&value))
        return {*real};
    if (const QString *text = std::get_if<QString>(&value))
        return {*text};
    return {};
}

bool canWrite(const Place &place, QString &problem)
{
    if (place.element != Element::Contact && place.device->writable)
        return true;
    problem = QStringLiteral("%1 is a contact: only the PLC's program sets it").arg(place.name());
    return false;
}

std::optional<std::vector<WriteUnits>> encode(const Place &place, const Value &value, const Coding &coding,
                                              double scale, double offset, int maxUnits, QString &problem)
{
    if (!canWrite(place, problem))
        return std::nullopt;
    const std::vector<Scalar> scalars = scalarsOf(value);
    if (scalars.size() != size_t(place.values)) {
        problem = QStringLiteral("%1 takes %2, and %3 given")
                      .arg(place.name(), countText(place.values), givenText(scalars.size()));
        return std::nullopt;
    }
    Writing w{place, scale, offset, coding.wordOrder, {}};
    const auto data = place.format == Format::Text ? encodeText(w, scalars.front(), coding.textEncoding)
                                                   : encodeNumbers(w, scalars);
    if (!data) {
        problem = w.problem;
        return std::nullopt;
    }
    return cut(place, *data, longestPiece(place, maxUnits));
}

} // namespace kvlink
