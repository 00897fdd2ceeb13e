#include "fault_text.h"

#include "command_parser.h"
#include "digits.h"
#include "remote_area.h"
#include "vices.h"

#include <algorithm>
#include <cstdlib>

namespace kvsim
{
namespace
{

constexpr std::uint32_t longestWaitMs = 3'600'000;
constexpr std::uint32_t mostBytes = 65536;

std::string quoted(std::string_view text)
{
    return "'" + std::string(text) + "'";
}

bool momentFromText(std::string_view text, Moment &moment)
{
    if (text == "before")
        moment = Moment::Before;
    else if (text == "in")
        moment = Moment::In;
    else if (text == "after")
        moment = Moment::After;
    else
        return false;
    return true;
}

bool isCode(std::string_view text)
{
    for (const char c : text)
        if (c < '!' || c > '~')
            return false;
    return !text.empty() && text.size() <= 16;
}

bool probabilityFromText(std::string_view text, double &value)
{
    const std::string copy(text);
    char *end = nullptr;
    value = std::strtod(copy.c_str(), &end);
    return !copy.empty() && end == copy.c_str() + copy.size() && value >= 0 && value <= 1;
}

bool edgeOfRange(std::string_view text, const Device *&device, std::uint32_t &element)
{
    const Device *named = deviceAtStartOf(text);
    if (named)
        text.remove_prefix(std::string_view(named->name).size());
    if (device && named && named != device)
        return false;
    device = named ? named : device;
    return device && elementFromText(device->notation, text, false, element) == NumberFault::None;
}

bool spanFromText(std::string_view text, DeviceSpan &span)
{
    span.device = deviceNamed(text);
    if (span.device) {
        span.last = 0xFFFFFFFFU;
        return true;
    }
    const std::size_t dash = text.find('-');
    if (!edgeOfRange(text.substr(0, dash), span.device, span.first))
        return false;
    span.last = span.first;
    if (dash != std::string_view::npos && !edgeOfRange(text.substr(dash + 1), span.device, span.last))
        return false;
    return span.first <= span.last;
}

} // namespace

FaultText::FaultText(std::string_view text) : all_(text)
{
    const std::string_view view = all_;
    for (std::size_t at = 0; at < view.size();) {
        const std::size_t end = std::min(view.find(' ', at), view.size());
        if (end > at)
            words_.push_back(view.substr(at, end - at));
        at = end + 1;
    }
}

std::string FaultText::into(Fault &fault)
{
    if (done())
        return "no fault is named; wanted one of:\n" + viceList();
    std::string wrong = vice(fault);
    while (wrong.empty() && !done())
        wrong = clause(fault, take());
    return wrong.empty() ? finish(fault) : wrong;
}

std::string FaultText::vice(Fault &fault)
{
    const std::string_view word = take();
    const std::size_t colon = std::min(word.find(':'), word.size());
    const ViceRow *row = viceRowNamed(word.substr(0, colon));
    if (!row)
        return "no fault is called " + quoted(word.substr(0, colon)) + "; there are:\n" + viceList();
    fault.strike_.vice = row->vice;
    fault.strike_.number = row->standard;
    fault.strike_.code = row->argument == Argument::Code ? "E1" : "";
    fault.text_ = std::string(word);
    return colon == word.size() ? std::string() : argument(fault, word.substr(colon + 1));
}

std::string FaultText::argument(Fault &fault, std::string_view text)
{
    const ViceRow &row = viceRow(fault.strike_.vice);
    std::uint32_t &number = fault.strike_.number;
    bool good = false;
    switch (row.argument) {
    case Argument::None:
        return std::string(row.name) + " takes no argument";
    case Argument::Milliseconds:
        good = decimal(text, number) && number <= longestWaitMs;
        break;
    case Argument::Bytes:
    case Argument::Position:
        good = decimal(text, number) && number >= 1 && number <= mostBytes;
        break;
    case Argument::Code:
        good = isCode(text);
        fault.strike_.code = std::string(text);
        break;
    case Argument::Moment:
        good = momentFromText(text, fault.strike_.moment);
        break;
    }
    return good ? std::string()
                : quoted(text) + " is no argument for " + row.name + "; wanted:\n" + viceList();
}

std::string FaultText::clause(Fault &fault, std::string_view key)
{
    if (key == "every" || key == "next" || key == "times")
        return period(fault, key);
    if (key == "prob")
        return probability(fault);
    if (key == "cmd")
        return commands(fault);
    if (key == "dev")
        return deviceRange(fault);
    return quoted(key) +
           " is not understood; wanted NAME[:ARGUMENT] [every N | next N | prob P [seed S]] [times M] "
           "[cmd WORD[,WORD...]] [dev RANGE]";
}

std::string FaultText::period(Fault &fault, std::string_view key)
{
    const std::string_view text = take();
    std::uint32_t number = 0;
    if (!decimal(text, number) || number < 1)
        return std::string(key) + " needs a number from 1 on, not " + quoted(text);
    if (key == "times") {
        fault.times_ = number;
    } else {
        if (timed_)
            return "only one of every, next and prob can be given";
        timed_ = true;
        fault.when_ = key == "every" ? Fault::When::Every : Fault::When::Next;
        fault.period_ = number;
    }
    fault.text_ += " " + std::string(key) + " " + std::to_string(number);
    return {};
}

std::string FaultText::probability(Fault &fault)
{
    const std::string_view text = take();
    if (timed_)
        return "only one of every, next and prob can be given";
    if (!probabilityFromText(text, fault.probability_))
        return "prob needs a number from 0 to 1, not " + quoted(text);
    timed_ = true;
    fault.when_ = Fault::When::Probability;
    fault.text_ += " prob " + std::string(text);
    std::uint32_t seed = std::random_device{}();
    if (!done() && words_[at_] == "seed") {
        ++at_;
        const std::string_view seedText = take();
        if (!decimal(seedText, seed))
            return "seed needs a number, not " + quoted(seedText);
    }
    fault.seed_ = seed;
    fault.text_ += " seed " + std::to_string(seed);
    return {};
}

std::string FaultText::commands(Fault &fault)
{
    std::string_view list = take();
    fault.text_ += " cmd " + std::string(list);
    while (true) {
        const std::size_t comma = std::min(list.find(','), list.size());
        const std::string_view word = list.substr(0, comma);
        if (!isCommandWord(word) && word != remoteReadWord && word != remoteWriteWord)
            return quoted(word) + " is no command; wanted words like RDS,WRS,CR or remote-read,remote-write";
        fault.words_.emplace_back(word);
        if (comma == list.size())
            return {};
        list.remove_prefix(comma + 1);
    }
}

std::string FaultText::deviceRange(Fault &fault)
{
    const std::string_view text = take();
    DeviceSpan span;
    if (!spanFromText(text, span))
        return quoted(text) + " is no range of devices; wanted one like DM100-DM199, R1000 or DM";
    fault.span_ = span;
    fault.text_ += " dev " + std::string(text);
    return {};
}

std::string FaultText::finish(Fault &fault) const
{
    const bool filtered = !fault.words_.empty() || fault.span_;
    if (filtered && fault.onConnections())
        return std::string(viceName(fault.strike_.vice)) + " strikes connections; cmd and dev do not fit";
    if (fault.seed_)
        fault.random_.seed(*fault.seed_);
    return {};
}

} // namespace kvsim
