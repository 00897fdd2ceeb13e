// SPDX-License-Identifier: MIT
// Answers from a recording, as they came then: bytes, portions, waits, missing ones and
// ends of connections.
//
// The first time a request comes it gets the answer that it got first, the second time the second
// one, and so on; after the last one that one again. Connections do not matter.
#pragma once

#include "faults/delivery.h"
#include "recording/recorded_event.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

class Replay
{
public:
    /// \param plc  the number of the PLC whose events are taken
    Replay(const std::vector<RecordedEvent> &events, std::uint32_t plc);

    /// \return nullptr if the recording does not have this request
    const Delivery *answerTo(std::string_view request);

    /// Requests that the recording does not have.
    std::uint64_t unmatched() const { return m_unmatched; }

private:
    struct Answers {
        std::vector<Delivery> deliveries;
        std::size_t next = 0;
    };

    std::map<std::string, Answers, std::less<>> m_answers;
    std::uint64_t m_unmatched = 0;
};

} // namespace kvsim
