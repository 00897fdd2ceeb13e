// SPDX-License-Identifier: MIT
#include "places.h"

#include <algorithm>

namespace soak
{
namespace
{
// clang-format off
const Kind kinds[] = {
    //  kv-host        the PLC       hex    first slots most  highest    field
    {   "DM%1",       "DM%1",       false,   1000,  40, 130,      65535, -1 }, // up to two pieces
    {   "EM%1",       "EM%1",       false,      1,  40,   3,      65535, -1 },
    {   "FM%1",       "FM%1",       false,      1,  20,   8,      65535, -1 },
    {   "ZF%1",       "ZF%1",       false, 500000,  20,   4,      65535, -1 },
    {   "W%1",        "W%1",        true,       1,  20,   5,      65535, -1 },
    {   "TM%1",       "TM%1",       false,    100,  20,   2,      65535, -1 },
    {   "VM%1",       "VM%1",       false,      1,  20,   2,      65535, -1 },
    {   "Z%1",        "Z%1.D",      false,      1,   3,   2, 2147483647, -1 }, // larger ones are refused
    {   "TS%1",       "TS%1",       false,   1000,  10,   3, 2147483647, -1 },
    {   "CS%1",       "CS%1",       false,   1000,  10,   3, 2147483647, -1 },
    {   "TC%1",       "T%1",        false,   2000,  10,   2, 2147483647,  1 },
    {   "CC%1",       "C%1",        false,   2000,  10,   2, 2147483647,  1 },
    {   "R%100.U",    "R%100.U",    false,    100,  10,   4,      65535, -1 }, // whole channels
    {   "B%10.U",     "B%10.U",     true,      16,  10,   4,      65535, -1 },
    {   "MR%100",     "MR%100.U",   false,    100,  20,   1,      65535, -1, true }, // relays, one by one
    {   "VB%10",      "VB%10.U",    true,      16,  20,   1,      65535, -1, true },
    {   "DM%1",       "DM%1",       false,  30000,  20,   1,      65535, -1, true }, // read, changed, written
    {   "W%1",        "W%1",        true,   20000,  20,   1,      65535, -1, true },
};
// clang-format on

const Kind &kindOf(int kind)
{
    return kinds[kind];
}

QString numbered(const char *pattern, const Kind &kind, int number)
{
    QString digits = QString::number(number, kind.hexadecimal ? 16 : 10).toUpper();
    return QString::fromLatin1(pattern).replace(QStringLiteral("%1"), digits);
}

// A bit of a relay channel or of a word, as kv-host writes it.
QString bitName(const Kind &kind, int number, int bit)
{
    const QString name = numbered(kind.host, kind, number);
    const QString device = QString::fromLatin1(kind.host);
    if (device.startsWith(QStringLiteral("MR")))
        return name.left(name.size() - 2) + QStringLiteral("%1").arg(bit, 2, 10, QLatin1Char('0'));
    if (device.startsWith(QStringLiteral("VB")))
        return name.left(name.size() - 1) + QString::number(bit, 16).toUpper();
    return name + "." + QString::number(bit);
}

QString joined(const std::set<unsigned> &values)
{
    QStringList texts;
    for (const unsigned value : values)
        texts << QString::number(value);
    return texts.join(QStringLiteral(" or "));
}
} // namespace

Places::Places(std::vector<int> stations, unsigned seed) : m_stations(std::move(stations)), m_dice(seed)
{
    for (const int station : m_stations) {
        for (int kind = 0; kind < int(std::size(kinds)); ++kind) {
            const int elements = kindOf(kind).count * (kindOf(kind).most + 2);
            for (int i = 0; i < elements; ++i)
                m_held[{station, kind, kindOf(kind).first + i}] = 0; // as in a fresh PLC
        }
    }
}

std::vector<Write> Places::drawAll()
{
    std::vector<Write> all;
    m_slots.clear();
    for (const int station : m_stations) {
        for (int kind = 0; kind < int(std::size(kinds)); ++kind) {
            for (int slot = 0; slot < kindOf(kind).count; ++slot) {
                m_slots.push_back(slotOf(station, kind, slot));
                all.push_back(kindOf(kind).single ? bit(m_slots.back(), between(0, 15))
                                                  : words(m_slots.back(), kindOf(kind).most));
            }
        }
    }
    return all;
}

Places::Slot Places::slotOf(int station, int kind, int slot)
{
    return {station, kind, kindOf(kind).first + slot * (kindOf(kind).most + 2) + 1};
}

std::vector<Write> Places::draw(int writes)
{
    std::vector<Write> all;
    std::set<std::tuple<int, int, int>> taken;
    m_slots.clear();
    while (int(all.size()) < writes) {
        const int kind = between(0, int(std::size(kinds)) - 1);
        const int station = m_stations[std::size_t(between(0, int(m_stations.size()) - 1))];
        const int slot = between(0, kindOf(kind).count - 1);
        if (!taken.insert({station, kind, slot}).second)
            continue;
        m_slots.push_back(slotOf(station, kind, slot));
        drawInto(m_slots.back(), all);
    }
    return all;
}

void Places::drawInto(const Slot &slot, std::vector<Write> &writes)
{
    const Kind &kind = kindOf(slot.kind);
    if (kind.single) {
        for (int bits = between(1, 3); bits > 0; --bits)
            writes.push_back(bit(slot, between(0, 15)));
        return;
    }
    const int count = between(0, 9) == 0 ? kind.most : between(1, std::min(kind.most, 8));
    writes.push_back(words(slot, count));
    if (between(0, 9) == 0)
        writes.push_back(words(slot, count));
}

Write Places::words(const Slot &slot, int count)
{
    const Kind &kind = kindOf(slot.kind);
    Write write;
    write.station = slot.station;
    QStringList values;
    for (int i = 0; i < count; ++i) {
        const auto value = std::uniform_int_distribution<unsigned>(0, kind.highest)(m_dice);
        write.sets.push_back({{slot.station, slot.kind, slot.number + i}, ~0U, value});
        values << QString::number(value);
    }
    write.text = QStringLiteral("%1/%2").arg(slot.station).arg(numbered(kind.host, kind, slot.number));
    if (count > 1)
        write.text += ":" + QString::number(count);
    write.text += "=" + values.join(',');
    return write;
}

Write Places::bit(const Slot &slot, int bitNumber)
{
    const bool on = between(0, 1) == 1;
    const unsigned mask = 1U << unsigned(bitNumber);
    Write write;
    write.station = slot.station;
    write.sets.push_back({{slot.station, slot.kind, slot.number}, mask, on ? mask : 0U});
    write.text = QStringLiteral("%1/%2=%3")
                     .arg(slot.station)
                     .arg(bitName(kindOf(slot.kind), slot.number, bitNumber))
                     .arg(on ? 1 : 0);
    return write;
}

std::vector<unsigned> Places::read(const Slot &slot, const Get &get) const
{
    const Kind &kind = kindOf(slot.kind);
    const QByteArray answer = get(slot.station, numbered(kind.plc, kind, slot.number - 1).toLatin1() + " " +
                                                    QByteArray::number(kind.most + 2));
    std::vector<unsigned> values;
    for (const QByteArray &value : answer.split(' '))
        values.push_back((kind.field < 0 ? value : value.split(',').value(kind.field)).toUInt());
    values.resize(std::size_t(kind.most + 2));
    return values;
}

// A write whose end is unknown may have been carried out: its answer was what got lost.
QStringList Places::check(const std::vector<Write> &writes, const std::vector<End> &ends, const Get &get)
{
    std::map<Element, std::set<unsigned>> allowed;
    for (std::size_t i = 0; i < writes.size(); ++i) {
        for (const Write::Set &set : writes[i].sets) {
            std::set<unsigned> &values =
                allowed.try_emplace(set.element, std::set{held(set.element)}).first->second;
            std::set<unsigned> after;
            for (const unsigned value : values)
                after.insert((value & ~set.mask) | (set.value & set.mask));
            if (ends[i] == End::Unknown)
                after.insert(values.begin(), values.end());
            if (ends[i] != End::NotThere)
                values = after;
        }
    }
    QStringList wrong;
    for (const Slot &slot : m_slots) {
        Element element{slot.station, slot.kind, slot.number - 1};
        for (const unsigned value : read(slot, get)) {
            const auto found = allowed.find(element);
            const bool good =
                found == allowed.end() ? value == held(element) : found->second.count(value) != 0;
            if (!good) {
                wrong << QStringLiteral("station %1: %2 holds %3, before this round %4%5")
                             .arg(slot.station)
                             .arg(numbered(kindOf(slot.kind).plc, kindOf(slot.kind), element.number))
                             .arg(value)
                             .arg(held(element))
                             .arg(found == allowed.end() ? ", and nobody wrote it"
                                                         : ", may be " + joined(found->second));
            }
            m_held[element] = value;
            ++m_compared;
            ++element.number;
        }
    }
    return wrong;
}
} // namespace soak
