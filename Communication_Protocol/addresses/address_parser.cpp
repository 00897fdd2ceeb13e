// SPDX-License-Identifier: MIT
// Address parser: from an operator's text to the integer address used everywhere else.
//
// Runs: on any thread; no state, no lock.
#include "addresses/area_table.h"
#include "addresses/plain_number.h"
#include "Communication_Protocol.h"

#include <QVarLengthArray>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace
{
// An address with the leading zeros that short texts omit. It has room for more than any address,
// so that nothing comes from the heap.
using FullText = QVarLengthArray<QChar, 32>;

// Part of a text: [begin, end).
struct Piece {
    const QChar *begin;
    const QChar *end;

    int length() const { return int(end - begin); }
};

// A piece of an address as Qt converts it. There may be spaces around it, a sign, and "0x" before
// the digits of a hexadecimal number.
std::optional<qint64> anyNumber(Piece piece, int base)
{
    bool ok = false;
    const int value = QString(piece.begin, piece.length()).toInt(&ok, base);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<qint64> number(Piece piece, int base)
{
    const int plain = plainNumber(piece.begin, piece.end, base);
    return plain == notPlain ? anyNumber(piece, base) : plain;
}

std::optional<qint64> bitAddress(std::optional<qint64> word, std::optional<qint64> bit)
{
    // On purpose: the bit is not range-checked; "1099" is channel 10, bit 99, so 259.
    if (!word || !bit)
        return std::nullopt;
    return *word * bitsPerWord + *bit;
}

// Exactly one dot, and a number on either side.
std::optional<qint64> dotBitAddress(Piece text, int wordBase)
{
    const QChar dot = QLatin1Char('.');
    if (std::count(text.begin, text.end, dot) != 1)
        return std::nullopt;
    const QChar *at = std::find(text.begin, text.end, dot);
    return bitAddress(number({text.begin, at}, wordBase), number({at + 1, text.end}, 10));
}

// The leading zeros that short texts omit: "5" is channel 0, bit 5, so "005".
const char *prefixOf(Form form)
{
    switch (form) {
    case Form::ChannelBit:
    case Form::Channel:
        return "00";
    case Form::HexWord:
        return "0";
    default:
        return "";
    }
}

FullText fullText(Form form, const QString &text)
{
    FullText full;
    for (const char *at = prefixOf(form); *at != '\0'; ++at)
        full.append(QLatin1Char(*at));
    full.append(text.constData(), int(text.size()));
    return full;
}

// The text has its prefix, so there are always digits to drop.
std::optional<qint64> addressOf(Form form, Piece text)
{
    switch (form) {
    case Form::ChannelBit:
        return bitAddress(number({text.begin, text.end - 2}, 10), number({text.end - 2, text.end}, 10));
    case Form::Channel:
        return number({text.begin, text.end - 2}, 10);
    case Form::Hex:
        return number(text, 16);
    case Form::HexWord:
        return number({text.begin, text.end - 1}, 16);
    case Form::Decimal:
        return number(text, 10);
    case Form::DotBit:
        return dotBitAddress(text, 10);
    case Form::HexDotBit:
        return dotBitAddress(text, 16);
    }
    return std::nullopt;
}

// An address outside the range of int, or equal to the failure value, is unusable.
bool isUsable(std::optional<qint64> address)
{
    return address && *address != -1 && *address >= std::numeric_limits<int>::min() &&
           *address <= std::numeric_limits<int>::max();
}
} // namespace

int StringAddressToInt(int area, QString text)
{
    std::optional<qint64> address;
    const Area *row = findArea(area);
    if (row != nullptr) {
        const FullText full = fullText(row->form, text);
        address = addressOf(row->form, {full.constData(), full.constData() + full.size()});
    }
    if (isUsable(address))
        return int(*address);
    // On purpose: this line alone ends in a space, and shows the text with its prefix.
    qDebug("StringAddressToInt %d \"%s%s\" ", area, row == nullptr ? "" : prefixOf(row->form),
           text.toUtf8().constData());
    return -1;
}

int PLCAddressChangeIntef(int area, QString addressText)
{
    return StringAddressToInt(area, std::move(addressText));
}
