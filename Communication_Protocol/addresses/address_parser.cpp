// Address parser: from an operator's text to the integer address used everywhere else.
//
// Runs: on any thread; no state, no lock.
#include "addresses/area_table.h"
#include "Communication_Protocol.h"

#include <limits>
#include <optional>

namespace
{
/// A piece of an address as Qt converts it: blanks around, a sign, and "0x" before hexadecimal digits are
/// taken.
std::optional<qint64> number(const QString &piece, int base)
{
    bool ok = false;
    const int value = piece.toInt(&ok, base);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<qint64> bitAddress(std::optional<qint64> word, std::optional<qint64> bit)
{
    // On purpose: the bit is not range-checked; "1099" is channel 10, bit 99, so 259.
    if (!word || !bit)
        return std::nullopt;
    return *word * 16 + *bit;
}

std::optional<qint64> pointBitAddress(const QString &text, int wordBase)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    if (parts.size() != 2)
        return std::nullopt;
    return bitAddress(number(parts.at(0), wordBase), number(parts.at(1), 10));
}

/// What short texts lack: "5" is channel 0, bit 5, so "005".
QString prefixOf(Form form)
{
    switch (form) {
    case Form::ChannelBit:
    case Form::Channel:
        return QLatin1String("00");
    case Form::HexWord:
        return QLatin1String("0");
    default:
        return QString();
    }
}

std::optional<qint64> addressOf(Form form, const QString &text)
{
    switch (form) {
    case Form::ChannelBit:
        return bitAddress(number(text.left(text.size() - 2), 10), number(text.right(2), 10));
    case Form::Channel:
        return number(text.left(text.size() - 2), 10);
    case Form::Hex:
        return number(text, 16);
    case Form::HexWord:
        return number(text.left(text.size() - 1), 16);
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
    if (const Area *row = findArea(area); row != nullptr) {
        text = prefixOf(row->form) + text;
        address = addressOf(row->form, text);
    }
    if (isUsable(address))
        return int(*address);
    // On purpose: this line alone ends in a blank, and shows the text with its prefix.
    qDebug("StringAddressToInt %d \"%s\" ", area, text.toUtf8().constData());
    return -1;
}

int PLCAddressChangeIntef(int area, QString addressText)
{
    return StringAddressToInt(area, addressText);
}
