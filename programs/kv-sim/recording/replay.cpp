// SPDX-License-Identifier: MIT
// Answers from a recording.
#include "recording/replay.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::uint64_t longestWaitMs = 3'600'000;

std::uint32_t waitBetween(std::uint64_t before, std::uint64_t now)
{
    return now > before ? std::uint32_t(std::min(now - before, longestWaitMs)) : 0;
}

struct Asker {
    std::string request;  // the last one, empty before the first
    std::size_t at = 0;   // its delivery
    std::uint64_t ms = 0; // of the last event
};

} // namespace

Replay::Replay(const std::vector<RecordedEvent> &events, std::uint32_t plc)
{
    std::map<std::uint32_t, Asker> askers; // by connection
    for (const RecordedEvent &event : events) {
        if (event.plc != plc || event.kind == EventKind::Start)
            continue;
        Asker &asker = askers[event.connection];
        if (event.kind == EventKind::In) {
            auto &deliveries = m_answers[event.bytes].deliveries;
            asker.request = event.bytes;
            asker.at = deliveries.size();
            deliveries.emplace_back();
        } else if (!asker.request.empty()) {
            Delivery &delivery = m_answers[asker.request].deliveries[asker.at];
            const std::uint32_t wait = waitBetween(asker.ms, event.ms);
            const bool ends = event.kind == EventKind::PlcClosed || event.kind == EventKind::PlcReset;
            if (event.kind == EventKind::Out || (ends && wait > 0))
                delivery.steps.push_back({wait, event.bytes});
            if (ends)
                delivery.ending = event.kind == EventKind::PlcClosed ? Ending::Close : Ending::Reset;
        }
        asker.ms = event.ms;
    }
}

const Delivery *Replay::answerTo(std::string_view request)
{
    const auto found = m_answers.find(request);
    if (found == m_answers.end()) {
        ++m_unmatched;
        return nullptr;
    }
    Answers &answers = found->second;
    const std::size_t at = std::min(answers.next, answers.deliveries.size() - 1);
    answers.next = at + 1;
    return &answers.deliveries[at];
}

} // namespace kvsim
