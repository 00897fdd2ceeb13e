// SPDX-License-Identifier: MIT
// The tags that are read together, of all devices: a group for each of them, and the next request.
#pragma once

#include "engine/plan_costs.h"
#include "engine/read_group.h"
#include "engine/value_book.h"

namespace kvlink
{

/// One read in hand.
struct ReadRequest {
    const Device *device = nullptr;
    PlannedBlock block;
    std::vector<ValueBook::Slot> tagSlots;
    Duration period{}; ///< 0: somebody asked for it
    SteadyTime due{};
};

class ReadGroups
{
public:
    /// \param staleAt as in ReadGroup::add()
    void add(const Device &device, const UnitRange &tag, SteadyTime staleAt = SteadyTime::max());
    /// One that was added.
    void remove(const Device &device, const UnitRange &tag);
    bool isEmpty() const { return m_groups.empty(); }

    /// The group that holds the tags of this device. Null: there are none.
    ReadGroup *find(const Device &device);

    /// The next request that pass \a pass has not asked yet: all but its period and when it was
    /// due. False: none is left. \a request keeps its memory from use to use.
    bool next(ReadRequest &request, quint64 pass, const PlanCosts &costs, SteadyTime now);

    /// Ages the values in \a book that are stale now. \return when the next ones will be
    SteadyTime age(ValueBook &book, const PlanCosts &costs, SteadyTime now);

    // Each of these is done to all groups.
    void invalidate();
    void forgetRefusals();
    void forgetAges();

    // The groups, with the area code of their reads.
    auto begin() const { return m_groups.begin(); }
    auto end() const { return m_groups.end(); }

private:
    std::map<int, ReadGroup> m_groups;
};

} // namespace kvlink
