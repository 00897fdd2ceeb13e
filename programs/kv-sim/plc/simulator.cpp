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

void Simulator::setStage(Stage stage)
{
    m_stage = stage;
    if (stage != Stage::Running)
        ++m_starts;
}

// After a start, a link from before is closed.
Link &Simulator::present(Link &link) const
{
    if (link.start != m_starts)
        link = Link{false, false, m_starts};
    return link;
}

Delivery Simulator::serve(const Line &line, Link &link)
{
    const Command command = commandOf(line, m_plc.rules());
    m_statistics.countCommand(command.word);
    if (const auto delivery = fromElsewhere(requestText(line)))
        return *delivery;
    const Effects effects = m_faults.effectsOn(askedBy(command));
    if (effectOf(effects, FaultKind::Forget))
        link = Link{false, true, m_starts};
    return answer(effects, [&] { return m_plc.execute(command, present(link)); });
}

Delivery Simulator::serveRemote(const RemoteRequest &request)
{
    const Asked asked = askedBy(request);
    m_statistics.countCommand(asked.word);
    if (const auto delivery = fromElsewhere(request.bytes))
        return *delivery;
    if (request.broken.empty() && request.write && request.station == 0) {
        m_statistics.countAnswer(answerRemote(m_plc, request));
        return {}; // nobody waits for an answer from station 0, so no fault can happen to it
    }
    return answer(m_faults.effectsOn(asked), [&] { return answerRemote(m_plc, request); });
}

// What a PLC that is starting says to everything, or what a recording says to this request.
std::optional<Delivery> Simulator::fromElsewhere(std::string_view request)
{
    if (m_stage == Stage::Silent)
        return Delivery{};
    if (m_stage == Stage::Starting)
        return deliver(std::string(refusal::starting), {});
    if (!m_replay)
        return std::nullopt;
    const Delivery *recorded = m_replay->answerTo(request);
    return recorded ? *recorded : deliver(std::string(refusal::notRecorded), {});
}

std::string Simulator::statisticsText() const
{
    std::string text = m_statistics.text(m_faults.done());
    return m_replay ? text + " not_recorded=" + std::to_string(m_replay->unmatched()) : text;
}

template <typename Execute>
Delivery Simulator::answer(const Effects &effects, const Execute &execute)
{
    if (effectOf(effects, FaultKind::Lost))
        return {};
    const FaultEffect *error = effectOf(effects, FaultKind::Error);
    Delivery delivery = deliver(error ? error->code : execute(), effects);
    if (effectOf(effects, FaultKind::Twice)) {
        const Delivery again = deliver(error ? error->code : execute(), effects);
        delivery.steps.insert(delivery.steps.end(), again.steps.begin(), again.steps.end());
    }
    return delivery;
}

Delivery Simulator::deliver(const std::string &answer, const Effects &effects)
{
    m_statistics.countAnswer(answer);
    const std::string foreign = effectOf(effects, FaultKind::Foreign) ? m_answers.foreignTo(answer) : answer;
    m_answers.remember(answer);
    Delivery delivery = shape(answer, foreign, effects);
    if (!delivery.steps.empty())
        delivery.steps.front().waitMs += m_delay.draw();
    return delivery;
}

} // namespace kvsim
