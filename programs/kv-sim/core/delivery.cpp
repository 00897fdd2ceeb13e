#include "delivery.h"

#include "vices.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::size_t mostLengths = 256;
constexpr std::uint64_t bitsPerByte = 11; // start, eight data, parity, stop

const Strike *find(const std::vector<Strike> &strikes, Vice vice)
{
    const auto found =
        std::find_if(strikes.begin(), strikes.end(), [vice](const Strike &s) { return s.vice == vice; });
    return found == strikes.end() ? nullptr : &*found;
}

std::string invented(const std::string &answer)
{
    std::string other = answer;
    for (const char digit : {'0', '1'}) {
        for (char &c : other)
            if (c >= '0' && c <= '9')
                c = digit;
        if (other != answer)
            return other;
    }
    return answer == "OK" ? "CC" : std::string(answer.size(), answer.front() == 'O' ? 'C' : 'O');
}

std::string distorted(std::string text, const std::vector<Strike> &strikes)
{
    if (const Strike *cut = find(strikes, Vice::Short))
        text.resize(text.size() - std::min<std::size_t>(cut->number, text.size()));
    if (const Strike *more = find(strikes, Vice::Long))
        text.append(more->number, '0');
    if (const Strike *garbled = find(strikes, Vice::Garbled); garbled && !text.empty()) {
        const std::size_t at = garbled->number == atTheMiddle ? text.size() / 2 : garbled->number - 1;
        text[std::min(at, text.size() - 1)] = '?';
    }
    return text;
}

std::string framed(const std::string &text, const std::vector<Strike> &strikes)
{
    std::string bytes = text + "\r\n";
    if (find(strikes, Vice::Doubled))
        bytes += bytes;
    if (const Strike *torn = find(strikes, Vice::Torn))
        bytes.resize(torn->number == atTheMiddle ? bytes.size() / 2
                                                 : std::min<std::size_t>(torn->number, bytes.size()));
    return bytes;
}

std::vector<Step> byteByByte(const std::string &bytes, std::uint32_t gapMs)
{
    std::vector<Step> steps;
    for (const char byte : bytes)
        steps.push_back({gapMs, std::string(1, byte)});
    return steps;
}

std::vector<Step> portions(const std::string &bytes, const std::vector<Strike> &strikes)
{
    if (const Strike *slow = find(strikes, Vice::Slow))
        return byteByByte(bytes, slow->number);
    const Strike *split = find(strikes, Vice::Split);
    if (!split)
        return {{0, bytes}};
    if (split->number == 0)
        return byteByByte(bytes, portionGapMs);
    const std::size_t at = std::min<std::size_t>(split->number, bytes.size());
    std::vector<Step> steps{{0, bytes.substr(0, at)}};
    if (at < bytes.size())
        steps.push_back({portionGapMs, bytes.substr(at)});
    return steps;
}

void end(Delivery &delivery, std::string &bytes, const Strike &strike)
{
    delivery.ending = strike.vice == Vice::Close ? Ending::Close : Ending::Reset;
    if (strike.moment == Moment::Before)
        bytes.clear();
    else if (strike.moment == Moment::In)
        bytes.resize(bytes.size() / 2);
}

} // namespace

void AnswerMemory::remember(const std::string &answer)
{
    if (byLength_.size() >= mostLengths && !byLength_.contains(answer.size()))
        byLength_.erase(byLength_.begin());
    Pair &pair = byLength_[answer.size()];
    if (pair.last == answer)
        return;
    pair.lastDifferent = std::move(pair.last);
    pair.last = answer;
}

std::string AnswerMemory::foreignTo(const std::string &answer) const
{
    const auto found = byLength_.find(answer.size());
    if (found != byLength_.end())
        for (const std::string *candidate : {&found->second.last, &found->second.lastDifferent})
            if (!candidate->empty() && *candidate != answer)
                return *candidate;
    return answer.empty() ? answer : invented(answer);
}

Delivery shape(const std::string &answer, const std::string &foreign, const std::vector<Strike> &strikes)
{
    Delivery delivery;
    std::string bytes = framed(distorted(find(strikes, Vice::Foreign) ? foreign : answer, strikes), strikes);
    if (find(strikes, Vice::Silent))
        bytes.clear();
    for (const Vice vice : {Vice::Close, Vice::Reset})
        if (const Strike *strike = find(strikes, vice))
            end(delivery, bytes, *strike);
    if (!bytes.empty())
        delivery.steps = portions(bytes, strikes);
    if (delivery.ending == Ending::Reset && !delivery.steps.empty())
        delivery.steps.push_back({portionGapMs, {}}); // lets the bytes get through before the reset
    if (const Strike *late = find(strikes, Vice::Late)) {
        if (delivery.steps.empty())
            delivery.steps.push_back({});
        delivery.steps.front().waitMs += late->number;
    }
    return delivery;
}

std::uint32_t serialTimeMs(std::size_t bytes, std::uint32_t baud)
{
    return static_cast<std::uint32_t>((bytes * bitsPerByte * 1000 + baud - 1) / baud);
}

Delivery atBaud(const Delivery &delivery, std::uint32_t baud)
{
    Delivery paced{{}, delivery.ending};
    for (const Step &step : delivery.steps) {
        std::uint32_t reached = 0;
        paced.steps.push_back({step.waitMs, {}});
        for (std::size_t i = 0; i < step.bytes.size(); ++i) {
            const std::uint32_t due = serialTimeMs(i + 1, baud);
            if (due > reached)
                paced.steps.push_back({due - reached, {}});
            reached = due;
            paced.steps.back().bytes += step.bytes[i];
        }
    }
    return paced;
}

} // namespace kvsim
