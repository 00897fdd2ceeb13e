// SPDX-License-Identifier: MIT
// Counts of what the simulator has done.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace kvsim
{

class Statistics
{
public:
    void countCommand(std::string_view word);
    void countAnswer(const std::string &answer);
    void countConnection() { ++m_connections; }
    void countIn(std::size_t bytes) { m_bytesIn += bytes; }
    void countOut(std::size_t bytes) { m_bytesOut += bytes; }
    void reset() { *this = Statistics{}; }

    /// One line: "commands=3 RDS=2 other=1 errors=1 E1=1 faults=1 silent=1
    /// bytes_in=50 bytes_out=40 connections=1".
    std::string text(const std::map<std::string, std::uint64_t> &faultsDone) const;

private:
    std::map<std::string, std::uint64_t> m_commands;
    std::map<std::string, std::uint64_t> m_errors;
    std::uint64_t m_connections = 0;
    std::uint64_t m_bytesIn = 0;
    std::uint64_t m_bytesOut = 0;
};

} // namespace kvsim
