// SPDX-License-Identifier: MIT
// What one simulated PLC answers to a command line.
#include "plc/plc.h"

#include "text/digits.h"

#include <optional>

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

std::optional<std::vector<std::uint32_t>> valuesOf(const Command &command, const Rules &rules)
{
    std::vector<std::uint32_t> values;
    values.reserve(command.values.size());
    for (const std::string_view text : command.values) {
        const auto value = valueFromText(text, command.format, rules.values);
        if (!value)
            return std::nullopt;
        values.push_back(*value);
    }
    return values;
}

// "1,0000000050,0000000100", or with spaces for the commas.
void appendTimer(std::string &text, const TimerCells &timer, bool blanks)
{
    constexpr std::size_t digits = 10;
    const char between = blanks ? ' ' : ',';
    text += timer.contact ? '1' : '0';
    text += between;
    appendPadded(text, timer.current, digits);
    text += between;
    appendPadded(text, timer.set, digits);
}

// A negative .S fills the upper half of a 32-bit register; everything else leaves it 0.
std::uint32_t widened(const Command &command, std::uint32_t value)
{
    const bool negative = command.format == Format::S && (value & 0x8000U) != 0;
    return command.device->kind == Kind::DWord && negative ? value | 0xFFFF0000U : value;
}

} // namespace

std::string Plc::execute(const Command &command, Link &link)
{
    if (command.verb != Verb::OpenLink && !servedBeforeOpening(m_rules, link))
        return std::string(refusal::linkNotOpen);
    if (!command.refused.empty())
        return std::string(command.refused);
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
    if (m_rules.opening == Opening::Refused)
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
        return padded(m_error, m_rules.errorDigits);
    case Verb::AskMode:
        return m_running ? "1" : "0";
    case Verb::ClearError:
        return clearError();
    case Verb::ToProgram:
    case Verb::ToRun:
        return switchMode(command.verb == Verb::ToRun);
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
            appendTimer(text, m_memory.timer(device, element), m_rules.triplesWithBlanks);
        else
            appendValue(text, m_memory.value(device, element, span.format), span.format);
    }
    return text;
}

std::string Plc::write(const Command &span, const std::vector<std::uint32_t> &values)
{
    if (m_writeProtected)
        return std::string(refusal::writeProtected);
    if (isReadOnly(*span.device, m_rules))
        return std::string(refusal::atIsReadOnly);
    const std::uint32_t step = elementsPerValue(*span.device, span.format);
    for (std::uint32_t i = 0; i < span.count; ++i)
        m_memory.setValue(*span.device, span.first + i * step, span.format, widened(span, values[i]));
    return std::string(answer::ok);
}

std::string Plc::writeTexts(const Command &command)
{
    const auto values = valuesOf(command, m_rules);
    return values ? write(command, *values) : std::string(refusal::wrongValue);
}

std::string Plc::switchRelays(const Command &command, bool on)
{
    if (m_writeProtected)
        return std::string(refusal::writeProtected);
    for (std::uint32_t i = 0; i < command.count; ++i)
        m_memory.setValue(*command.device, command.first + i, Format::Bit, on ? 1 : 0);
    return std::string(answer::ok);
}

std::string Plc::modelCode() const
{
    return m_rules.modelCode > 0 ? std::to_string(m_rules.modelCode) : std::string(refusal::unknownModelCode);
}

std::string Plc::switchMode(bool running)
{
    if (running && m_programMissing)
        return std::string(refusal::programMissing);
    if (running && m_error != 0)
        return std::string(refusal::cpuError);
    m_running = running;
    return std::string(answer::ok);
}

void Plc::setProgramMissing(bool missing)
{
    m_programMissing = missing;
    m_running = m_running && !missing;
}

std::string Plc::clearError()
{
    m_error = 0;
    return std::string(answer::ok);
}

void Plc::setProgram(const std::vector<ProgramRow> &rows)
{
    m_table.reset();
    if (!rows.empty())
        m_table.emplace(rows);
}

void Plc::scan()
{
    if (!m_running)
        return;
    if (m_table)
        m_table->scan(m_memory);
    else
        m_fixed.scan(m_memory);
}

void Plc::reset()
{
    m_memory.clear();
    m_running = !m_programMissing;
    m_error = 0;
    m_fixed = FixedProgram{};
    if (m_table)
        m_table->restart();
}

} // namespace kvsim
