// SPDX-License-Identifier: MIT
// The simulated PLC with its faults.
#include "plc/simulator.h"

#include "plc/remote_answer.h"

namespace kvsim
{
namespace
{

Command commandOf(const Line &line, const Rules &rules)
{
    if (!line.tooLong)
        return parseCommand(line.text, rules);
    Command command;
    command.refused = refusal::lineTooLong;
    return command;
}

} // namespace

Entrance Simulator::connectionOpened(bool othersOpen)
{
    m_statistics.countConnection();
    const Effects effects = m_faults.effectsOnConnection(othersOpen);
    if (effectOf(effects, FaultKind::Refuse))
        return Entrance::Refuse;
    if (effectOf(effects, FaultKind::Second))
        return Entrance::CloseAtOnce;
    return effectOf(effects, FaultKind::Blackhole) ? Entrance::Swallow : Entrance::Serve;
}

Delivery Simulator::serve(const Line &line, Link &link)
{
    const Command command = commandOf(line, m_plc.rules());
    m_statistics.countCommand(command.word);
    const Effects effects = m_faults.effectsOn(askedBy(command));
    if (effectOf(effects, FaultKind::Forget))
        link = Link{false, true};
    const FaultEffect *error = effectOf(effects, FaultKind::Error);
    return deliver(error ? error->code : m_plc.execute(command, link), effects);
}

Delivery Simulator::serveRemote(const RemoteRequest &request)
{
    const Asked asked = askedBy(request);
    m_statistics.countCommand(asked.word);
    if (request.broken.empty() && request.write && request.station == 0) {
        m_statistics.countAnswer(answerRemote(m_plc, request));
        return {}; // nobody waits for an answer from station 0, so no fault can happen to it
    }
    const Effects effects = m_faults.effectsOn(asked);
    const FaultEffect *error = effectOf(effects, FaultKind::Error);
    return deliver(error ? error->code : answerRemote(m_plc, request), effects);
}

Delivery Simulator::deliver(const std::string &answer, const Effects &effects)
{
    m_statistics.countAnswer(answer);
    const std::string foreign = effectOf(effects, FaultKind::Foreign) ? m_answers.foreignTo(answer) : answer;
    m_answers.remember(answer);
    Delivery delivery = shape(answer, foreign, effects);
    if (m_delay.mostMs > 0 && !delivery.steps.empty())
        delivery.steps.front().waitMs +=
            m_delay.leastMs + std::uint32_t(m_jitter() % (m_delay.mostMs - m_delay.leastMs + 1));
    return delivery;
}

} // namespace kvsim
