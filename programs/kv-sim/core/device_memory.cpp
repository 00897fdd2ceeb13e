#include "device_memory.h"

namespace kvsim
{
namespace
{

template <typename Cell>
Cell cellAt(const std::vector<Cell> &cells, std::size_t at)
{
    return at < cells.size() ? cells[at] : Cell{};
}

template <typename Cell>
void setCellAt(std::vector<Cell> &cells, std::size_t at, Cell value)
{
    if (at < cells.size())
        cells[at] = value;
}

} // namespace

DeviceMemory::DeviceMemory(Family family) : family_(family)
{
    clear();
}

void DeviceMemory::clear()
{
    for (const Device &device : devices()) {
        const auto range = rangeOf(device, family_);
        const std::size_t count = range ? std::size_t{range->last} + 1 : 0;
        Cells &cells = cells_[rowOf(device)];
        if (device.kind == Kind::Relay)
            cells.words.assign((count + 15) / 16, 0);
        else if (device.kind == Kind::Word)
            cells.words.assign(count, 0);
        else if (device.kind == Kind::DWord)
            cells.dwords.assign(count, 0);
        else if (device.kind == Kind::Triple)
            cells.timers.assign(count, TimerCells{});
    }
}

bool DeviceMemory::bit(const Cells &cells, std::uint32_t element) const
{
    return (cellAt(cells.words, element / 16) >> (element % 16) & 1U) != 0;
}

void DeviceMemory::setBit(Cells &cells, std::uint32_t element, bool on)
{
    const unsigned mask = 1U << (element % 16);
    const unsigned old = cellAt(cells.words, element / 16);
    setCellAt(cells.words, element / 16, static_cast<std::uint16_t>(on ? old | mask : old & ~mask));
}

std::uint32_t DeviceMemory::bits(const Cells &cells, std::uint32_t element, std::uint32_t count) const
{
    std::uint32_t value = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        value |= static_cast<std::uint32_t>(bit(cells, element + i)) << i;
    return value;
}

void DeviceMemory::setBits(Cells &cells, std::uint32_t element, std::uint32_t count, std::uint32_t value)
{
    for (std::uint32_t i = 0; i < count; ++i)
        setBit(cells, element + i, (value >> i & 1U) != 0);
}

std::uint32_t DeviceMemory::words(const Cells &cells, std::uint32_t element, Format format) const
{
    const std::uint32_t low = cellAt(cells.words, element);
    return is32Bit(format) ? low | std::uint32_t{cellAt(cells.words, std::size_t{element} + 1)} << 16 : low;
}

void DeviceMemory::setWords(Cells &cells, std::uint32_t element, Format format, std::uint32_t value)
{
    setCellAt(cells.words, element, static_cast<std::uint16_t>(value & 0xFFFFU));
    if (is32Bit(format))
        setCellAt(cells.words, std::size_t{element} + 1, static_cast<std::uint16_t>(value >> 16));
}

std::uint32_t DeviceMemory::value(const Device &device, std::uint32_t element, Format format) const
{
    const Cells &cells = cells_[rowOf(holderOf(device))];
    switch (device.kind) {
    case Kind::Relay:
        return bits(cells, element, elementsPerValue(device, format));
    case Kind::Word:
        return words(cells, element, format);
    case Kind::DWord:
        return cellAt(cells.dwords, element) & (is32Bit(format) ? 0xFFFFFFFFU : 0xFFFFU);
    case Kind::Triple:
        return format == Format::Bit ? timer(device, element).contact : timer(device, element).current;
    case Kind::SetValue:
        return timer(device, element).set;
    }
    return 0;
}

void DeviceMemory::setValue(const Device &device, std::uint32_t element, Format format, std::uint32_t value)
{
    Cells &cells = cells_[rowOf(holderOf(device))];
    switch (device.kind) {
    case Kind::Relay:
        return setBits(cells, element, elementsPerValue(device, format), value);
    case Kind::Word:
        return setWords(cells, element, format, value);
    case Kind::DWord:
        return setCellAt(cells.dwords, element, value);
    case Kind::Triple:
        if (format == Format::Bit)
            timer(device, element).contact = value != 0;
        else
            timer(device, element).current = value;
        return;
    case Kind::SetValue:
        timer(device, element).set = value;
        return;
    }
}

const TimerCells &DeviceMemory::timer(const Device &device, std::uint32_t element) const
{
    static const TimerCells nothing{};
    const auto &timers = cells_[rowOf(holderOf(device))].timers;
    return element < timers.size() ? timers[element] : nothing;
}

TimerCells &DeviceMemory::timer(const Device &device, std::uint32_t element)
{
    static TimerCells thrownAway;
    auto &timers = cells_[rowOf(holderOf(device))].timers;
    return element < timers.size() ? timers[element] : thrownAway = TimerCells{};
}

} // namespace kvsim
