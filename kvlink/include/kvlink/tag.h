// SPDX-License-Identifier: MIT
// A tag: a place in the PLC that somebody watches or writes, with its name, format and period.
#pragma once

#include "export.h"
#include "times.h"

#include <QHash>
#include <QMetaType>
#include <QString>

namespace kvlink
{

enum class Access : quint8 { ReadWrite, ReadOnly };

/// Order of the two words of a 32-bit value in word devices.
enum class WordOrder : quint8 { LowFirst, HighFirst };

/// How two characters of a word become text.
enum class TextEncoding : quint8 { Utf8, ShiftJis, Latin1 };

/// What a tag is. All but the address may stay as it is.
struct TagSettings {
    QString
        address; ///< as in the ladder program: "DM100", "R500", "DM200.S", "DM100.5", "W1A.3", "DM0.F:4", "DM10.STR:8"
    QString name = {};       ///< for people and logs; empty: the address in capital letters
    Duration period = 500ms; ///< time between two reads; 0: read only on demand (Plc::readNow)
    double scale = 1.0;      ///< shown = raw * scale + offset
    double offset = 0.0;
    QString unit = {};
    double deadband = 0.0; ///< smaller changes of a number (as shown) are not reported
    Access access = Access::ReadWrite;
    /// Each answer is reported, also one that brings the same value again: for those who log. Not
    /// with a deadband. What is reported without an answer (stale, bad, pending) carries the time
    /// of the last one, as ever: good samples alone count answers.
    bool everySample = false;
    bool command = false; ///< a relay that starts something: never sent twice, whatever a write asks for
};

/// A handle on a tag of one Plc; cheap to copy, comparable. Handles of removed tags are never
/// given out again.
class Tag
{
public:
    Tag() = default;
    explicit Tag(quint32 id) : m_id(id) {} ///< a handle again from its id()

    /// False for a default-constructed handle, and for one of a refused tag.
    bool isValid() const { return m_id != 0; }
    quint32 id() const { return m_id; } ///< 0: invalid; for logs, and for tables of your own

    /// Of one Plc only, as the two below.
    friend bool operator==(Tag one, Tag other) { return one.m_id == other.m_id; }
    /// Not the same tag.
    friend bool operator!=(Tag one, Tag other) { return one.m_id != other.m_id; }
    /// The older tag first.
    friend bool operator<(Tag one, Tag other) { return one.m_id < other.m_id; }

private:
    quint32 m_id = 0;
};

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
/// For QHash and QSet.
inline uint qHash(Tag tag, uint seed = 0)
{
    return ::qHash(tag.id(), seed);
}
#else
/// For QHash and QSet.
inline size_t qHash(Tag tag, size_t seed = 0)
{
    return ::qHash(tag.id(), seed);
}
#endif

} // namespace kvlink

Q_DECLARE_METATYPE(kvlink::Tag)
