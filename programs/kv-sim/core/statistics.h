// Account of what the simulator has done.
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
    void countConnection() { ++connections_; }
    void countIn(std::size_t bytes) { bytesIn_ += bytes; }
    void countOut(std::size_t bytes) { bytesOut_ += bytes; }
    void reset() { *this = Statistics{}; }

    /// One line: "commands=3 RDS=2 other=1 errors=1 E1=1 faults=1 silent=1 bytes_in=50 bytes_out=40
    /// connections=1".
    std::string text(const std::map<std::string, std::uint64_t> &faultsDone) const;

private:
    std::map<std::string, std::uint64_t> commands_;
    std::map<std::string, std::uint64_t> errors_;
    std::uint64_t connections_ = 0;
    std::uint64_t bytesIn_ = 0;
    std::uint64_t bytesOut_ = 0;
};

} // namespace kvsim
