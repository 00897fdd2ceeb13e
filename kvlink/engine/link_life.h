// SPDX-License-Identifier: MIT
// The life of a link, as a table: in which state which event leads where, and what has to
// be done then.
//
// A link that is to be up is tried forever. Between two attempts it waits, longer each time; only
// an answered request, not a mere connection, makes the waiting short again: a PLC that accepts
// connections and says nothing is lost.
#pragma once

#include <kvlink/link.h>

#include <random>

namespace kvlink
{

enum class LinkEvent : quint8 {
    Start,
    Resolved,  ///< the name is known, a connection is being made
    Connected, ///< bytes can be sent
    Answered,  ///< the greeting was answered, or none is called for; in Ready a request
    TimedOut,  ///< the state has lasted as long as it may
    Failed,    ///< refused, closed by the other side, not answered, or in doubt
    Stop,
};

/// An event as the engine's parts hand it on.
struct LinkNews {
    LinkEvent event;
    QString problem; ///< why it failed or timed out; empty: nobody knows more
};

/// What is done on entering a state.
enum class LinkAction : quint8 {
    None,
    Open,       ///< open the transport
    Connect,    ///< the name is known: a connection has so long from now on
    Greet,      ///< send CR, or go on at once where the port does not know it
    EnterReady, ///< requests may go out
    Trust,      ///< the PLC answers requests: the next pause is a short one
    GiveUp,     ///< this attempt has failed: close, and wait
    LeaveReady, ///< the link is lost: close, all values bad, and wait
    Close,      ///< stopped
};

/// The pause before the next attempt: 0.2 s, doubled each time up to 5 s, a quarter more or less by
/// chance, so that many hosts do not come back to a PLC in step.
class BackOff
{
public:
    explicit BackOff(quint64 seed) : m_random(seed) {}

    Duration next();
    void reset() { m_pause = shortest; }

private:
    static constexpr Duration shortest = 200ms;
    static constexpr Duration longest = 5s;

    Duration m_pause = shortest;
    std::mt19937_64 m_random;
};

class LinkLife
{
public:
    explicit LinkLife(quint64 seed) : m_backOff(seed) {}

    LinkState state() const { return m_state; }
    bool isReady() const { return m_state == LinkState::Ready; }

    /// Goes where the table leads. A pair of state and event without a row is a defect of the
    /// engine and asserts.
    LinkAction on(LinkEvent event);

    BackOff &backOff() { return m_backOff; }

private:
    LinkState m_state = LinkState::Stopped;
    BackOff m_backOff;
};

/// Longest time for a name to be resolved; a slow name server is waited for by nobody
/// but this link.
constexpr Duration longestResolving = 5s;

/// Longest time for a connection: twice the time-out, 0.5 to 3 s.
Duration longestConnecting(Duration timeout);

} // namespace kvlink
