// SPDX-License-Identifier: MIT
// What is read when: the tags by period and device, passes over them, and reads that
// somebody asked for.
//
// Of all that is due, the pass goes first that has to end first; so a short period is not held up
// by a long one, and a late long one not forever by short ones.
#pragma once

#include "engine/pass_clock.h"
#include "engine/piece_gatherer.h"
#include "engine/read_group.h"
#include "engine/statistics.h"
#include "engine/value_book.h"

#include <list>
#include <memory>

namespace kvlink
{

// Bytes of one unit in an answer, with the blank after it.
constexpr int bytesOfWord = 6;
constexpr int bytesOfDoubleWord = 11;
constexpr int bytesOfTriple = 24;
constexpr int bytesOfFrame = 22; ///< "RDS DM10000.U 100" with its CR, and the CR LF of the answer

/// One read in hand.
struct ReadRequest {
    const Device *device = nullptr;
    PlannedBlock block;
    std::vector<ValueBook::Slot> tagSlots;
    Duration period{}; ///< 0: somebody asked for it
    SteadyTime due{};
};

class Reader
{
public:
    Reader(ValueBook &book, const LinkSettings &settings, double secondsPerByte);

    // --- tags ------------------------------------------------------------------------------------

    /// \param online the link is ready: the tags are read as soon as can be
    void add(const std::vector<ValueBook::Slot> &tagSlots, bool online, SteadyTime now);
    /// Before the tag leaves the book.
    void remove(ValueBook::Slot slot);
    void readNow(ReadId id, std::vector<ValueBook::Slot> tagSlots, SteadyTime now);

    // --- the link --------------------------------------------------------------------------------

    void linkReady(SteadyTime now);
    void linkLost();
    /// Ends all reads that somebody asked for: their tags are bad.
    void endReads();

    // --- reading ---------------------------------------------------------------------------------

    /// Begins passes that are due, counts the missed, ages values.
    void tick(SteadyTime now, bool online);
    /// True if next() would find something.
    bool isDue() const;
    /// The next request; false: nothing is due. \a request keeps its memory from use to use.
    bool next(ReadRequest &request, SteadyTime now);
    void answered(const ReadRequest &request, const UnitBlock &block, const Moment &at);
    void refused(const ReadRequest &request, quint8 plcError, SteadyTime now);
    void failed(const ReadRequest &request, Reason reason);

    SteadyTime nextDeadline() const;
    /// Ids of reads that have ended since the last call.
    std::vector<ReadId> takeEnded() { return std::exchange(m_ended, {}); }

    void measured(Duration took, int bytes) { m_cost.add(took, bytes); }

    ReadPlan plan() const;
    void fill(LinkStatistics &statistics) const;

private:
    using Groups = std::map<int, ReadGroup>; ///< by area code of the reads
    struct Pass {
        PassClock clock;
        Groups groups;
    };
    /// A read that somebody asked for.
    struct Asked {
        ReadId id = 0; ///< 0: new tags
        SteadyTime at{};
        Groups groups;
        int losses = 0;
    };

    UnitRange rangeOf(ValueBook::Slot slot) const;
    static void addTo(Groups &groups, const Device &device, const UnitRange &range, SteadyTime staleAt);
    PlanLimits limitsOf(const Device &device) const;
    bool nextOf(Groups &groups, quint64 pass, ReadRequest &request, SteadyTime now);
    Pass *mostUrgent();
    ReadGroup *groupOf(const ReadRequest &request);
    void ageAsked(const ReadRequest &request);
    bool isTold(const ReadRequest &request) const;
    void replanIfCostsChanged(SteadyTime now);
    void ageAll(SteadyTime now);

    ValueBook &m_book;
    const int m_maxBlock;
    RequestCost m_cost;
    double m_plannedCost;
    SteadyTime m_costsLookedAt{};
    std::map<Duration, Pass> m_passes;
    quint64 m_missedOfGone = 0; ///< missed passes of periods that no tag has any more
    std::list<Asked> m_asked;
    SteadyTime m_nextStale = SteadyTime::max();
    PieceGatherer m_pieces;
    std::vector<ReadId> m_ended;
};

} // namespace kvlink
