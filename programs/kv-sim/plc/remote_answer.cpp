// SPDX-License-Identifier: MIT
// Remote-area requests carried out on the memory of a PLC.
#include "plc/remote_answer.h"

namespace kvsim
{
namespace
{

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
    return value;
}

// Bits of words are written one after the other, each into its word.
std::string writeBitsOfWords(Plc &plc, const RemoteRequest &request, const Command &span)
{
    const auto firstBit = std::uint32_t(request.address);
    for (std::uint32_t i = 0; i < request.count; ++i) {
        const std::uint32_t at = (firstBit + i) / bitsPerWord;
        const std::uint32_t mask = 1U << ((firstBit + i) % bitsPerWord);
        const std::uint32_t old = plc.memory().value(*span.device, at, Format::U);
        plc.memory().setValue(*span.device, at, Format::U, request.data[i] != 0 ? old | mask : old & ~mask);
    }
    return std::string(answer::ok);
}

std::string writeRemote(Plc &plc, const RemoteRequest &request, const RemoteArea &area, const Command &span)
{
    if (!area.writable)
        return std::string(refusal::remoteAccess);
    if (plc.isWriteProtected())
        return std::string(refusal::writeProtected);
    if (const Refusal refused = checkSpan(plc.rules(), span); !refused.empty())
        return std::string(refused);
    if (area.element == RemoteElement::BitOfWord)
        return writeBitsOfWords(plc, request, span);
    const std::size_t size = bytesPerElement(area.element);
    std::vector<std::uint32_t> values;
    for (std::size_t i = 0; i < request.count; ++i)
        values.push_back(littleEndian(request.data, i * size, size));
    return plc.write(span, values);
}

std::string readRemote(const Plc &plc, const RemoteArea &area, const Command &span)
{
    if (area.reading == RemoteReading::None)
        return std::string(refusal::remoteAccess);
    const Refusal refused = checkSpan(plc.rules(), span);
    return refused.empty() ? plc.read(span) : std::string(refused);
}

} // namespace

std::string answerRemote(Plc &plc, const RemoteRequest &request)
{
    if (!request.broken.empty())
        return std::string(request.broken);
    const auto span = spanOf(request);
    if (!span)
        return std::string(refusal::remoteArea);
    const RemoteArea &area = *remoteArea(request.area);
    return request.write ? writeRemote(plc, request, area, *span) : readRemote(plc, area, *span);
}

} // namespace kvsim
