// SPDX-License-Identifier: MIT
// One command line taken apart.
#include "requests/command.h"

#include "text/digits.h"
#include "text/words.h"

#include <algorithm>

namespace kvsim
{
namespace
{

using Fields = std::vector<std::string_view>;

bool anyEmpty(const Fields &fields)
{
    return std::any_of(fields.begin(), fields.end(), [](std::string_view field) { return field.empty(); });
}

// Station numbers on a line with several PLCs: 00 to 09 and 15.
bool isStation(std::string_view text)
{
    return text == "15" || (text.size() == 2 && text[0] == '0' && text[1] >= '0' && text[1] <= '9');
}

Refusal readOpening(const Fields &fields, Command &command)
{
    if (fields.size() == 1)
        return refusal::none;
    command.station = fields[1];
    return isStation(command.station) ? refusal::none : refusal::wrongForm;
}

bool isTwoDigits(std::string_view text, std::uint32_t least, std::uint32_t most)
{
    return text.size() == 2 && numberWithin(text, least, most);
}

Refusal checkClock(const Fields &fields)
{
    const bool date =
        isTwoDigits(fields[1], 0, 99) && isTwoDigits(fields[2], 1, 12) && isTwoDigits(fields[3], 1, 31);
    const bool time =
        isTwoDigits(fields[4], 0, 23) && isTwoDigits(fields[5], 0, 59) && isTwoDigits(fields[6], 0, 59);
    const bool weekday = fields[7].size() == 1 && fields[7][0] >= '0' && fields[7][0] <= '6';
    return date && time && weekday ? refusal::none : refusal::wrongClock;
}

bool suffixAllowed(const Device &device, Format format)
{
    switch (device.kind) {
    case Kind::Relay:
        return true;
    case Kind::Word:
        return format != Format::Bit;
    case Kind::DWord:
        return format != Format::Bit && (is32Bit(format) || device.standard == Format::U);
    case Kind::Triple:
    case Kind::SetValue:
        return format == Format::D;
    }
    return false;
}

bool isAligned(const Device &device, std::uint32_t element, Format format)
{
    return device.kind != Kind::Relay || format == Format::Bit || element % bitsPerChannel == 0;
}

Refusal readNumber(std::string_view text, const Rules &rules, Command &command)
{
    const auto [error, element] = elementFromText(command.device->notation, text, rules.values.upperOnly);
    command.first = element;
    if (error == NumberError::Form)
        return refusal::wrongNumber;
    return error == NumberError::BitDigits ? refusal::wrongBitDigits : refusal::none;
}

Refusal readSuffix(std::string_view suffix, const Rules &rules, Command &command)
{
    command.format = command.device->standard;
    if (!suffix.empty()) {
        const auto format = suffix.size() == 2 ? formatFromLetter(suffix[1]) : std::nullopt;
        if (!format)
            return refusal::wrongSuffix;
        command.format = *format;
    }
    if (!suffixAllowed(*command.device, command.format))
        return refusal::wrongSuffix;
    if (!rules.unaligned && !isAligned(*command.device, command.first, command.format))
        return refusal::unaligned;
    return refusal::none;
}

Refusal readOperand(std::string_view text, const Rules &rules, Command &command)
{
    command.device = deviceAtStartOf(text);
    if (!command.device)
        return refusal::unknownDevice;
    if (!rangeOf(*command.device, rules.family))
        return refusal::missingDevice;
    text.remove_prefix(std::string_view(command.device->name).size());
    const std::size_t dot = std::min(text.find('.'), text.size());
    const Refusal refused = readNumber(text.substr(0, dot), rules, command);
    return refused.empty() ? readSuffix(text.substr(dot), rules, command) : refused;
}

// ST and RS name one contact, without a suffix; STS and RSS take relays only.
Refusal checkRelayOperand(std::string_view operand, Command &command)
{
    const bool many = command.verb == Verb::SetRelays || command.verb == Verb::ResetRelays;
    const bool relay = command.device->kind == Kind::Relay || (command.device->contactBySt && !many);
    if (!relay || operand.find('.') != std::string_view::npos)
        return refusal::wrongSuffix;
    command.format = Format::Bit;
    return refusal::none;
}

bool namesRelays(Verb verb)
{
    return verb == Verb::SetRelay || verb == Verb::ResetRelay || verb == Verb::SetRelays ||
           verb == Verb::ResetRelays;
}

bool hasCount(Verb verb)
{
    return verb == Verb::ReadMany || verb == Verb::WriteMany || verb == Verb::SetRelays ||
           verb == Verb::ResetRelays;
}

bool hasOperand(Verb verb)
{
    return verb == Verb::ReadOne || verb == Verb::WriteOne || hasCount(verb) || namesRelays(verb);
}

Refusal readDeviceCommand(const Fields &fields, const Rules &rules, Command &command)
{
    const auto count = hasCount(command.verb) ? decimal(fields[2]) : std::optional<std::uint32_t>(1);
    if (!count)
        return refusal::wrongForm;
    if (const Refusal refused = readOperand(fields[1], rules, command); !refused.empty())
        return refused;
    if (namesRelays(command.verb))
        if (const Refusal refused = checkRelayOperand(fields[1], command); !refused.empty())
            return refused;
    command.count = *count;
    if (command.verb == Verb::WriteOne || command.verb == Verb::WriteMany) {
        command.values.assign(fields.begin() + (hasCount(command.verb) ? 3 : 2), fields.end());
        if (command.values.size() != command.count)
            return refusal::wrongCount;
    }
    return checkSpan(rules, command);
}

Refusal readFields(const Fields &fields, const Rules &rules, Command &command)
{
    const VerbRow *row = verbRow(command.word);
    if (!row)
        return refusal::unknownCommand;
    command.verb = row->verb;
    if (anyEmpty(fields) || fields.size() - 1 < row->least || fields.size() - 1 > row->most)
        return refusal::wrongForm;
    if (row->verb == Verb::OpenLink)
        return readOpening(fields, command);
    if (row->verb == Verb::SetClock)
        return checkClock(fields);
    return hasOperand(row->verb) ? readDeviceCommand(fields, rules, command) : refusal::none;
}

} // namespace

Command parseOperand(std::string_view text, const Rules &rules)
{
    Command command;
    command.count = 1;
    command.refused = readOperand(text, rules, command);
    return command;
}

Refusal checkSpan(const Rules &rules, const Command &command)
{
    const bool relays = command.verb == Verb::SetRelays || command.verb == Verb::ResetRelays;
    const std::uint32_t most = relays ? mostRelaysAtOnce : rules.mostValues(*command.device, command.format);
    if (command.count < 1 || command.count > most)
        return refusal::wrongCount;
    const auto range = rangeOf(*command.device, rules.family);
    const std::uint64_t elements =
        std::uint64_t{command.count} * elementsPerValue(*command.device, command.format);
    if (!range || command.first < range->first || command.first + elements - 1 > range->last)
        return refusal::outOfRange;
    return refusal::none;
}

Command parseCommand(std::string_view line, const Rules &rules)
{
    Command command;
    const Fields fields = splitAt(line, ' ');
    command.word = fields[0];
    command.refused = readFields(fields, rules, command);
    return command;
}

Asked askedBy(const Command &command)
{
    Asked asked{command.word, std::nullopt};
    if (command.device && command.count > 0)
        asked.span = spanOfValues(*command.device, command.first, command.count, command.format);
    return asked;
}

} // namespace kvsim
