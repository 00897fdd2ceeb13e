// SPDX-License-Identifier: MIT
// What came and went: --trace shows it on stderr, each line in (>) and out (<) with time and
// connection; --record writes it to a file.
#pragma once

#include "faults/delivery.h"
#include "requests/remote_request.h"
#include "shell/recorder.h"
#include "text/line_splitter.h"

#include <string>

namespace kvsim
{

class Trace
{
public:
    explicit Trace(bool shown) : m_shown(shown) {}

    /// \param plc  the number of this PLC in the recording
    void recordTo(Recorder &recorder, std::uint32_t plc);

    void opened(int connection, const std::string &text) const;
    void lineIn(int connection, const Line &line) const;
    void requestIn(int connection, const RemoteRequest &request) const;
    void bytesOut(int connection, const std::string &bytes) const;
    /// The PLC ends the connection.
    void ending(int connection, Ending ending, const std::string &text) const;
    void closed(int connection) const;
    void note(int connection, const std::string &text) const;

private:
    void record(int connection, EventKind kind, const std::string &bytes = {}) const;

    bool m_shown;
    Recorder *m_recorder = nullptr;
    std::uint32_t m_plc = 0;
};

} // namespace kvsim
