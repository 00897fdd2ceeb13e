// The cells of one simulated PLC. Every line of the program works on the same one.
//
// Callers have checked device and range; an access outside does nothing and reads 0, it never goes astray.
#pragma once

#include "device_table.h"

#include <array>
#include <cstdint>
#include <vector>

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

    Family family() const { return family_; }
    bool has(const Device &device) const { return rangeOf(device, family_).has_value(); }

    /// One value at an element: a bit, 16 or 32 bits, a timer's current value, or TS/CS. For 32 bits of words
    /// and relays the lower element is the low half.
    std::uint32_t value(const Device &device, std::uint32_t element, Format format) const;
    void setValue(const Device &device, std::uint32_t element, Format format, std::uint32_t value);

    const TimerCells &timer(const Device &device, std::uint32_t element) const;
    TimerCells &timer(const Device &device, std::uint32_t element);

    void clear();
    bool operator==(const DeviceMemory &) const = default;

private:
    struct Cells {
        std::vector<std::uint16_t> words; // relays: one channel each, bit 00 lowest
        std::vector<std::uint32_t> dwords;
        std::vector<TimerCells> timers;
        bool operator==(const Cells &) const = default;
    };

    bool bit(const Cells &cells, std::uint32_t element) const;
    void setBit(Cells &cells, std::uint32_t element, bool on);
    std::uint32_t bits(const Cells &cells, std::uint32_t element, std::uint32_t count) const;
    void setBits(Cells &cells, std::uint32_t element, std::uint32_t count, std::uint32_t value);
    std::uint32_t words(const Cells &cells, std::uint32_t element, Format format) const;
    void setWords(Cells &cells, std::uint32_t element, Format format, std::uint32_t value);

    Family family_;
    std::array<Cells, deviceCount> cells_;
};

} // namespace kvsim
