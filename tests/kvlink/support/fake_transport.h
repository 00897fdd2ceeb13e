// SPDX-License-Identifier: MIT
// A transport without a wire: a test moves its state, sees what was sent, and says what comes.
//
//   FakeTransport wire;
//   wire.opensAtOnce();                          // or: wire.connects(); wire.opened();
//   wire.onSend([&](const QByteArray &frame) { wire.comes("OK\r\n"); });
//   ...
//   EXPECT_EQ(wire.takeSent(), "CR\r\n");        // one text for all sends since the last look
//   wire.comes("00001 00");                      // answers arrive in any pieces
//   wire.comes("002\r\n");
//   wire.fails("connection reset");
#pragma once

#include "transport/transport.h"

#include <functional>
#include <utility>

namespace kvlink
{

class FakeTransport final : public Transport
{
public:
    // --- what the test does ---

    /// Every later open() is open when it returns.
    void opensAtOnce() { m_openAs = State::Open; }
    /// Every later open() fails at once, as an unknown name or a refused connection does.
    void failsAtOnce(const QString &problem)
    {
        m_openAs = State::Failed;
        m_openProblem = problem;
    }
    /// Every later open() stays where the test leaves it: Resolving.
    void opensByHand() { m_openAs = State::Resolving; }

    /// Moves on from Resolving, from Connecting. Without effect on a transport that is not on its
    /// way.
    void connects()
    {
        if (m_state == State::Resolving)
            m_state = State::Connecting;
    }
    void opened()
    {
        if (m_state == State::Resolving || m_state == State::Connecting)
            m_state = State::Open;
    }
    /// The link is lost or never came to be. What has come can still be taken.
    void fails(const QString &problem)
    {
        if (m_state == State::Closed)
            return;
        m_state = State::Failed;
        m_problem = problem;
    }

    /// Bytes from the PLC. Like on a socket, they are lost if it is not open.
    void comes(const QByteArray &bytes)
    {
        if (m_state == State::Open)
            m_received += bytes;
    }

    /// Called for each send() with its bytes, after they are recorded: a PLC that answers.
    void onSend(std::function<void(const QByteArray &)> plc) { m_plc = std::move(plc); }
    /// Called for each open().
    void onOpen(std::function<void()> plc) { m_onOpen = std::move(plc); }

    /// All bytes sent since the last look.
    QByteArray takeSent() { return std::exchange(m_sent, {}); }
    const QByteArray &sent() const { return m_sent; }
    /// How often send(), open() and close() (of something open or on its way) were called.
    int sends() const { return m_sends; }
    int opens() const { return m_opens; }
    int closes() const { return m_closes; }

    /// A serial line with this time for each byte; 0 again makes it TCP.
    void setSecondsPerByte(double seconds) { m_secondsPerByte = seconds; }

    // --- what the engine sees ---

    void open() override
    {
        close();
        ++m_opens;
        m_state = m_openAs;
        m_problem = m_openAs == State::Failed ? m_openProblem : QString();
        if (m_onOpen)
            m_onOpen();
    }
    void close() override
    {
        if (m_state != State::Closed)
            ++m_closes;
        m_state = State::Closed;
        m_received.clear();
        m_problem.clear();
    }
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }

    void send(const QByteArray &bytes) override
    {
        if (m_state != State::Open)
            return;
        ++m_sends;
        m_sent += bytes;
        if (m_plc)
            m_plc(bytes);
    }
    QByteArray takeReceived() override { return std::exchange(m_received, {}); }
    void work() override {}
    void addDescriptors(std::vector<pollfd> & /*to*/) const override {}
    double secondsPerByte() const override { return m_secondsPerByte; }
    bool isSerial() const override { return m_secondsPerByte > 0.0; }

private:
    State m_openAs = State::Resolving;
    QString m_openProblem;
    State m_state = State::Closed;
    QString m_problem;
    QByteArray m_sent;
    QByteArray m_received;
    std::function<void(const QByteArray &)> m_plc;
    std::function<void()> m_onOpen;
    double m_secondsPerByte = 0.0;
    int m_sends = 0;
    int m_opens = 0;
    int m_closes = 0;
};

} // namespace kvlink
