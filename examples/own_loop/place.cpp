// SPDX-License-Identifier: MIT
#include "place.h"

#include <Communication_Protocol.h>

#include <QRegularExpression>

#include <limits>

namespace
{
constexpr int bitsOfWord = 16;
constexpr int noBits = -1; // the device is made of bits itself

// clang-format off
struct Device {
    const char *name;
    int area;
    int bitArea; // of single bits of its words
};
constexpr Device devices[] = {
    {"DM", AREA_DM, AREA_DM_BIT}, {"EM", AREA_EM, AREA_EM_BIT}, {"FM", AREA_FM, AREA_FM_BIT},
    {"ZF", AREA_ZF, AREA_ZF_BIT}, {"TM", AREA_TM, AREA_TM_BIT}, {"W",  AREA_W,  AREA_W_BIT},
    {"MR", AREA_MR, noBits},      {"LR", AREA_LR, noBits},      {"CR", AREA_CR, noBits},
    {"R",  AREA_R,  noBits},      {"B",  AREA_B,  noBits},
};
struct Shape {
    Place::Format format;
    const char *suffix;
    int words;
    qint64 least, most;
};
constexpr Shape shapes[] = {
    {Place::Bit,      "",  1, 0, 1},
    {Place::Unsigned, "U", 1, 0, std::numeric_limits<quint16>::max()},
    {Place::Signed,   "S", 1, std::numeric_limits<qint16>::min(), std::numeric_limits<qint16>::max()},
    {Place::Double,   "D", 2, 0, std::numeric_limits<quint32>::max()},
};
// clang-format on

const Shape &shapeOf(Place::Format format)
{
    return shapes[format];
}

// Relays, and bits of a word when the suffix is the bit's number; words otherwise.
bool setFormat(Place &place, const Device &device, const QString &suffix)
{
    place.area = place.readKey = device.area;
    if (device.bitArea == noBits || (!suffix.isEmpty() && suffix.at(0).isDigit())) {
        place.format = Place::Bit;
        if (device.bitArea != noBits) {
            place.area = device.bitArea;
            place.addressText += "." + suffix;
        }
        return device.bitArea != noBits || suffix.isEmpty();
    }
    const QString wanted = suffix.isEmpty() ? QString("U") : suffix;
    for (const Shape &shape : shapes) {
        if (wanted == QLatin1String(shape.suffix)) {
            place.format = shape.format;
            place.count = place.words = shape.words;
            return true;
        }
    }
    return false;
}
} // namespace

std::optional<Place> Place::parse(const QString &name)
{
    static const QRegularExpression form(
        "^([DEFZT]M|ZF|MR|LR|CR|[WRB])([0-9A-F]+)(?:\\.([0-9]{1,2}|[USD]))?$");
    const QRegularExpressionMatch found = form.match(name);
    for (const Device &device : devices) {
        if (found.captured(1) != QLatin1String(device.name))
            continue;
        Place place;
        place.name = name;
        place.addressText = found.captured(2);
        if (!setFormat(place, device, found.captured(3)))
            return std::nullopt;
        place.address = PLCAddressChangeIntef(place.area, place.addressText);
        if (place.address < 0)
            return std::nullopt;
        place.firstWord = place.format == Bit ? place.address / bitsOfWord : place.address;
        return place;
    }
    return std::nullopt;
}

qint64 Place::valueOf(const QByteArray &bytes) const
{
    qint64 value = 0;
    for (int i = int(bytes.size()) - 1; i >= 0; --i)
        value = value << 8 | quint8(bytes.at(i));
    return format == Signed ? qint64(qint16(value)) : value;
}

std::optional<QByteArray> Place::bytesOf(qint64 value) const
{
    const Shape &shape = shapeOf(format);
    if (value < shape.least || value > shape.most)
        return std::nullopt;
    QByteArray bytes;
    for (int i = 0; i < (format == Bit ? 1 : 2 * words); ++i)
        bytes.append(char(value >> 8 * i & 0xFF));
    return bytes;
}
