// SPDX-License-Identifier: MIT
// What is read when: the tags by period and device, passes over them, and reads that
// somebody asked for.
//
// Of all that is due, the pass goes first that has to end first; so a short period is not held up
// by a long one, and a late long one not forever by short ones.
#pragma once

#include "engine/asked_reads.h"
#include "engine/pass_clock.h"
#include "engine/piece_gatherer.h"
#include "engine/plan_costs.h"
#include "engine/read_groups.h"
#include "engine/value_book.h"

namespace kvlink
{

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
    void endReads() { m_asked.endAll(); }

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
    std::vector<ReadId> takeEnded() { return m_asked.takeEnded(); }

    void measured(Duration took, int bytes) { m_costs.measured(took, bytes); }

    ReadPlan plan() const;
    void fill(LinkStatistics &statistics) const;

private:
    struct Pass {
        PassClock clock;
        ReadGroups groups;
    };

    Pass *mostUrgent();
    ReadGroup *groupOf(const ReadRequest &request);
    void ageAsked(const ReadRequest &request);
    bool isTold(const ReadRequest &request) const;
    void ageAll(SteadyTime now);
    void replanAll();

    ValueBook &m_book;
    PlanCosts m_costs;
    std::map<Duration, Pass> m_passes;
    quint64 m_missedOfGone = 0; ///< missed passes of periods that no tag has any more
    AskedReads m_asked;
    SteadyTime m_nextStale = SteadyTime::max();
    PieceGatherer m_pieces;
};

} // namespace kvlink
