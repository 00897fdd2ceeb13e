// SPDX-License-Identifier: MIT
// Devices set or read by hand.
#include "requests/assignment.h"

#include "text/words.h"

#include <limits>

namespace kvsim
{
namespace
{

Rules withoutLimits(const Rules &rules)
{
    Rules free = rules;
    free.values.upperOnly = false;
    free.unaligned = true;
    free.mostByDevice = {{"", std::numeric_limits<std::uint32_t>::max()}};
    return free;
}

} // namespace

std::optional<Command> locate(std::string_view text, std::uint32_t count, const Rules &rules,
                              std::string &problem)
{
    const Rules free = withoutLimits(rules);
    Command operand = parseOperand(text, free);
    operand.count = count;
    if (!operand.refused.empty())
        problem = inQuotes(text) +
                  " is not a device of this model (expected something like DM100, R1015, W1A.S, T5)";
    else if (!checkSpan(free, operand).empty())
        problem = std::to_string(count) + " value(s) from " + inQuotes(text) +
                  " on do not lie within the device's range";
    else
        return operand;
    return std::nullopt;
}

std::string assign(std::string_view text, const Rules &rules, DeviceMemory &memory)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return inQuotes(text) + " has no '=' (expected DEVICE=VALUE[,VALUE...], like DM100=1,2,3)";
    const auto texts = splitAt(text.substr(equals + 1), ',');
    std::string problem;
    const auto operand = locate(text.substr(0, equals), std::uint32_t(texts.size()), rules, problem);
    if (!operand)
        return problem;
    std::vector<std::uint32_t> values;
    for (const std::string_view value : texts) {
        const auto number = valueFromText(value, operand->format, rules.values);
        if (!number)
            return inQuotes(value) + " is not a value for " + inQuotes(text.substr(0, equals));
        values.push_back(*number);
    }
    const std::uint32_t step = elementsPerValue(*operand->device, operand->format);
    for (std::uint32_t i = 0; i < values.size(); ++i)
        memory.setValue(*operand->device, operand->first + i * step, operand->format, values[i]);
    return {};
}

} // namespace kvsim
