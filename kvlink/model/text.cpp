// SPDX-License-Identifier: MIT
// What programs show to people and check without a PLC.
#include <kvlink/text.h>

#include "model/place.h"
#include "model/value_codec.h"

namespace kvlink
{

namespace
{

constexpr int bitsOfWord = 16;

// Which bits or elements of which image a place covers.
struct Span {
    int area = 0;
    Field field = Field::Whole;
    qint64 first = 0, last = 0;
};

Span spanOf(const Place &place)
{
    const Field field = place.element == Element::Contact ? Field::Contact : place.device->field;
    const qint64 bits = place.element == Element::Word ? bitsOfWord : 1;
    return {place.readArea(), field, place.number * bits, (place.number + place.elements) * bits - 1};
}

// @ stands for the device's letters.
QString exampleNumbers(const Device &device)
{
    switch (device.element) {
    case Element::Bit:
        return device.notation == Notation::HexBit ? QStringLiteral("@F @1F0:4 @10.U")
                                                   : QStringLiteral("@15 @100:16 @100.U");
    case Element::Contact:
        return QStringLiteral("@5 @0:8");
    case Element::Word:
        return device.notation == Notation::Hex ? QStringLiteral("@1A @1A.3 @10.F @10-@1F")
                                                : QStringLiteral("@100 @100.5 @100.F @100-@109");
    case Element::DoubleWord:
        return QStringLiteral("@1 @1.L");
    }
    return {};
}

QString formatsOf(const Device &device)
{
    switch (device.element) {
    case Element::Bit:
        return QStringLiteral("bit; channel .U .S .D .L .H .F .STR:n");
    case Element::Contact:
        return QStringLiteral("bit");
    case Element::Word:
        return QStringLiteral("U; .S .D .L .H .F .STR:n, bit .0-.15");
    case Element::DoubleWord:
        return device.bitArea >= 0 ? QStringLiteral("D; .L .H .F, contact .C")
                                   : QStringLiteral("D; .L .H .F");
    }
    return {};
}

} // namespace

std::optional<AddressInfo> AddressInfo::parse(const QString &address, QString &problem)
{
    const std::optional<Place> place = parsePlace(address, problem);
    if (!place)
        return std::nullopt;
    return AddressInfo(std::make_shared<const Place>(*place));
}

QString AddressInfo::name() const
{
    return m_place->name();
}

QString AddressInfo::nameOfValue(int i) const
{
    return m_place->nameOfValue(i);
}

QString AddressInfo::device() const
{
    return QString::fromLatin1(m_place->device->name);
}

int AddressInfo::values() const
{
    return m_place->values;
}

int AddressInfo::units() const
{
    return m_place->unitCount();
}

ValueKind AddressInfo::kind() const
{
    switch (m_place->format) {
    case Format::Bit:
        return ValueKind::Bit;
    case Format::Hex:
        return ValueKind::Hex;
    case Format::Float:
        return ValueKind::Real;
    case Format::Text:
        return ValueKind::Text;
    case Format::Unsigned:
    case Format::Signed:
    case Format::Double:
    case Format::Long:
        break;
    }
    return ValueKind::Whole;
}

bool AddressInfo::isWritable() const
{
    return m_place->element != Element::Contact && m_place->device->writable;
}

bool AddressInfo::isBit() const
{
    return m_place->element == Element::Bit && m_place->values == 1;
}

bool AddressInfo::overlaps(const AddressInfo &other) const
{
    const Span one = spanOf(*m_place);
    const Span two = spanOf(*other.m_place);
    return one.area == two.area && one.field == two.field && one.first <= two.last && two.first <= one.last;
}

QString AddressInfo::shown(const Value &value) const
{
    return value.index() == 0 ? QString() : kvlink::shown(*m_place, value);
}

std::optional<Value> AddressInfo::valueFromText(const QString &typed, const TagSettings &tag,
                                                const LinkSettings &link, QString &problem) const
{
    const Coding coding{link.wordOrder, link.textEncoding};
    auto value = kvlink::valueFromText(*m_place, typed, tag.scale, tag.offset, problem);
    if (!value)
        return std::nullopt;
    const auto pieces = encode(*m_place, *value, coding, tag.scale, tag.offset, link.maxBlock, problem);
    if (!pieces)
        return std::nullopt;
    QByteArray raw;
    for (const WriteUnits &piece : *pieces)
        raw += piece.data;
    return decode(*m_place, raw.constData(), coding, tag.scale, tag.offset);
}

Value valueAt(const Value &value, int i)
{
    const auto *list = std::get_if<std::vector<Scalar>>(&value);
    if (list == nullptr)
        return i == 0 ? value : Value();
    if (i < 0 || std::size_t(i) >= list->size())
        return {};
    return std::visit([](const auto &scalar) { return Value(scalar); }, (*list)[std::size_t(i)]);
}

std::vector<DeviceInfo> deviceInfos()
{
    std::vector<DeviceInfo> infos;
    for (const Device &device : devices()) {
        const QString name = QString::fromLatin1(device.name);
        infos.push_back({name, exampleNumbers(device).replace('@', name), formatsOf(device),
                         QString::fromLatin1(device.range), QString::fromLatin1(device.what),
                         device.writable});
    }
    return infos;
}

} // namespace kvlink
