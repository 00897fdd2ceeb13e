// SPDX-License-Identifier: MIT
#include "engine/link_life.h"

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

struct Row {
    LinkState state;
    LinkEvent event;
    LinkState next;
    LinkAction action;
};

// clang-format off
constexpr Row rows[] = {
//   state                  event                 next                   action
    {LinkState::Stopped,    LinkEvent::Start,     LinkState::Resolving,  LinkAction::Open},
    {LinkState::Resolving,  LinkEvent::Resolved,  LinkState::Connecting, LinkAction::Connect},
    {LinkState::Resolving,  LinkEvent::Connected, LinkState::Greeting,   LinkAction::Greet}, // a serial line, an address without a name
    {LinkState::Resolving,  LinkEvent::TimedOut,  LinkState::Waiting,    LinkAction::GiveUp},
    {LinkState::Resolving,  LinkEvent::Failed,    LinkState::Waiting,    LinkAction::GiveUp},
    {LinkState::Connecting, LinkEvent::Connected, LinkState::Greeting,   LinkAction::Greet},
    {LinkState::Connecting, LinkEvent::TimedOut,  LinkState::Waiting,    LinkAction::GiveUp},
    {LinkState::Connecting, LinkEvent::Failed,    LinkState::Waiting,    LinkAction::GiveUp},
    {LinkState::Greeting,   LinkEvent::Answered,  LinkState::Ready,      LinkAction::EnterReady},
    {LinkState::Greeting,   LinkEvent::Failed,    LinkState::Waiting,    LinkAction::GiveUp},
    {LinkState::Ready,      LinkEvent::Answered,  LinkState::Ready,      LinkAction::Trust},
    {LinkState::Ready,      LinkEvent::Failed,    LinkState::Waiting,    LinkAction::LeaveReady},
    {LinkState::Waiting,    LinkEvent::TimedOut,  LinkState::Resolving,  LinkAction::Open}, // from the name on: the PLC may have moved
};
// clang-format on

} // namespace

Duration BackOff::next()
{
    // By hand, not by std::uniform_real_distribution: the same seed gives the same pauses with
    // every standard library.
    const double chance = double(m_random() >> 11) / double(1ULL << 53);
    const auto pause = Duration(qint64(double(m_pause.count()) * (0.75 + 0.5 * chance)));
    m_pause = std::min(m_pause * 2, longest);
    return std::clamp(pause, shortest, longest);
}

LinkAction LinkLife::on(LinkEvent event)
{
    if (event == LinkEvent::Stop) {
        m_state = LinkState::Stopped;
        return LinkAction::Close;
    }
    const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                   [&](const Row &r) { return r.state == m_state && r.event == event; });
    Q_ASSERT_X(row != std::end(rows), "LinkLife::on", "no row for this state and event");
    if (row == std::end(rows))
        return LinkAction::None;
    m_state = row->next;
    return row->action;
}

Duration longestConnecting(Duration timeout)
{
    return std::clamp<Duration>(2 * timeout, 500ms, 3s);
}

} // namespace kvlink
