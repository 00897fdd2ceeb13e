// How far each value may be trusted, kept by the host: the driver's store knows values, not their age.
//
// Kept per store unit (a word, a double word, a timer), which is what reads bring. Pure: time is handed in.
#pragma once

#include "clock.h"

#include <QHash>
#include <QString>

#include <array>
#include <bitset>

namespace kvhost
{

enum class Quality {
    Good,    ///< read, proved, and not older than three cycles
    Stale,   ///< read, but older
    Bad,     ///< its last request was given up, or its write failed
    Never,   ///< never read
    Pending, ///< written and not yet read back
};

const char *qualityName(Quality quality);

/// Units of one station and read key.
struct UnitRange {
    int station = 0;
    int key = 0;
    int first = 0;
    int count = 0;
};

class QualityBook
{
public:
    struct State {
        Quality quality = Quality::Never;
        QString reason;        ///< with Bad
        Clock::duration age{}; ///< since the oldest of its units was read; 0 while Never
        bool everRead = false;
    };

    void setStaleAfter(Clock::duration age) { m_staleAfter = age; }

    /// Only units that somebody wants are kept.
    void track(const UnitRange &range);

    /// An answer brought them. It changes nothing yet: until it is proved, they stand as they did before.
    void read(const UnitRange &range, Time now);
    /// What was read last was really theirs.
    void proved(const UnitRange &range);
    /// What was read last can be proved no more; the read before it stands.
    void lost(const UnitRange &range);
    /// False if the driver's store may hold something unproved.
    bool settled(const UnitRange &range) const;

    void failed(const UnitRange &range, const QString &reason);

    void writeQueued(const UnitRange &range);
    void writeDone(const UnitRange &range);
    void writeFailed(const UnitRange &range, const QString &reason);

    State state(const UnitRange &range, Time now) const;

private:
    struct Unit {
        Time lastRead{}; ///< and proved
        Time newRead{};  ///< not yet proved
        QString badReason;
        int writes = 0; ///< writes on their way
        bool everRead = false;
        bool bad = false;
        bool readBackDue = false; ///< written since it was read last
        bool unproved = false;    ///< read again, not yet proved
        bool unsure = false;      ///< the last read was in doubt or lost
        bool readBack = false;    ///< the unproved read came after all writes
    };

    template <typename Change>
    void forEach(const UnitRange &range, Change change);

    /// Reads bring neighbours, so these are kept together: one look-up for all of them.
    static constexpr int PAGE = 16;
    struct Page {
        std::array<Unit, PAGE> units;
        std::bitset<PAGE> tracked;
    };

    static quint64 keyOf(int station, int key, int unit);
    const Unit *find(const UnitRange &range, int unit) const;

    QHash<quint64, Page> m_pages;
    Clock::duration m_staleAfter = Clock::duration::max();
};

} // namespace kvhost
