#include "remote_area.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kvsim
{
namespace
{

enum class Element { Bit, Contact, Word, DWord, BitOfWord };
enum class Reading { None, Channels, Values };

struct AreaRow {
    const char *device;
    Element element; // of a write: 1, 1, 2, 4, 1 bytes
    Reading reading;
    bool writable;
};

constexpr std::size_t headLength = 13; // up to the count
constexpr std::size_t fixedLength = 21;

// Indexed by area code. Reads of relays count in channels, writes in single relays. Contacts of timers come
// with the triples of T and C (6, 7) or of 21 and 22, so 8, 9 and 17 to 20 cannot be read; what bits of words
// (32 on) would be read as is open, so they cannot either.
// clang-format off
constexpr std::array<AreaRow, 40> areas{{
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

const AreaRow *areaRow(std::uint32_t code)
{
    return code < areas.size() ? &areas[code] : nullptr;
}

std::size_t bytesPerElement(Element element)
{
    return element == Element::DWord ? 4 : element == Element::Word ? 2 : 1;
}

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
    return value;
}

bool sumIsRight(std::string_view bytes)
{
    unsigned sum = 0;
    for (const char byte : bytes.substr(0, bytes.size() - 1))
        sum += static_cast<unsigned char>(byte);
    return (sum & 0xFFU) == static_cast<unsigned char>(bytes.back());
}

RemoteRequest unpacked(const std::string &bytes)
{
    RemoteRequest request;
    request.write = bytes.size() > fixedLength + 1;
    request.station = static_cast<std::uint8_t>(bytes[4]);
    request.area = static_cast<std::uint16_t>(bigEndian(bytes, 5, 2));
    request.address = static_cast<std::int32_t>(bigEndian(bytes, 7, 4));
    request.count = static_cast<std::uint16_t>(bigEndian(bytes, 11, 2));
    request.data = bytes.substr(fixedLength, bytes.size() - fixedLength - 1);
    request.bytes = bytes;
    return request;
}

// First element and format of a request in terms of the device; false if it has none.
bool spanOf(const RemoteRequest &request, Command &span)
{
    const AreaRow *row = areaRow(request.area);
    if (!row || request.address < 0)
        return false;
    const auto address = static_cast<std::uint64_t>(request.address);
    const bool channels = !request.write || row->element == Element::Word;
    span.device = deviceNamed(row->device);
    span.count = request.count;
    span.format = row->element == Element::DWord || span.device->kind == Kind::Triple ? Format::D : Format::U;
    if (row->element == Element::Contact && request.write)
        span.format = Format::Bit;
    std::uint64_t first = address;
    if (row->element == Element::BitOfWord) {
        first = address / 16;
        span.count = request.count == 0
                         ? 0
                         : static_cast<std::uint32_t>((address + request.count - 1U) / 16 - first + 1);
    } else if (span.device->kind == Kind::Relay && channels) {
        first = address * 16;
    } else if (span.device->kind == Kind::Relay) {
        span.format = Format::Bit;
    }
    span.first = static_cast<std::uint32_t>(first < 0xFFFFFFFFU ? first : 0xFFFFFFFFU);
    return true;
}

// Bits of words are written one after the other, each into its word.
std::string writeBitsOfWords(Plc &plc, const RemoteRequest &request, const Command &span)
{
    const auto firstBit = static_cast<std::uint32_t>(request.address);
    for (std::uint32_t i = 0; i < request.count; ++i) {
        const std::uint32_t at = (firstBit + i) / 16;
        const std::uint32_t mask = 1U << ((firstBit + i) % 16);
        const std::uint32_t old = plc.memory().value(*span.device, at, Format::U);
        plc.memory().setValue(*span.device, at, Format::U, request.data[i] != 0 ? old | mask : old & ~mask);
    }
    return std::string(answer::ok);
}

std::string writeRemote(Plc &plc, const RemoteRequest &request, const AreaRow &row, const Command &span)
{
    if (!row.writable)
        return std::string(refusal::remoteAccess);
    if (const Refusal refused = checkSpan(plc.rules(), span); !refused.empty())
        return std::string(refused);
    if (row.element == Element::BitOfWord)
        return writeBitsOfWords(plc, request, span);
    const std::size_t size = bytesPerElement(row.element);
    std::vector<std::uint32_t> values;
    for (std::size_t i = 0; i < request.count; ++i)
        values.push_back(littleEndian(request.data, i * size, size));
    return plc.write(span, values);
}

std::string readRemote(const Plc &plc, const AreaRow &row, const Command &span)
{
    if (row.reading == Reading::None)
        return std::string(refusal::remoteAccess);
    const Refusal refused = checkSpan(plc.rules(), span);
    return refused.empty() ? plc.read(span) : std::string(refused);
}

} // namespace

std::size_t RemoteReader::wanted() const
{
    return bytes_.size() < headLength ? headLength : length_;
}

// Called once with the head; false if byte 0 does not agree with area and count.
bool RemoteReader::fits()
{
    const auto first = static_cast<unsigned char>(bytes_[0]);
    const bool saysWrite = bytes_[2] == 1;
    const AreaRow *row = areaRow(bigEndian(bytes_, 5, 2));
    const std::size_t count = bigEndian(bytes_, 11, 2);
    const std::size_t written = fixedLength + 1 + (row ? count * bytesPerElement(row->element) : 0);
    const bool writeFits = row && count > 0 && written % 256 == first;
    if (first == 0 && !(writeFits && saysWrite)) {
        length_ = fixedLength + 1;
        return true;
    }
    length_ = written;
    return writeFits;
}

std::optional<RemoteRequest> RemoteReader::next(std::string_view &input)
{
    while (!input.empty()) {
        if (throwingAway_) {
            input = {};
            break;
        }
        const std::size_t take = std::min(input.size(), wanted() - bytes_.size());
        bytes_.append(input.substr(0, take));
        input.remove_prefix(take);
        if (bytes_.size() == headLength && !fits()) {
            throwingAway_ = true;
            trouble_ = refusal::remoteLength;
        } else if (bytes_.size() > headLength && bytes_.size() == length_) {
            if (sumIsRight(bytes_)) {
                const std::string whole = std::exchange(bytes_, {});
                return unpacked(whole);
            }
            throwingAway_ = true;
            trouble_ = refusal::remoteChecksum;
        }
    }
    return std::nullopt;
}

std::optional<RemoteRequest> RemoteReader::silence()
{
    if (!waiting())
        return std::nullopt;
    RemoteRequest request;
    request.trouble = throwingAway_ ? trouble_ : refusal::remoteLength;
    request.write = !bytes_.empty() && bytes_[0] != 0;
    request.station = bytes_.size() > 4 ? static_cast<std::uint8_t>(bytes_[4]) : std::uint8_t{0};
    request.bytes = std::exchange(bytes_, {});
    throwingAway_ = false;
    return request;
}

Asked remoteAsked(const RemoteRequest &request)
{
    Asked asked{request.write ? remoteWriteWord : remoteReadWord, std::nullopt};
    Command span;
    if (!request.trouble.empty() || !spanOf(request, span) || span.count == 0)
        return asked;
    const std::uint64_t elements = std::uint64_t{span.count} * elementsPerValue(*span.device, span.format);
    const std::uint64_t last = std::min<std::uint64_t>(span.first + elements - 1, 0xFFFFFFFFU);
    asked.span = DeviceSpan{span.device, span.first, static_cast<std::uint32_t>(last)};
    return asked;
}

std::string answerRemote(Plc &plc, const RemoteRequest &request)
{
    Command span;
    if (!request.trouble.empty())
        return std::string(request.trouble);
    if (!spanOf(request, span))
        return std::string(refusal::remoteArea);
    const AreaRow &row = areas[request.area];
    return request.write ? writeRemote(plc, request, row, span) : readRemote(plc, row, span);
}

} // namespace kvsim
