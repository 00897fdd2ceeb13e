// SPDX-License-Identifier: MIT
// The cells of one simulated PLC.
#include "devices/device_memory.h"

namespace kvsim
{
namespace
{

using Words = SparseCells<std::uint16_t>;

bool bitAt(const Words &channels, std::uint32_t element)
{
    return (channels.at(element / bitsPerChannel) >> (element % bitsPerChannel) & 1U) != 0;
}

void setBit(Words &channels, std::uint32_t element, bool on)
{
    const unsigned mask = 1U << (element % bitsPerChannel);
    const unsigned old = channels.at(element / bitsPerChannel);
    channels.set(element / bitsPerChannel, std::uint16_t(on ? old | mask : old & ~mask));
}

std::uint32_t bitsAt(const Words &channels, std::uint32_t element, std::uint32_t count)
{
    std::uint32_t value = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        value |= std::uint32_t(bitAt(channels, element + i)) << i;
    return value;
}

void setBits(Words &channels, std::uint32_t element, std::uint32_t count, std::uint32_t value)
{
    for (std::uint32_t i = 0; i < count; ++i)
        setBit(channels, element + i, (value >> i & 1U) != 0);
}

std::uint32_t wordsAt(const Words &words, std::uint32_t element, Format format)
{
    const std::uint32_t low = words.at(element);
    return is32Bit(format) ? low | std::uint32_t{words.at(std::size_t{element} + 1)} << 16 : low;
}

void setWords(Words &words, std::uint32_t element, Format format, std::uint32_t value)
{
    words.set(element, std::uint16_t(value & 0xFFFFU));
    if (is32Bit(format))
        words.set(std::size_t{element} + 1, std::uint16_t(value >> 16));
}

} // namespace

DeviceMemory::DeviceMemory(Family family) : m_family(family)
{
    clear();
}

void DeviceMemory::clear()
{
    for (const Device &device : devices()) {
        const auto range = rangeOf(device, m_family);
        const std::size_t count = range ? std::size_t{range->last} + 1 : 0;
        Cells &cells = m_cells[rowOf(device)];
        if (device.kind == Kind::Relay)
            cells.words.resize((count + bitsPerChannel - 1) / bitsPerChannel);
        else if (device.kind == Kind::Word)
            cells.words.resize(count);
        else if (device.kind == Kind::DWord)
            cells.dwords.resize(count);
        else if (device.kind == Kind::Triple)
            cells.timers.resize(count);
    }
}

std::uint32_t DeviceMemory::value(const Device &device, std::uint32_t element, Format format) const
{
    const Cells &cells = m_cells[rowOf(holderOf(device))];
    switch (device.kind) {
    case Kind::Relay:
        return bitsAt(cells.words, element, elementsPerValue(device, format));
    case Kind::Word:
        return wordsAt(cells.words, element, format);
    case Kind::DWord:
        return cells.dwords.at(element) & (is32Bit(format) ? 0xFFFFFFFFU : 0xFFFFU);
    case Kind::Triple:
        return format == Format::Bit ? cells.timers.at(element).contact : cells.timers.at(element).current;
    case Kind::SetValue:
        return cells.timers.at(element).set;
    }
    return 0;
}

void DeviceMemory::setValue(const Device &device, std::uint32_t element, Format format, std::uint32_t value)
{
    Cells &cells = m_cells[rowOf(holderOf(device))];
    if (device.kind == Kind::Relay)
        return setBits(cells.words, element, elementsPerValue(device, format), value);
    if (device.kind == Kind::Word)
        return setWords(cells.words, element, format, value);
    if (device.kind == Kind::DWord)
        return cells.dwords.set(element, value);
    TimerCells timer = cells.timers.at(element);
    if (device.kind == Kind::SetValue)
        timer.set = value;
    else if (format == Format::Bit)
        timer.contact = value != 0;
    else
        timer.current = value;
    cells.timers.set(element, timer);
}

TimerCells DeviceMemory::timer(const Device &device, std::uint32_t element) const
{
    return m_cells[rowOf(holderOf(device))].timers.at(element);
}

void DeviceMemory::setTimer(const Device &device, std::uint32_t element, const TimerCells &timer)
{
    m_cells[rowOf(holderOf(device))].timers.set(element, timer);
}

} // namespace kvsim
