#include "simulator.h"

#include <algorithm>

namespace kvsim
{
namespace
{

bool contains(const std::vector<Strike> &strikes, Vice vice)
{
    return std::any_of(strikes.begin(), strikes.end(), [vice](const Strike &s) { return s.vice == vice; });
}

Asked askedBy(const Command &command)
{
    Asked asked{command.word, std::nullopt};
    if (!command.device || command.count == 0)
        return asked;
    const std::uint64_t elements =
        std::uint64_t{command.count} * elementsPerValue(*command.device, command.format);
    const std::uint64_t last = std::min<std::uint64_t>(command.first + elements - 1, 0xFFFFFFFFU);
    asked.span = DeviceSpan{command.device, command.first, static_cast<std::uint32_t>(last)};
    return asked;
}

} // namespace

Entrance Simulator::connectionOpened(bool othersOpen)
{
    statistics_.countConnection();
    const std::vector<Strike> strikes = faults_.strikeConnection(othersOpen);
    if (contains(strikes, Vice::Refuse))
        return Entrance::Refuse;
    if (contains(strikes, Vice::Second))
        return Entrance::CloseAtOnce;
    return contains(strikes, Vice::Blackhole) ? Entrance::Swallow : Entrance::Serve;
}

std::string Simulator::refusedByFault(const std::vector<Strike> &strikes) const
{
    for (const Strike &strike : strikes)
        if (strike.vice == Vice::Error)
            return strike.code;
    return {};
}

Delivery Simulator::serve(const Line &line, Link &link)
{
    Command command;
    const Refusal refused =
        line.tooLong ? refusal::lineTooLong : parseCommand(line.text, plc_.rules(), command);
    statistics_.countCommand(command.word);
    const std::vector<Strike> strikes = faults_.strike(askedBy(command));
    if (contains(strikes, Vice::Forget))
        link = Link{false, true};
    std::string answer = refusedByFault(strikes);
    if (answer.empty())
        answer = plc_.execute(command, refused, link);
    return deliver(answer, strikes);
}

Delivery Simulator::serveRemote(const RemoteRequest &request)
{
    const Asked asked = remoteAsked(request);
    statistics_.countCommand(asked.word);
    if (request.trouble.empty() && request.write && request.station == 0) {
        statistics_.countAnswer(answerRemote(plc_, request));
        return {}; // nobody waits for an answer from station 0, so no fault of an answer can strike it
    }
    const std::vector<Strike> strikes = faults_.strike(asked);
    std::string answer = refusedByFault(strikes);
    if (answer.empty())
        answer = answerRemote(plc_, request);
    return deliver(answer, strikes);
}

Delivery Simulator::deliver(const std::string &answer, const std::vector<Strike> &strikes)
{
    statistics_.countAnswer(answer);
    const std::string foreign = contains(strikes, Vice::Foreign) ? answers_.foreignTo(answer) : answer;
    answers_.remember(answer);
    Delivery delivery = shape(answer, foreign, strikes);
    if (delay_.mostMs > 0 && !delivery.steps.empty())
        delivery.steps.front().waitMs +=
            delay_.leastMs + static_cast<std::uint32_t>(jitter_() % (delay_.mostMs - delay_.leastMs + 1));
    return delivery;
}

} // namespace kvsim
