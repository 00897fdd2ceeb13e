// SPDX-License-Identifier: MIT
// What faults make of an answer.
#include "faults/delivery.h"

#include <algorithm>

namespace kvsim
{
namespace
{

using Effects = std::vector<FaultEffect>;

constexpr std::size_t mostLengths = 256;
constexpr std::uint64_t bitsPerByte = 11; // start, eight data, parity, stop

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

std::string distorted(std::string text, const Effects &effects)
{
    if (const FaultEffect *cut = effectOf(effects, FaultKind::Short))
        text.resize(text.size() - std::min<std::size_t>(cut->number, text.size()));
    if (const FaultEffect *more = effectOf(effects, FaultKind::Long))
        text.append(more->number, '0');
    if (const FaultEffect *garbled = effectOf(effects, FaultKind::Garbled); garbled && !text.empty()) {
        const std::size_t at = garbled->number == atTheMiddle ? text.size() / 2 : garbled->number - 1;
        text[std::min(at, text.size() - 1)] = '?';
    }
    return text;
}

std::string framed(const std::string &text, const Effects &effects)
{
    std::string bytes = text + "\r\n";
    if (effectOf(effects, FaultKind::Doubled))
        bytes += bytes;
    if (const FaultEffect *torn = effectOf(effects, FaultKind::Torn))
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

std::vector<Step> portions(const std::string &bytes, const Effects &effects)
{
    if (const FaultEffect *slow = effectOf(effects, FaultKind::Slow))
        return byteByByte(bytes, slow->number);
    const FaultEffect *split = effectOf(effects, FaultKind::Split);
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

void end(Delivery &delivery, std::string &bytes, const FaultEffect &effect)
{
    delivery.ending = effect.kind == FaultKind::Close ? Ending::Close : Ending::Reset;
    if (effect.moment == Moment::Before)
        bytes.clear();
    else if (effect.moment == Moment::In)
        bytes.resize(bytes.size() / 2);
}

} // namespace

void AnswerMemory::remember(const std::string &answer)
{
    if (m_byLength.size() >= mostLengths && !m_byLength.contains(answer.size()))
        m_byLength.erase(m_byLength.begin());
    Pair &pair = m_byLength[answer.size()];
    if (pair.last == answer)
        return;
    pair.lastDifferent = std::move(pair.last);
    pair.last = answer;
}

std::string AnswerMemory::foreignTo(const std::string &answer) const
{
    const auto found = m_byLength.find(answer.size());
    if (found != m_byLength.end())
        for (const std::string *candidate : {&found->second.last, &found->second.lastDifferent})
            if (!candidate->empty() && *candidate != answer)
                return *candidate;
    return answer.empty() ? answer : invented(answer);
}

Delivery shape(const std::string &answer, const std::string &foreign, const Effects &effects)
{
    Delivery delivery;
    std::string bytes =
        framed(distorted(effectOf(effects, FaultKind::Foreign) ? foreign : answer, effects), effects);
    if (effectOf(effects, FaultKind::Silent))
        bytes.clear();
    for (const FaultKind kind : {FaultKind::Close, FaultKind::Reset})
        if (const FaultEffect *effect = effectOf(effects, kind))
            end(delivery, bytes, *effect);
    if (!bytes.empty())
        delivery.steps = portions(bytes, effects);
    if (delivery.ending == Ending::Reset && !delivery.steps.empty())
        delivery.steps.push_back({portionGapMs, {}}); // lets the bytes get through before the reset
    if (effectOf(effects, FaultKind::Vanish))
        delivery = {{}, Ending::Vanish};
    if (const FaultEffect *overtaken = effectOf(effects, FaultKind::Overtaken))
        delivery.overtakenMs = overtaken->number;
    if (const FaultEffect *late = effectOf(effects, FaultKind::Late)) {
        if (delivery.steps.empty())
            delivery.steps.push_back({});
        delivery.steps.front().waitMs += late->number;
    }
    return delivery;
}

std::uint32_t serialTimeMs(std::size_t bytes, std::uint32_t baud)
{
    return std::uint32_t((bytes * bitsPerByte * 1000 + baud - 1) / baud);
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
