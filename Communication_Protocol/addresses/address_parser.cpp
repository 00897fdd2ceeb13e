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
/// An address with what short texts lack before it. Room for more than any address has: nothing comes from the
/// heap.
using FullText = QVarLengthArray<QChar, 32>;

/// Part of a text: [begin, end).
struct Piece {
    const QChar *begin;
    const QChar *end;

    int length() const { return int(end - begin); }
};

/// A piece of an address as Qt converts it: blanks around, a sign, and "0x" before hexadecimal digits are
/// taken.
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
    return *word * 16 + *bit;
}

/// Exactly one point, and a number on either side.
std::optional<qint64> pointBitAddress(Piece text, int wordBase)
{
    const QChar point = QLatin1Char('.');
    if (std::count(text.begin, text.end, point) != 1)
        return std::nullopt;
    const QChar *at = std::find(text.begin, text.end, point);
    return bitAddress(number({text.begin, at}, wordBase), number({at + 1, text.end}, 10));
}

/// What short texts lack: "5" is channel 0, bit 5, so "005".
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

/// \a text has its prefix, so that there are characters to leave off.
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
    case Form::PointBit:
        return pointBitAddress(text, 10);
    case Form::HexPointBit:
        return pointBitAddress(text, 16);
    }
    return std::nullopt;
}

/// An address that passes the range of int, or is just the failure value, names no device.
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
    // On purpose: this line alone ends in a blank, and shows the text with its prefix.
    qDebug("StringAddressToInt %d \"%s%s\" ", area, row == nullptr ? "" : prefixOf(row->form),
           text.toUtf8().constData());
    return -1;
}

int PLCAddressChangeIntef(int area, QString addressText)
{
    return StringAddressToInt(area, std::move(addressText));
}
