// SPDX-License-Identifier: MIT
#include "engine/value_book.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace kvlink
{

namespace
{

// Every comparison with it fails, so every change is told.
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

double numberOf(const Scalar &scalar)
{
    if (const auto *whole = std::get_if<qint64>(&scalar))
        return double(*whole);
    if (const auto *real = std::get_if<double>(&scalar))
        return *real;
    return notANumber;
}

double numberOf(const Value &value)
{
    if (const auto *whole = std::get_if<qint64>(&value))
        return double(*whole);
    if (const auto *real = std::get_if<double>(&value))
        return *real;
    return notANumber;
}

// Two values of one tag: lists are as long as each other.
bool isCloser(const Value &one, const Value &other, double distance)
{
    const auto *list = std::get_if<std::vector<Scalar>>(&one);
    const auto *otherList = std::get_if<std::vector<Scalar>>(&other);
    if (list == nullptr || otherList == nullptr)
        return std::fabs(numberOf(one) - numberOf(other)) < distance;
    for (std::size_t i = 0; i < list->size(); ++i) {
        if (!(std::fabs(numberOf((*list)[i]) - numberOf((*otherList)[i])) < distance))
            return false;
    }
    return true;
}

} // namespace

// --- tags ----------------------------------------------------------------------------------------

ValueBook::Slot ValueBook::add(const EngineTag &tag)
{
    Row row;
    row.tag = tag;
    row.rawSize = quint32(rawSize(tag.place));
    row.rawAt = roomFor(roomOf(row));
    if (m_scratch.size() < row.rawSize)
        m_scratch.resize(row.rawSize);
    Slot slot = Slot(m_rows.size());
    if (m_freeSlots.empty()) {
        m_rows.push_back(row);
    } else {
        slot = m_freeSlots.back();
        m_freeSlots.pop_back();
        m_rows[slot] = row;
    }
    m_slots[tag.tag.id()] = slot;
    return slot;
}

void ValueBook::remove(Slot slot)
{
    Row &row = m_rows[slot];
    m_slots.erase(row.tag.tag.id());
    m_freeRaw[roomOf(row)].push_back(row.rawAt);
    m_freeSlots.push_back(slot);
    row = Row();
}

ValueBook::Slot ValueBook::find(Tag tag) const
{
    const auto found = m_slots.find(tag.id());
    return found == m_slots.end() ? noSlot : found->second;
}

quint32 ValueBook::roomFor(quint32 bytes)
{
    const auto free = m_freeRaw.find(bytes);
    if (free != m_freeRaw.end() && !free->second.empty()) {
        const quint32 at = free->second.back();
        free->second.pop_back();
        return at;
    }
    const auto at = quint32(m_raw.size());
    m_raw.resize(at + bytes);
    return at;
}

// --- values --------------------------------------------------------------------------------------

void ValueBook::take(Slot slot, const UnitBlock &block, const Moment &at, bool tell)
{
    const Row &row = m_rows[slot];
    if (row.tag.tag.isValid() && copyRaw(row.tag.place, block, m_scratch.data()) > 0)
        takeRaw(slot, m_scratch.data(), at, tell);
}

void ValueBook::takeRaw(Slot slot, const char *raw, const Moment &at, bool tell)
{
    Row &row = m_rows[slot];
    tell = tell || (row.tag.everySample && row.tag.deadband <= 0.0);
    char *held = m_raw.data() + row.rawAt;
    const bool same = row.hasValue && std::memcmp(held, raw, row.rawSize) == 0;
    if (same && row.quality == Quality::Good && !tell) {
        row.time = at.steady;
        row.wall = at.wall;
        return;
    }
    std::optional<Value> value = valueAt(row, raw);
    if (!value) {
        set(row, Quality::Bad, Reason::NotRepresentable, 0, tell);
        return;
    }
    const bool quiet = row.quality == Quality::Good && !tell && isWithinDeadband(row, *value);
    std::memcpy(held, raw, row.rawSize);
    row.hasValue = true;
    row.time = at.steady;
    row.wall = at.wall;
    row.quality = Quality::Good;
    row.reason = Reason::None;
    row.plcError = 0;
    if (!quiet)
        report(row, std::move(*value));
}

std::optional<Value> ValueBook::valueAt(const Row &row, const char *raw) const
{
    return decode(row.tag.place, raw, m_coding, row.tag.scale, row.tag.offset);
}

// Compared with what was reported last, not with what was read last: many small steps are a large
// one in the end.
bool ValueBook::isWithinDeadband(const Row &row, const Value &value) const
{
    if (row.tag.deadband <= 0.0)
        return false;
    const std::optional<Value> reported = valueAt(row, m_raw.data() + row.rawAt + row.rawSize);
    return reported && isCloser(*reported, value, row.tag.deadband);
}

void ValueBook::fail(Slot slot, Reason reason, quint8 plcError, bool tell)
{
    if (m_rows[slot].tag.tag.isValid())
        set(m_rows[slot], Quality::Bad, reason, plcError, tell);
}

void ValueBook::age(Slot slot)
{
    Row &row = m_rows[slot];
    if (row.quality == Quality::Good || row.quality == Quality::Pending)
        set(row, Quality::Stale, Reason::None, 0, false);
}

void ValueBook::setPending(Slot slot)
{
    Row &row = m_rows[slot];
    if (row.quality == Quality::Good || row.quality == Quality::Stale)
        set(row, Quality::Pending, Reason::None, 0, false);
}

void ValueBook::loseAll(bool keepReasons)
{
    for (Row &row : m_rows) {
        const bool hasFailed = row.reason == Reason::NoAnswer || row.reason == Reason::Corrupted;
        if (row.tag.tag.isValid() && !(keepReasons && hasFailed))
            set(row, Quality::Bad, Reason::NoLink, 0, false);
    }
}

void ValueBook::set(Row &row, Quality quality, Reason reason, quint8 plcError, bool tell)
{
    if (!tell && row.quality == quality && row.reason == reason && row.plcError == plcError)
        return;
    row.quality = quality;
    row.reason = reason;
    row.plcError = plcError;
    Value value;
    if (row.hasValue)
        value = valueAt(row, m_raw.data() + row.rawAt).value_or(Value());
    report(row, std::move(value));
}

void ValueBook::report(Row &row, Value value)
{
    if (row.tag.deadband > 0.0 && row.hasValue)
        std::memcpy(m_raw.data() + row.rawAt + row.rawSize, m_raw.data() + row.rawAt, row.rawSize);
    m_changes.push_back(
        {row.tag.tag, Sample{std::move(value), row.quality, row.reason, row.plcError, row.wall, row.time}});
}

Sample ValueBook::sample(Slot slot) const
{
    const Row &row = m_rows[slot];
    Sample sample{{}, row.quality, row.reason, row.plcError, row.wall, row.time};
    if (row.hasValue)
        sample.value = valueAt(row, m_raw.data() + row.rawAt).value_or(Value());
    return sample;
}

} // namespace kvlink
