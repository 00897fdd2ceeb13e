// SPDX-License-Identifier: MIT
// Fuzzes the recordings of kv-sim: a text is taken, or refused with its line; what was taken is
// written and read back the same, and can be replayed.
#include "recording/recorded_event.h"
#include "recording/replay.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    std::string problem;
    const auto events = kvsim::recordingFromText({reinterpret_cast<const char *>(data), size}, problem);
    require(events.has_value() == problem.empty(), "a refused text has a reason");
    if (!events)
        return 0;
    std::string text;
    for (const kvsim::RecordedEvent &event : *events)
        text += kvsim::eventToLine(event) + "\n";
    const auto again = kvsim::recordingFromText(text, problem);
    require(again.has_value(), "what was written can be read");
    require(*again == *events, "what was written is read back the same");
    kvsim::Replay replay(*events, 0);
    for (const kvsim::RecordedEvent &event : *events)
        if (event.kind == kvsim::EventKind::In && event.plc == 0)
            require(replay.answerTo(event.bytes) != nullptr, "a recorded request is answered");
    require(replay.unmatched() == 0, "every recorded request is known");
    return 0;
}
