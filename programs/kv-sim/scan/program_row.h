// SPDX-License-Identifier: MIT
// What a row of a program says: when all conditions hold, then all actions, perhaps
// some scans later.
#pragma once

#include "devices/device_table.h"

#include <cstdint>
#include <vector>

namespace kvsim
{

/// A value in the memory: "DM100", "R1000", "DM0.S".
struct Place {
    const Device *device = nullptr;
    std::uint32_t element = 0;
    Format format = Format::Bit;
};

/// A place, or a number where no device is named.
struct Operand {
    Place place;
    std::int64_t number = 0;
};

enum class ConditionKind {
    Always,
    On, // a contact
    Off,
    Rises, // a contact that was off when the row was last looked at
    Falls,
    Changes, // any value
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
};

struct Condition {
    ConditionKind kind = ConditionKind::Always;
    Place place;
    Operand right; // of a comparison
};

enum class ActionKind { Set, Reset, Toggle, Count, Copy, Add };

struct Action {
    ActionKind kind = ActionKind::Set;
    Place target;
    Operand source; // of Copy and Add
};

struct ProgramRow {
    std::vector<Condition> conditions;
    std::vector<Action> actions;
    std::uint32_t delayScans = 0;
};

} // namespace kvsim
