// SPDX-License-Identifier: MIT
// The small fixed program of the simulated PLC, one call a scan. It counts scans, not time, so its
// values are exactly predictable; docs/kv-sim.md lists what moves.
#pragma once

#include "devices/device_memory.h"

namespace kvsim
{

class FixedProgram
{
public:
    void scan(DeviceMemory &memory);

private:
    void moveWords(DeviceMemory &memory) const;
    void moveDoubleWords(DeviceMemory &memory) const;
    void moveRelays(DeviceMemory &memory) const;
    void runTimers(DeviceMemory &memory);
    void runCounters(DeviceMemory &memory);

    std::uint32_t m_scans = 0;
    std::uint32_t m_heldScans = 0; // for how long the contact of T0 has been on
};

} // namespace kvsim
