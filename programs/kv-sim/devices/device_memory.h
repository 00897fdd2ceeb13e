// SPDX-License-Identifier: MIT
// The cells of one simulated PLC. All lines of the PLC work on the same memory.
//
// Only what was ever set takes memory. Callers have checked device and range; an access outside
// does nothing and reads 0.
#pragma once

#include "devices/device_table.h"
#include "devices/sparse_cells.h"

#include <array>
#include <cstdint>

namespace kvsim
{

struct TimerCells {
    bool contact = false;
    std::uint32_t current = 0;
    std::uint32_t set = 0;
    bool operator==(const TimerCells &) const = default;
};

class DeviceMemory
{
public:
    explicit DeviceMemory(Family family);

    Family family() const { return m_family; }

    /// One value at an element: a bit, 16 or 32 bits, a timer's current value (its contact as a
    /// bit), or TS/CS. In 32 bits of words and relays the lower element is the low half.
    std::uint32_t value(const Device &device, std::uint32_t element, Format format) const;
    void setValue(const Device &device, std::uint32_t element, Format format, std::uint32_t value);

    TimerCells timer(const Device &device, std::uint32_t element) const;
    void setTimer(const Device &device, std::uint32_t element, const TimerCells &timer);

    void clear();
    bool operator==(const DeviceMemory &) const = default;

private:
    struct Cells {
        SparseCells<std::uint16_t> words; // relays: one channel each, bit 00 lowest
        SparseCells<std::uint32_t> dwords;
        SparseCells<TimerCells> timers;
        bool operator==(const Cells &) const = default;
    };

    Family m_family;
    std::array<Cells, deviceCount> m_cells;
};

} // namespace kvsim
