// SPDX-License-Identifier: MIT
// The tags and their values: raw bytes as the PLC gave them, how far they may be trusted,
// and since when.
//
// Raw bytes of all tags stand in one array; values are made of them only when somebody is to see
// them. So a pass over 100,000 tags of which nothing has changed takes nothing from the heap.
#pragma once

#include "engine/events.h"
#include "model/value_codec.h"

#include <map>
#include <unordered_map>

namespace kvlink
{

class ValueBook
{
public:
    /// Where a tag stands in the book. Used again once its tag has been removed.
    using Slot = quint32;
    static constexpr Slot noSlot = ~Slot(0);

    explicit ValueBook(const Coding &coding) : m_coding(coding) {}

    Slot add(const EngineTag &tag);
    void remove(Slot slot);
    /// noSlot for an unknown tag.
    Slot find(Tag tag) const;
    /// Invalid Tag in it if the slot is free.
    const EngineTag &tag(Slot slot) const { return m_rows[slot].tag; }
    void setPeriod(Slot slot, Duration period) { m_rows[slot].tag.period = period; }
    Slot size() const { return Slot(m_rows.size()); }

    // --- what a read brought. Each reports a change, if it is one --------------------------------

    /// The value out of a good answer. Does nothing if the block does not cover the tag.
    /// \param tell report it even if nothing has changed: somebody asked
    void take(Slot slot, const UnitBlock &block, const Moment &at, bool tell);
    /// The same from raw bytes that were gathered from several answers.
    void takeRaw(Slot slot, const char *raw, const Moment &at, bool tell);
    void fail(Slot slot, Reason reason, quint8 plcError, bool tell);
    /// Good or pending becomes stale.
    void age(Slot slot);
    /// Written, and not read since.
    void setPending(Slot slot);
    /// All tags are bad for want of a link; those whose request has just failed may
    /// keep their reason.
    void loseAll(bool keepReasons);

    Sample sample(Slot slot) const;

    std::vector<Events::Change> &changes() { return m_changes; }

private:
    struct Row {
        EngineTag tag;
        SteadyTime time{};
        WallTime wall{};
        quint32 rawAt = 0; ///< in m_raw: what was read last and, with a deadband, what was reported last
        quint32 rawSize = 0;
        Quality quality = Quality::Never;
        Reason reason = Reason::None;
        quint8 plcError = 0;
        bool hasValue = false;
    };

    quint32 roomFor(quint32 bytes);
    quint32 roomOf(const Row &row) const { return row.tag.deadband > 0.0 ? 2 * row.rawSize : row.rawSize; }
    std::optional<Value> valueAt(const Row &row, const char *raw) const;
    bool isWithinDeadband(const Row &row, const Value &value) const;
    void set(Row &row, Quality quality, Reason reason, quint8 plcError, bool tell);
    void report(Row &row, Value value);

    const Coding m_coding;
    std::vector<Row> m_rows;
    std::vector<Slot> m_freeSlots;
    std::vector<char> m_raw;
    std::map<quint32, std::vector<quint32>> m_freeRaw; ///< by size
    std::unordered_map<quint32, Slot> m_slots;         ///< by the id of the tag
    std::vector<char> m_scratch;
    std::vector<Events::Change> m_changes;
};

} // namespace kvlink
