// SPDX-License-Identifier: MIT
// A program that reacts: rows that run one after the other in each scan, as a ladder program does.
// A later row sees what an earlier one has just changed.
//
// Nothing rises, falls or changes in the first scan. A row with a delay waits once its conditions
// hold; when the delay is over, its actions run, whether or not the conditions still hold. It does
// not look at its conditions while it waits.
#pragma once

#include "devices/device_memory.h"
#include "scan/program_row.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kvsim
{

class TableProgram
{
public:
    explicit TableProgram(const std::vector<ProgramRow> &rows);

    void scan(DeviceMemory &memory);

    /// As before the first scan.
    void restart();

private:
    struct RunningRow {
        ProgramRow row;
        std::vector<std::optional<std::int64_t>> previous; // one for each condition
        std::optional<std::uint32_t> scansToGo;
    };

    std::vector<RunningRow> m_rows;
};

} // namespace kvsim
