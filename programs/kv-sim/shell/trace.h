// --trace: each line in (>) and out (<) with time and connection, on stderr.
#pragma once

#include "line_splitter.h"
#include "remote_area.h"

#include <string>

class Trace
{
public:
    explicit Trace(bool on) : on_(on) {}

    void lineIn(int connection, const kvsim::Line &line) const;
    void requestIn(int connection, const kvsim::RemoteRequest &request) const;
    void bytesOut(int connection, const std::string &bytes) const;
    void note(int connection, const std::string &text) const;

private:
    bool on_;
};
