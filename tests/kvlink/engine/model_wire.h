// SPDX-License-Identifier: MIT
// A wire between the engine and a model PLC: it takes time, and does what the test wants to
// frames and answers.
#pragma once

#include "engine/model_plc.h"
#include "support/fake_clock.h"
#include "transport/transport.h"

#include <deque>
#include <utility>

namespace kvlink
{

/// What happens to one request.
struct WireFault {
    bool losesRequest = false;
    bool losesAnswer = false;
    bool closes = false;          ///< after the PLC has carried it out, instead of the answer
    Duration late{};              ///< the answer takes so much longer
    int copies = 0;               ///< of the answer, right behind it
    QByteArray instead{};         ///< comes in place of the answer
    QByteArray before{}, after{}; ///< come with the answer
    int pieces = 1;               ///< in which the answer comes, a millisecond apart
};

class ModelWire final : public Transport
{
public:
    ModelWire(FakeClock &clock, ModelPlc &plc) : m_clock(clock), m_plc(plc) {}

    // --- what the test sets ----------------------------------------------------------------------

    enum class Door { Open, Refuses, Swallows }; ///< what becomes of connections
    Door door = Door::Open;
    Duration resolving{};                                 ///< time that a name takes
    Duration there = 1ms;                                 ///< time until the PLC carries a command out
    Duration back = 1ms;                                  ///< from then until the answer is complete
    double perByte = 0.0;                                 ///< seconds; above 0 it is a serial line
    bool isFrozen = false;                                ///< the PLC says nothing and does nothing
    std::deque<WireFault> faults;                         ///< of the next requests; none when it is empty
    std::function<WireFault(const QByteArray &)> faultOf; ///< asked when there are none

    std::function<void(const char *, const QByteArray &)> trace; ///< sees all that goes over the wire

    /// The connection breaks.
    void cut(const QString &problem = QStringLiteral("connection reset"));
    /// Bytes that nobody asked for.
    void comes(const QByteArray &bytes);
    /// When something happens next; the end of time if nothing does.
    SteadyTime nextEvent() const;

    const std::vector<QByteArray> &frames() const { return m_frames; } ///< all that the engine sent
    int opens() const { return m_opens; }
    /// True while it is open and the last frame sent over it has no whole answer, right or wrong.
    bool owesAnswer() const { return m_state == State::Open && m_owes; }
    SteadyTime lastSent() const { return m_lastSent; }

    // --- what the engine sees --------------------------------------------------------------------

    void open() override;
    void close() override;
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }
    void send(const QByteArray &bytes) override;
    QByteArray takeReceived() override { return std::exchange(m_received, {}); }
    void work() override;
    void addDescriptors(std::vector<pollfd> & /*to*/) const override {}
    double secondsPerByte() const override { return perByte; }
    bool isSerial() const override { return perByte > 0.0; }

private:
    struct Event {
        SteadyTime at;
        bool isCommand = false; ///< reaches the PLC; otherwise bytes that reach the engine
        QByteArray bytes;
        int connection = 0;
        WireFault fault;
    };

    void at(SteadyTime when, Event event);
    void happen(const Event &event);
    void carryOut(const Event &event);

    FakeClock &m_clock;
    ModelPlc &m_plc;
    State m_state = State::Closed;
    QString m_problem;
    SteadyTime m_opensAt{};
    int m_connection = 0;
    int m_opens = 0;
    QByteArray m_received;
    std::vector<QByteArray> m_frames;
    SteadyTime m_lastSent{};
    bool m_owes = false;
    std::vector<Event> m_events;   ///< in order of time
    SteadyTime m_lineBusyUntil{};  ///< with an earlier answer
    SteadyTime m_frameBusyUntil{}; ///< with an earlier frame
};

} // namespace kvlink
