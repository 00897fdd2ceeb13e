// SPDX-License-Identifier: MIT
// A program that reacts.
#include "scan/table_program.h"

namespace kvsim
{
namespace
{

std::int64_t numberAt(const DeviceMemory &memory, const Place &place)
{
    const std::uint32_t value = memory.value(*place.device, place.element, place.format);
    if (place.format == Format::S)
        return std::int16_t(std::uint16_t(value));
    if (place.format == Format::L)
        return std::int32_t(value);
    return value;
}

std::int64_t numberOf(const DeviceMemory &memory, const Operand &operand)
{
    return operand.place.device ? numberAt(memory, operand.place) : operand.number;
}

// What does not fit wraps round, as in a PLC's register.
void put(DeviceMemory &memory, const Place &place, std::int64_t number)
{
    const std::uint32_t mask = is32Bit(place.format) ? 0xFFFFFFFFU : 0xFFFFU;
    memory.setValue(*place.device, place.element, place.format, std::uint32_t(number) & mask);
}

bool holds(const Condition &condition, const DeviceMemory &memory, std::optional<std::int64_t> &previous)
{
    if (condition.kind == ConditionKind::Always)
        return true;
    const std::int64_t now = numberAt(memory, condition.place);
    const std::int64_t before = previous.value_or(now);
    const std::int64_t right = numberOf(memory, condition.right);
    previous = now;
    switch (condition.kind) {
    case ConditionKind::Always:
        return true;
    case ConditionKind::On:
        return now != 0;
    case ConditionKind::Off:
        return now == 0;
    case ConditionKind::Rises:
        return before == 0 && now != 0;
    case ConditionKind::Falls:
        return before != 0 && now == 0;
    case ConditionKind::Changes:
        return before != now;
    case ConditionKind::Equal:
        return now == right;
    case ConditionKind::NotEqual:
        return now != right;
    case ConditionKind::Less:
        return now < right;
    case ConditionKind::LessOrEqual:
        return now <= right;
    case ConditionKind::Greater:
        return now > right;
    case ConditionKind::GreaterOrEqual:
        return now >= right;
    }
    return false;
}

void carryOut(const Action &action, DeviceMemory &memory)
{
    const std::int64_t now = numberAt(memory, action.target);
    switch (action.kind) {
    case ActionKind::Set:
        return put(memory, action.target, 1);
    case ActionKind::Reset:
        return put(memory, action.target, 0);
    case ActionKind::Toggle:
        return put(memory, action.target, now == 0 ? 1 : 0);
    case ActionKind::Count:
        return put(memory, action.target, now + 1);
    case ActionKind::Copy:
        return put(memory, action.target, numberOf(memory, action.source));
    case ActionKind::Add:
        return put(memory, action.target, now + numberOf(memory, action.source));
    }
}

} // namespace

TableProgram::TableProgram(const std::vector<ProgramRow> &rows)
{
    for (const ProgramRow &row : rows)
        m_rows.push_back({row, {}, std::nullopt});
    restart();
}

void TableProgram::restart()
{
    for (RunningRow &running : m_rows) {
        running.previous.assign(running.row.conditions.size(), std::nullopt);
        running.scansToGo.reset();
    }
}

void TableProgram::scan(DeviceMemory &memory)
{
    for (RunningRow &running : m_rows) {
        if (!running.scansToGo) {
            bool all = true;
            for (std::size_t i = 0; i < running.previous.size(); ++i) // each sees every scan
                all = holds(running.row.conditions[i], memory, running.previous[i]) && all;
            if (!all)
                continue;
            running.scansToGo = running.row.delayScans;
        }
        if ((*running.scansToGo)-- > 0)
            continue;
        running.scansToGo.reset();
        for (const Action &action : running.row.actions)
            carryOut(action, memory);
    }
}

} // namespace kvsim
