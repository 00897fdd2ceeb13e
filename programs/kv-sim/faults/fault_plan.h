// SPDX-License-Identifier: MIT
// All faults of one PLC, and what they do to each request.
//
// Every fault counts the requests (or connections) that match its filter, and happens by its
// own count; several may happen to the same request. After `next N`, or after `times M`, a
// fault has expired.
#pragma once

#include "faults/fault.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

class FaultPlan
{
public:
    explicit FaultPlan(Family family) : m_family(family) {}

    struct Entry {
        int id;
        Fault fault;
    };

    /// \param[out] problem  what is wrong with the text, if nothing is returned
    /// \return the new fault; it stays valid until the next change of the plan
    const Entry *add(std::string_view text, std::string &problem);
    bool remove(int id);
    void clear() { m_entries.clear(); }

    /// What happens to this request.
    std::vector<FaultEffect> effectsOn(const Asked &asked);
    /// What happens to a new connection; Second only when others are open.
    std::vector<FaultEffect> effectsOnConnection(bool othersOpen);

    const std::vector<Entry> &entries() const { return m_entries; }
    /// How often each kind has happened since the start or the last reset, removed faults included.
    const std::map<std::string, std::uint64_t> &done() const { return m_done; }
    void resetCounts() { m_done.clear(); }

private:
    void apply(Fault &fault, std::vector<FaultEffect> &effects);

    Family m_family;
    std::vector<Entry> m_entries;
    std::map<std::string, std::uint64_t> m_done;
    int m_lastId = 0;
};

/// The effect of this kind, nullptr if there is none.
const FaultEffect *effectOf(const std::vector<FaultEffect> &effects, FaultKind kind);

} // namespace kvsim
