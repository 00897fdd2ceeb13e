// SPDX-License-Identifier: MIT
// One line of a recording: a JSON object with what came or went, and when.
//
//   {"event":"start","format":1,"model":"KV-8000","ms":0,"time":"2026-11-22T08:15:30.123Z"}
//   {"connection":1,"event":"opened","ms":812,"plc":0}
//   {"connection":1,"event":"in","ms":813,"plc":0,"text":"RDS DM0.U 2\r"}
//   {"connection":1,"event":"out","ms":821,"plc":0,"text":"00001 00002\r\n"}
//   {"connection":2,"event":"in","hex":"0000000002000A000000640003...","ms":900,"plc":0}
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

enum class EventKind {
    Start,  // of the recording; its bytes are the model
    Opened, // a connection, or the first datagram of a sender
    In,     // one request: a line with its CR, or a remote-area request
    Out,    // bytes of an answer
    Closed, // by the client
    PlcClosed,
    PlcReset,
};

struct RecordedEvent {
    std::uint64_t ms = 0; // since the start of the recording
    EventKind kind = EventKind::Start;
    std::uint32_t plc = 0;
    std::uint32_t connection = 0;
    std::string bytes;
    bool operator==(const RecordedEvent &) const = default;
};

/// One line, without its end. Bytes other than visible ASCII, CR and LF make it "hex"
/// instead of "text".
/// \param time  of Start only: as text
std::string eventToLine(const RecordedEvent &event, const std::string &time = {});

/// \param[out] problem  "line 3: ...", if nothing is returned
std::optional<std::vector<RecordedEvent>> recordingFromText(std::string_view text, std::string &problem);

} // namespace kvsim
