// SPDX-License-Identifier: MIT
// Binary remote-area requests, taken apart.
#include "requests/remote_request.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kvsim
{
namespace
{

using Element = RemoteElement;
using Reading = RemoteReading;

// Where the fields of a request begin.
constexpr std::size_t accessAt = 2;
constexpr std::size_t stationAt = 4;
constexpr std::size_t areaAt = 5;
constexpr std::size_t addressAt = 7;
constexpr std::size_t countAt = 11;
constexpr std::size_t headLength = 13;  // up to the count
constexpr std::size_t fixedLength = 21; // up to the values
constexpr std::uint32_t largestElement = 0xFFFFFFFFU;

// Indexed by area code. Reads of relays count in channels, writes in single relays. Contacts of
// timers come with the triples of T and C (6, 7) or of 21 and 22, so 8, 9 and 17 to 20 cannot be
// read. What a read of bits of words (32 on) would return is open, so they cannot be read either.
// clang-format off
constexpr std::array<RemoteArea, 40> areas{{
    { "R",   Element::Bit,       Reading::Channels, true  }, { "B",   Element::Bit,       Reading::Channels, true  },
    { "MR",  Element::Bit,       Reading::Channels, true  }, { "LR",  Element::Bit,       Reading::Channels, true  },
    { "CR",  Element::Bit,       Reading::Channels, true  }, { "VB",  Element::Bit,       Reading::Channels, true  },
    { "T",   Element::Contact,   Reading::Values,   true  }, { "C",   Element::Contact,   Reading::Values,   true  },
    { "CTH", Element::Contact,   Reading::None,     false }, { "CTC", Element::Contact,   Reading::None,     true  },
    { "DM",  Element::Word,      Reading::Values,   true  }, { "EM",  Element::Word,      Reading::Values,   true  },
    { "FM",  Element::Word,      Reading::Values,   true  }, { "ZF",  Element::Word,      Reading::Values,   true  },
    { "W",   Element::Word,      Reading::Values,   true  }, { "TM",  Element::Word,      Reading::Values,   true  },
    { "Z",   Element::DWord,     Reading::Values,   true  }, { "T",   Element::DWord,     Reading::None,     true  },
    { "TS",  Element::DWord,     Reading::None,     true  }, { "C",   Element::DWord,     Reading::None,     true  },
    { "CS",  Element::DWord,     Reading::None,     true  }, { "CTH", Element::DWord,     Reading::Values,   true  },
    { "CTC", Element::DWord,     Reading::Values,   true  }, { "AT",  Element::DWord,     Reading::Values,   true  },
    { "CM",  Element::Word,      Reading::Values,   true  }, { "VM",  Element::Word,      Reading::Values,   true  },
    { "R",   Element::Word,      Reading::Channels, true  }, { "B",   Element::Word,      Reading::Channels, true  },
    { "MR",  Element::Word,      Reading::Channels, true  }, { "LR",  Element::Word,      Reading::Channels, true  },
    { "CR",  Element::Word,      Reading::Channels, true  }, { "VB",  Element::Word,      Reading::Channels, true  },
    { "DM",  Element::BitOfWord, Reading::None,     true  }, { "EM",  Element::BitOfWord, Reading::None,     true  },
    { "FM",  Element::BitOfWord, Reading::None,     true  }, { "ZF",  Element::BitOfWord, Reading::None,     true  },
    { "W",   Element::BitOfWord, Reading::None,     true  }, { "TM",  Element::BitOfWord, Reading::None,     true  },
    { "CM",  Element::BitOfWord, Reading::None,     true  }, { "VM",  Element::BitOfWord, Reading::None,     true  },
}};
// clang-format on

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

bool sumIsRight(std::string_view bytes)
{
    unsigned sum = 0;
    for (const char byte : bytes.substr(0, bytes.size() - 1))
        sum += static_cast<unsigned char>(byte);
    return (sum & 0xFFU) == static_cast<unsigned char>(bytes.back());
}

RemoteRequest unpacked(std::string bytes)
{
    RemoteRequest request;
    request.write = bytes.size() > fixedLength + 1;
    request.station = std::uint8_t(bytes[stationAt]);
    request.area = std::uint16_t(bigEndian(bytes, areaAt, 2));
    request.address = std::int32_t(bigEndian(bytes, addressAt, 4));
    request.count = std::uint16_t(bigEndian(bytes, countAt, 2));
    request.data = bytes.substr(fixedLength, bytes.size() - fixedLength - 1);
    request.bytes = std::move(bytes);
    return request;
}

// The words that hold consecutive bits.
void setWordsOfBits(std::uint64_t firstBit, std::uint32_t bits, Command &span)
{
    const std::uint64_t firstWord = firstBit / bitsPerWord;
    span.first = std::uint32_t(firstWord);
    span.count = bits == 0 ? 0 : std::uint32_t((firstBit + bits - 1) / bitsPerWord - firstWord + 1);
}

} // namespace

const RemoteArea *remoteArea(std::uint32_t code)
{
    return code < areas.size() ? &areas[code] : nullptr;
}

std::size_t bytesPerElement(RemoteElement element)
{
    switch (element) {
    case Element::DWord:
        return 4;
    case Element::Word:
        return 2;
    default:
        return 1;
    }
}

std::size_t RemoteReader::wanted() const
{
    return m_bytes.size() < headLength ? headLength : m_length;
}

// Called once with the head; false if byte 0 does not agree with area and count.
bool RemoteReader::fits()
{
    const auto first = static_cast<unsigned char>(m_bytes[0]);
    const bool saysWrite = m_bytes[accessAt] == 1;
    const RemoteArea *area = remoteArea(bigEndian(m_bytes, areaAt, 2));
    const std::size_t count = bigEndian(m_bytes, countAt, 2);
    const std::size_t written = fixedLength + 1 + (area ? count * bytesPerElement(area->element) : 0);
    const bool writeFits = area && count > 0 && written % 256 == first;
    if (first == 0 && !(writeFits && saysWrite)) {
        m_length = fixedLength + 1;
        return true;
    }
    m_length = written;
    return writeFits;
}

std::optional<RemoteRequest> RemoteReader::next(std::string_view &input)
{
    while (!input.empty()) {
        if (m_discarding) {
            input = {};
            break;
        }
        const std::size_t take = std::min(input.size(), wanted() - m_bytes.size());
        m_bytes.append(input.substr(0, take));
        input.remove_prefix(take);
        if (m_bytes.size() == headLength && !fits()) {
            m_discarding = true;
            m_broken = refusal::remoteLength;
        } else if (m_bytes.size() > headLength && m_bytes.size() == m_length) {
            if (sumIsRight(m_bytes)) {
                const std::string whole = std::exchange(m_bytes, {});
                return unpacked(whole);
            }
            m_discarding = true;
            m_broken = refusal::remoteChecksum;
        }
    }
    return std::nullopt;
}

std::optional<RemoteRequest> RemoteReader::silence()
{
    if (!waiting())
        return std::nullopt;
    RemoteRequest request;
    request.broken = m_discarding ? m_broken : refusal::remoteLength;
    request.write = !m_bytes.empty() && m_bytes[0] != 0;
    request.station = m_bytes.size() > stationAt ? std::uint8_t(m_bytes[stationAt]) : std::uint8_t{0};
    request.bytes = std::exchange(m_bytes, {});
    m_discarding = false;
    return request;
}

std::optional<Command> spanOf(const RemoteRequest &request)
{
    const RemoteArea *area = remoteArea(request.area);
    if (!area || request.address < 0)
        return std::nullopt;
    const auto address = std::uint32_t(request.address);
    Command span;
    span.device = deviceNamed(area->device);
    span.count = request.count;
    span.first = address;
    span.format =
        area->element == Element::DWord || span.device->kind == Kind::Triple ? Format::D : Format::U;
    const bool isRelay = span.device->kind == Kind::Relay;
    if (area->element == Element::BitOfWord) {
        setWordsOfBits(address, request.count, span);
    } else if (isRelay && (!request.write || area->element == Element::Word)) {
        span.first =
            std::uint32_t(std::min<std::uint64_t>(std::uint64_t{address} * bitsPerChannel, largestElement));
    } else if (isRelay || (area->element == Element::Contact && request.write)) {
        span.format = Format::Bit;
    }
    return span;
}

Asked askedBy(const RemoteRequest &request)
{
    Asked asked{request.write ? remoteWriteWord : remoteReadWord, std::nullopt};
    const auto span = request.broken.empty() ? spanOf(request) : std::nullopt;
    if (span && span->count > 0)
        asked.span = spanOfValues(*span->device, span->first, span->count, span->format);
    return asked;
}

} // namespace kvsim
