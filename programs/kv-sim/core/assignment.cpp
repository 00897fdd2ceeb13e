#include "assignment.h"

#include "command_parser.h"
#include "value_text.h"

#include <limits>

namespace kvsim
{
namespace
{

Rules withoutLimits(const Rules &rules)
{
    Rules free = rules;
    free.upperOnly = false;
    free.unaligned = true;
    free.mostByDevice = {{"", std::numeric_limits<std::uint32_t>::max()}};
    return free;
}

std::vector<std::string_view> splitAt(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (std::size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

std::string quoted(std::string_view text)
{
    std::string result = "'";
    return result.append(text).append("'");
}

} // namespace

std::string locate(std::string_view text, std::uint32_t count, const Rules &rules, Command &operand)
{
    const Rules free = withoutLimits(rules);
    operand = Command{};
    if (!parseOperand(text, free, operand).empty())
        return quoted(text) + " is no device of this model (wanted something like DM100, R1015, W1A.S, T5)";
    operand.count = count;
    if (!checkSpan(free, operand).empty())
        return std::to_string(count) + " value(s) from " + quoted(text) +
               " on do not lie within the device's range";
    return {};
}

std::string assign(std::string_view text, const Rules &rules, DeviceMemory &memory)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return quoted(text) + " has no '=' (wanted DEVICE=VALUE[,VALUE...], like DM100=1,2,3)";
    const auto texts = splitAt(text.substr(equals + 1), ',');
    Command operand;
    std::string wrong =
        locate(text.substr(0, equals), static_cast<std::uint32_t>(texts.size()), rules, operand);
    if (!wrong.empty())
        return wrong;
    std::vector<std::uint32_t> values;
    for (const std::string_view value : texts)
        if (!valueFromText(value, operand.format, rules, values.emplace_back()))
            return quoted(value) + " is no value for " + quoted(text.substr(0, equals));
    const std::uint32_t step = elementsPerValue(*operand.device, operand.format);
    for (std::size_t i = 0; i < values.size(); ++i)
        memory.setValue(*operand.device, operand.first + static_cast<std::uint32_t>(i) * step, operand.format,
                        values[i]);
    return {};
}

} // namespace kvsim
