#include "plc.h"

#include "digits.h"
#include "value_text.h"

namespace kvsim
{
namespace
{

bool servedBeforeOpening(const Rules &rules, const Link &link)
{
    return !link.forgotten && (link.open || rules.opening != Opening::Required);
}

bool isReadOnly(const Device &device, const Rules &rules)
{
    return device.kind == Kind::DWord && device.standard == Format::D && !rules.atWritable;
}

bool parseValues(const Command &command, const Rules &rules, std::vector<std::uint32_t> &values)
{
    for (const std::string_view text : command.values)
        if (!valueFromText(text, command.format, rules, values.emplace_back()))
            return false;
    return true;
}

// .S below zero fills the upper half of a 32-bit register; everything else leaves it 0.
std::uint32_t widened(const Command &command, std::uint32_t value)
{
    const bool negative = command.format == Format::S && (value & 0x8000U) != 0;
    return command.device->kind == Kind::DWord && negative ? value | 0xFFFF0000U : value;
}

} // namespace

std::string Plc::answer(std::string_view line, Link &link)
{
    Command command;
    const Refusal refused = parseCommand(line, rules_, command);
    return execute(command, refused, link);
}

std::string Plc::execute(const Command &command, Refusal refused, Link &link)
{
    if (command.verb != Verb::OpenLink && !servedBeforeOpening(rules_, link))
        return std::string(refusal::linkNotOpen);
    if (!refused.empty())
        return std::string(refused);
    if (command.verb == Verb::OpenLink || command.verb == Verb::CloseLink)
        return executeLink(command, link);
    return executeDevice(command);
}

std::string Plc::executeLink(const Command &command, Link &link)
{
    link.forgotten = false;
    if (command.verb == Verb::CloseLink) {
        link.open = false;
        return std::string(answer::linkClosed);
    }
    if (rules_.opening == Opening::Refused)
        return std::string(refusal::openingRefused);
    link.open = true;
    std::string text(answer::linkOpened);
    return command.station.empty() ? text : text + " " + std::string(command.station);
}

std::string Plc::executeDevice(const Command &command)
{
    switch (command.verb) {
    case Verb::ReadOne:
    case Verb::ReadMany:
        return read(command);
    case Verb::WriteOne:
    case Verb::WriteMany:
        return writeTexts(command);
    case Verb::SetRelay:
    case Verb::SetRelays:
        return switchRelays(command, true);
    case Verb::ResetRelay:
    case Verb::ResetRelays:
        return switchRelays(command, false);
    case Verb::AskModel:
        return modelCode();
    case Verb::AskError:
        return padded(error_, rules_.errorDigits);
    case Verb::AskMode:
        return running_ ? "1" : "0";
    case Verb::ClearError:
        return clearError();
    case Verb::ToProgram:
    case Verb::ToRun:
        return toMode(command.verb == Verb::ToRun);
    case Verb::SetClock:
        return std::string(answer::ok); // only its form is checked; this PLC has no clock to set
    default:
        return std::string(refusal::unknownCommand);
    }
}

std::string Plc::read(const Command &span) const
{
    const Device &device = *span.device;
    const std::uint32_t step = elementsPerValue(device, span.format);
    std::string text;
    for (std::uint32_t i = 0; i < span.count; ++i) {
        const std::uint32_t element = span.first + i * step;
        if (i > 0)
            text += ' ';
        if (device.kind == Kind::Triple)
            appendTimer(text, memory_.timer(device, element), rules_.triplesWithBlanks);
        else
            appendValue(text, memory_.value(device, element, span.format), span.format);
    }
    return text;
}

std::string Plc::write(const Command &span, const std::vector<std::uint32_t> &values)
{
    if (isReadOnly(*span.device, rules_))
        return std::string(refusal::atIsReadOnly);
    const std::uint32_t step = elementsPerValue(*span.device, span.format);
    for (std::uint32_t i = 0; i < span.count; ++i)
        memory_.setValue(*span.device, span.first + i * step, span.format, widened(span, values[i]));
    return std::string(answer::ok);
}

std::string Plc::writeTexts(const Command &command)
{
    std::vector<std::uint32_t> values;
    if (!parseValues(command, rules_, values))
        return std::string(refusal::wrongValue);
    return write(command, values);
}

std::string Plc::switchRelays(const Command &command, bool on)
{
    for (std::uint32_t i = 0; i < command.count; ++i)
        memory_.setValue(*command.device, command.first + i, Format::Bit, on ? 1 : 0);
    return std::string(answer::ok);
}

std::string Plc::modelCode() const
{
    return rules_.modelCode > 0 ? std::to_string(rules_.modelCode) : std::string(refusal::unknownModelCode);
}

std::string Plc::toMode(bool running)
{
    running_ = running;
    return std::string(answer::ok);
}

std::string Plc::clearError()
{
    error_ = 0;
    return std::string(answer::ok);
}

void Plc::scan()
{
    if (running_)
        program_.scan(memory_);
}

void Plc::reset()
{
    memory_.clear();
    running_ = true;
    error_ = 0;
    program_ = ScanProgram{};
}

} // namespace kvsim
