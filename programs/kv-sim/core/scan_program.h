// The small fixed program of the simulated PLC, one call a scan. It counts scans, not time, so what it does
// can be told exactly: docs/kv-sim.md has the list of what moves.
#pragma once

#include "device_memory.h"

namespace kvsim
{

class ScanProgram
{
public:
    void scan(DeviceMemory &memory);

private:
    void moveWords(DeviceMemory &memory) const;
    void moveDoubleWords(DeviceMemory &memory) const;
    void moveRelays(DeviceMemory &memory) const;
    void runTimers(DeviceMemory &memory);
    void runCounters(DeviceMemory &memory);

    std::uint32_t scans_ = 0;
    std::uint32_t heldScans_ = 0; // how long the contact of T0 has been on
};

} // namespace kvsim
