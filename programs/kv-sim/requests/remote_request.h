// SPDX-License-Identifier: MIT
// Binary remote-area requests, taken apart.
//
//   0      0 in a read; in a write the length of the whole request modulo 256
//   1..4   owner type, access (1: write), link, station
//   5..20  area (2 bytes), address (4), count (2), two marks (4 each), most significant byte first
//   21..   write only: the values, count elements of the area, lowest byte first
//   last   low byte of the sum of all bytes before it
//
// Byte 0 cannot hold a length beyond 255, so the length follows from area and count, whose places
// are fixed, and byte 0 must agree with it. A request that begins with 0 is a read, unless area and
// count make it a write of a multiple of 256 bytes and its access byte says write. After a wrong
// length or checksum the start of the next request is unknown: everything up to a silence is
// discarded, and then the error answer is given once.
#pragma once

#include "requests/command.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

enum class RemoteElement { Bit, Contact, Word, DWord, BitOfWord };
enum class RemoteReading { None, Channels, Values };

struct RemoteArea {
    const char *device;
    RemoteElement element; // of a write
    RemoteReading reading;
    bool writable;
};

constexpr std::uint32_t bitsPerWord = 16;

/// nullptr if there is no area of this code.
const RemoteArea *remoteArea(std::uint32_t code);

/// In the values of a write.
std::size_t bytesPerElement(RemoteElement element);

struct RemoteRequest {
    Refusal broken; // wrong length or checksum; the fields below may be nonsense then
    bool write = false;
    std::uint8_t station = 0;
    std::uint16_t area = 0;
    std::int32_t address = 0;
    std::uint16_t count = 0;
    std::string data;
    std::string bytes; // the request as it came, for the trace; empty if it was discarded
};

class RemoteReader
{
public:
    /// Takes bytes from the front of the input up to the end of a request.
    std::optional<RemoteRequest> next(std::string_view &input);

    /// The line has been silent: an unfinished or broken request ends here.
    std::optional<RemoteRequest> silence();

    /// Something has begun that only its end or a silence finishes.
    bool waiting() const { return m_discarding || !m_bytes.empty(); }

private:
    bool fits();
    std::size_t wanted() const;

    std::string m_bytes;
    std::size_t m_length = 0; // of the whole request, known once its head has come
    bool m_discarding = false;
    Refusal m_broken;
};

/// First element, count and format in terms of the device; nothing if the area is unknown or the
/// address negative. Bits of words give the words that hold them.
std::optional<Command> spanOf(const RemoteRequest &request);

Asked askedBy(const RemoteRequest &request);

} // namespace kvsim
