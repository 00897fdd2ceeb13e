// Binary remote-area requests: the stream into requests, and requests carried out on the memory of the PLC.
//
//   0      0 in a read; in a write the length of the whole request modulo 256
//   1..4   owner type, access (1: write), link, station
//   5..20  area (2 bytes), address (4), count (2), two marks (4 each), most significant byte first
//   21..   write only: the values, count elements of the area, lowest byte first
//   last   low byte of the sum of all bytes before it
//
// Byte 0 cannot tell a length beyond 255, so the length is taken from area and count, which stand at fixed
// places, and byte 0 must agree with it. A request that begins with 0 is a read, unless area and count make
// it a write of a multiple of 256 bytes and its access byte says write. After a wrong length or checksum
// nobody knows where the next request begins: everything up to a silence is thrown away, and then the error
// answer is given once.
#pragma once

#include "fault_plan.h"
#include "plc.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

constexpr std::string_view remoteReadWord = "remote-read";
constexpr std::string_view remoteWriteWord = "remote-write";

struct RemoteRequest {
    Refusal trouble; // wrong length or checksum; the fields below may be nonsense then
    bool write = false;
    std::uint8_t station = 0;
    std::uint16_t area = 0;
    std::int32_t address = 0;
    std::uint16_t count = 0;
    std::string data;
    std::string bytes; // the request as it came, for the trace; empty when thrown away
};

class RemoteReader
{
public:
    /// Takes bytes from the front of the input up to the end of a request.
    std::optional<RemoteRequest> next(std::string_view &input);

    /// The line has been silent: an unfinished or broken request ends here.
    std::optional<RemoteRequest> silence();

    /// Something has begun that only its end or a silence finishes.
    bool waiting() const { return throwingAway_ || !bytes_.empty(); }

private:
    bool fits();
    std::size_t wanted() const;

    std::string bytes_;
    std::size_t length_ = 0; // of the whole request, known once its head is there
    bool throwingAway_ = false;
    Refusal trouble_;
};

/// What the request asks for, for filters; without a span if the area is none of this PLC's.
Asked remoteAsked(const RemoteRequest &request);

/// The answer without CR LF; empty when none is expected (a write to station 0).
std::string answerRemote(Plc &plc, const RemoteRequest &request);

} // namespace kvsim
