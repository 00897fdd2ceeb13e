#include "command_parser.h"

#include "digits.h"
#include "value_text.h"

#include <algorithm>
#include <array>

namespace kvsim
{
namespace
{

struct VerbRow {
    std::string_view word;
    Verb verb;
    std::size_t least; // fields after the word
    std::size_t most;
};

constexpr std::size_t anyNumber = static_cast<std::size_t>(-1);
constexpr std::size_t clockFields = 7; // yy mm dd hh mm ss w; unverified form

// clang-format off
constexpr std::array<VerbRow, 19> verbs{{
    { "CR",  Verb::OpenLink,    0, 1 },
    { "CQ",  Verb::CloseLink,   0, 0 },
    { "RD",  Verb::ReadOne,     1, 1 },
    { "RDS", Verb::ReadMany,    2, 2 },
    { "RDE", Verb::ReadMany,    2, 2 },
    { "WR",  Verb::WriteOne,    2, 2 },
    { "WRS", Verb::WriteMany,   3, anyNumber },
    { "WRE", Verb::WriteMany,   3, anyNumber }, // unverified second name
    { "ST",  Verb::SetRelay,    1, 1 },
    { "RS",  Verb::ResetRelay,  1, 1 },
    { "STS", Verb::SetRelays,   2, 2 },
    { "RSS", Verb::ResetRelays, 2, 2 },
    { "?K",  Verb::AskModel,    0, 0 },
    { "?E",  Verb::AskError,    0, 0 },
    { "?M",  Verb::AskMode,     0, 0 },
    { "ER",  Verb::ClearError,  0, 0 },
    { "M0",  Verb::ToProgram,   0, 0 },
    { "M1",  Verb::ToRun,       0, 0 },
    { "WRT", Verb::SetClock,    clockFields, clockFields },
}};
// clang-format on

using Fields = std::vector<std::string_view>;

Fields split(std::string_view line)
{
    Fields fields;
    std::size_t begin = 0;
    for (std::size_t blank = line.find(' '); blank != std::string_view::npos; blank = line.find(' ', begin)) {
        fields.push_back(line.substr(begin, blank - begin));
        begin = blank + 1;
    }
    fields.push_back(line.substr(begin));
    return fields;
}

bool anyEmpty(const Fields &fields)
{
    for (const std::string_view field : fields)
        if (field.empty())
            return true;
    return false;
}

const VerbRow *verbRow(std::string_view word)
{
    for (const VerbRow &row : verbs)
        if (!word.empty() && word == row.word)
            return &row;
    return nullptr;
}

// Station numbers on a line with several PLCs: 00 to 09 and 15.
bool isStation(std::string_view text)
{
    return text == "15" || (text.size() == 2 && text[0] == '0' && text[1] >= '0' && text[1] <= '9');
}

Refusal parseOpening(const Fields &fields, Command &command)
{
    if (fields.size() == 1)
        return refusal::none;
    command.station = fields[1];
    return isStation(command.station) ? refusal::none : refusal::wrongForm;
}

bool isTwoDigits(std::string_view text, std::uint32_t least, std::uint32_t most)
{
    std::uint32_t value = 0;
    return text.size() == 2 && decimal(text, value) && value >= least && value <= most;
}

Refusal parseClock(const Fields &fields)
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
    return device.kind != Kind::Relay || format == Format::Bit || element % 16 == 0;
}

Refusal parseNumber(std::string_view text, const Rules &rules, Command &command)
{
    switch (elementFromText(command.device->notation, text, rules.upperOnly, command.first)) {
    case NumberFault::Form:
        return refusal::wrongNumber;
    case NumberFault::BitDigits:
        return refusal::wrongBitDigits;
    case NumberFault::None:
        break;
    }
    return refusal::none;
}

Refusal parseSuffix(std::string_view suffix, const Rules &rules, Command &command)
{
    command.format = command.device->standard;
    if (!suffix.empty() && (suffix.size() != 2 || !formatFromLetter(suffix[1], command.format)))
        return refusal::wrongSuffix;
    if (!suffixAllowed(*command.device, command.format))
        return refusal::wrongSuffix;
    if (!rules.unaligned && !isAligned(*command.device, command.first, command.format))
        return refusal::unaligned;
    return refusal::none;
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

Refusal parseDeviceCommand(const Fields &fields, const Rules &rules, Command &command)
{
    std::uint32_t count = 1;
    if (hasCount(command.verb) && !decimal(fields[2], count))
        return refusal::wrongForm;
    if (const Refusal refused = parseOperand(fields[1], rules, command); !refused.empty())
        return refused;
    if (namesRelays(command.verb))
        if (const Refusal refused = checkRelayOperand(fields[1], command); !refused.empty())
            return refused;
    command.count = count;
    const std::size_t valuesFrom = hasCount(command.verb) ? 3 : 2;
    if (command.verb == Verb::WriteOne || command.verb == Verb::WriteMany) {
        command.values.assign(fields.begin() + static_cast<std::ptrdiff_t>(valuesFrom), fields.end());
        if (command.values.size() != count)
            return refusal::wrongCount;
    }
    return checkSpan(rules, command);
}

} // namespace

bool isCommandWord(std::string_view word)
{
    return verbRow(word) != nullptr;
}

Refusal parseOperand(std::string_view text, const Rules &rules, Command &command)
{
    command.device = deviceAtStartOf(text);
    if (!command.device)
        return refusal::unknownDevice;
    if (!rangeOf(*command.device, rules.family))
        return refusal::missingDevice;
    text.remove_prefix(std::string_view(command.device->name).size());
    const std::size_t dot = std::min(text.find('.'), text.size());
    if (const Refusal refused = parseNumber(text.substr(0, dot), rules, command); !refused.empty())
        return refused;
    return parseSuffix(text.substr(dot), rules, command);
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

Refusal parseCommand(std::string_view line, const Rules &rules, Command &command)
{
    command = Command{};
    const Fields fields = split(line);
    command.word = fields[0];
    const VerbRow *row = verbRow(command.word);
    if (!row)
        return refusal::unknownCommand;
    command.verb = row->verb;
    if (anyEmpty(fields) || fields.size() - 1 < row->least || fields.size() - 1 > row->most)
        return refusal::wrongForm;
    if (row->verb == Verb::OpenLink)
        return parseOpening(fields, command);
    if (row->verb == Verb::SetClock)
        return parseClock(fields);
    return hasOperand(row->verb) ? parseDeviceCommand(fields, rules, command) : refusal::none;
}

} // namespace kvsim
