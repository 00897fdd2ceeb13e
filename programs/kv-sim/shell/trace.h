// SPDX-License-Identifier: MIT
// --trace: each line in (>) and out (<) with time and connection, on stderr.
#pragma once

#include "requests/remote_request.h"
#include "text/line_splitter.h"

#include <string>

namespace kvsim
{

class Trace
{
public:
    explicit Trace(bool on) : m_on(on) {}

    void lineIn(int connection, const Line &line) const;
    void requestIn(int connection, const RemoteRequest &request) const;
    void bytesOut(int connection, const std::string &bytes) const;
    void note(int connection, const std::string &text) const;

private:
    bool m_on;
};

} // namespace kvsim
