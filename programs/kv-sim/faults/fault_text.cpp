// SPDX-License-Identifier: MIT
// Reads the text that asks for a fault.
#include "faults/fault_text.h"

#include "requests/verbs.h"
#include "text/digits.h"
#include "text/words.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace kvsim
{
namespace
{

using When = FaultTiming::When;

constexpr std::uint32_t longestWaitMs = 3'600'000;
constexpr std::uint32_t mostBytes = 65536;
constexpr std::size_t longestCode = 16;
constexpr std::uint32_t largestNumber = std::numeric_limits<std::uint32_t>::max();

std::optional<Moment> momentFromText(std::string_view text)
{
    if (text == "before")
        return Moment::Before;
    if (text == "in")
        return Moment::In;
    if (text == "after")
        return Moment::After;
    return std::nullopt;
}

bool isCode(std::string_view text)
{
    const bool visible = std::all_of(text.begin(), text.end(), [](char c) { return c >= '!' && c <= '~'; });
    return visible && !text.empty() && text.size() <= longestCode;
}

std::optional<double> probabilityFromText(std::string_view text)
{
    const std::string copy(text);
    char *end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    const bool good = !copy.empty() && end == copy.c_str() + copy.size() && value >= 0 && value <= 1;
    return good ? std::optional(value) : std::nullopt;
}

class FaultReader
{
public:
    FaultReader(std::string_view text, Family family) : m_words(wordsOf(text)), m_family(family) {}

    std::string read();
    FaultSettings settings;

private:
    bool done() const { return m_at >= m_words.size(); }
    std::string_view take() { return done() ? std::string_view{} : m_words[m_at++]; }
    void note(const std::string &words) { settings.text += " " + words; }

    std::string kind();
    std::string argument(const FaultKindRow &row, std::string_view text);
    std::string clause(std::string_view key);
    std::string period(std::string_view key);
    std::string probability();
    std::string commands();
    std::string deviceRange();
    std::string checkWhole() const;

    std::vector<std::string_view> m_words;
    Family m_family;
    std::size_t m_at = 0;
    bool m_timed = false;
};

std::string FaultReader::read()
{
    if (done())
        return "no fault is named; the faults are " + faultKindNames();
    std::string wrong = kind();
    while (wrong.empty() && !done())
        wrong = clause(take());
    return wrong.empty() ? checkWhole() : wrong;
}

std::string FaultReader::kind()
{
    const std::string_view word = take();
    const std::size_t colon = std::min(word.find(':'), word.size());
    const FaultKindRow *row = faultKindNamed(word.substr(0, colon));
    if (!row)
        return "no fault is called " + inQuotes(word.substr(0, colon)) + "; the faults are " +
               faultKindNames();
    settings.effect.kind = row->kind;
    settings.effect.number = row->standard;
    settings.effect.code = row->argument == FaultArgument::Code ? "E1" : "";
    settings.text = std::string(word);
    return colon == word.size() ? std::string() : argument(*row, word.substr(colon + 1));
}

std::string FaultReader::argument(const FaultKindRow &row, std::string_view text)
{
    FaultEffect &effect = settings.effect;
    std::optional<std::uint64_t> number;
    bool good = false;
    switch (row.argument) {
    case FaultArgument::None:
        return std::string(row.name) + " takes no argument";
    case FaultArgument::Milliseconds:
        number = numberWithin(text, 0, longestWaitMs);
        break;
    case FaultArgument::Bytes:
    case FaultArgument::Position:
        number = numberWithin(text, 1, mostBytes);
        break;
    case FaultArgument::Code:
        good = isCode(text);
        effect.code = std::string(text);
        break;
    case FaultArgument::Moment:
        good = momentFromText(text).has_value();
        effect.moment = momentFromText(text).value_or(Moment::Before);
        break;
    }
    effect.number = std::uint32_t(number.value_or(effect.number));
    if (good || number)
        return {};
    return inQuotes(text) + " is not an argument for " + row.name + "; expected " + faultUsage(row);
}

std::string FaultReader::clause(std::string_view key)
{
    if (key == "every" || key == "next" || key == "times")
        return period(key);
    if (key == "prob")
        return probability();
    if (key == "cmd")
        return commands();
    if (key == "dev")
        return deviceRange();
    return inQuotes(key) +
           " is not understood; expected NAME[:ARGUMENT] [every N | next N | prob P [seed S]] [times M] "
           "[cmd WORD[,WORD...]] [dev RANGE]";
}

std::string FaultReader::period(std::string_view key)
{
    const std::string_view text = take();
    const auto number = numberWithin(text, 1, largestNumber);
    if (!number)
        return std::string(key) + " needs a number from 1 to " + std::to_string(largestNumber) + ", not " +
               inQuotes(text);
    note(std::string(key) + " " + std::to_string(*number));
    if (key == "times") {
        settings.timing.times = std::uint32_t(*number);
        return {};
    }
    if (m_timed)
        return "only one of every, next and prob can be given";
    m_timed = true;
    settings.timing.when = key == "every" ? When::Every : When::Next;
    settings.timing.period = std::uint32_t(*number);
    return {};
}

std::string FaultReader::probability()
{
    const std::string_view text = take();
    if (m_timed)
        return "only one of every, next and prob can be given";
    const auto probability = probabilityFromText(text);
    if (!probability)
        return "prob needs a number from 0 to 1, not " + inQuotes(text);
    m_timed = true;
    settings.timing.when = When::Probability;
    settings.timing.probability = *probability;
    settings.timing.seed = std::random_device{}();
    if (!done() && m_words[m_at] == "seed") {
        ++m_at;
        const std::string_view seedText = take();
        const auto seed = numberWithin(seedText, 0, largestNumber);
        if (!seed)
            return "seed needs a number from 0 to " + std::to_string(largestNumber) + ", not " +
                   inQuotes(seedText);
        settings.timing.seed = std::uint32_t(*seed);
    }
    note("prob " + std::string(text) + " seed " + std::to_string(settings.timing.seed));
    return {};
}

std::string FaultReader::commands()
{
    const std::string_view list = take();
    for (const std::string_view word : splitAt(list, ',')) {
        if (!isRequestWord(word))
            return inQuotes(word) +
                   " is not a command; expected words like RDS,WRS,CR or remote-read,remote-write";
        settings.filter.words.emplace_back(word);
    }
    note("cmd " + std::string(list));
    return {};
}

std::string FaultReader::deviceRange()
{
    const std::string_view text = take();
    settings.filter.span = spanFromText(text, m_family);
    if (!settings.filter.span)
        return inQuotes(text) +
               " is not a range of devices of this model; expected one like DM100-DM199, R1000 or DM";
    note("dev " + std::string(text));
    return {};
}

std::string FaultReader::checkWhole() const
{
    const FaultKindRow &row = faultKindRow(settings.effect.kind);
    if (row.onConnections && !settings.filter.isEmpty())
        return std::string(row.name) + " happens to connections; cmd and dev do not apply to it";
    return {};
}

} // namespace

std::optional<FaultSettings> faultFromText(std::string_view text, Family family, std::string &problem)
{
    const std::string copy(text); // the reader's words are views into it
    FaultReader reader(copy, family);
    problem = reader.read();
    return problem.empty() ? std::optional(std::move(reader.settings)) : std::nullopt;
}

} // namespace kvsim
