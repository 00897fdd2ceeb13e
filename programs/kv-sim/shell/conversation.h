// SPDX-License-Identifier: MIT
// One connection's talk: bytes in, requests out of them, each answered before the next
// is looked at.
//
// Knows no transport; the Wire takes the bytes away.
#pragma once

#include "plc/simulator.h"
#include "shell/trace.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <vector>

class QTcpSocket;

namespace kvsim
{

/// The way out. A serial line and UDP cannot be closed: both closings are empty there.
struct Wire {
    std::function<void(const QByteArray &)> send;
    std::function<void()> close;
    std::function<void()> reset;
};

/// How many TCP connections a PLC serves, and which one gives way when there is one more.
struct ClientLimit {
    std::size_t most = 0; // 0: no limit
    bool oldestGoes = false;
};

/// What all conversations share.
struct LineContext {
    Simulator &simulator;
    Trace &trace;
    bool lfEndsLine = false;
    int remoteSilenceMs = 300;
    ClientLimit clients;
    int idleCloseMs = 0;                   // 0: silent TCP connections stay open
    int connections = 0;                   // numbers given so far
    std::vector<QTcpSocket *> openClients; // over TCP, the oldest first
};

class Conversation : public QObject
{
public:
    enum class Speech { Lines, RemoteRequests };

    /// \param baud  0: bytes take no time
    Conversation(LineContext &context, int number, Speech speech, Wire wire, std::uint32_t baud = 0);

    /// True while the last bytes have not been worked off; feeding more would only pile them up.
    bool busy() const { return m_busy || !m_input.isEmpty() || !m_arriving.isEmpty(); }
    /// Bytes that wait to be worked off.
    std::size_t waiting() const { return std::size_t(m_input.size()) + std::size_t(m_arriving.size()); }
    void receive(const QByteArray &bytes);

    /// Called whenever more bytes are welcome.
    void onReady(std::function<void()> ready) { m_ready = std::move(ready); }

private:
    void take(const QByteArray &bytes);
    void workOff();
    bool serveNext();
    bool serveLine();
    bool serveRemote();
    void serveSilence();
    void answerRemote(const RemoteRequest &request);
    void begin(const Delivery &delivery);
    void goOn();
    void holdBack(const Delivery &delivery);
    void sendHeldBack();
    void send(const std::string &bytes);
    void finish();

    LineContext &m_context;
    int m_number;
    Speech m_speech;
    Wire m_wire;
    std::function<void()> m_ready;
    std::uint32_t m_baud;
    Link m_link;
    LineSplitter m_splitter;
    RemoteReader m_remote;
    QByteArray m_input;
    QByteArray m_arriving; // still on its way along a serial line
    QElapsedTimer m_clock;
    QTimer m_arrival;
    QTimer m_silence;
    QTimer m_stepTimer;
    QTimer m_overtaken;
    Delivery m_delivery;
    std::string m_heldBack; // an answer that the next one overtakes
    std::size_t m_step = 0;
    qint64 m_stepDue = 0;
    qint64 m_arrivalDue = 0;
    bool m_busy = false;
    bool m_ended = false;
};

} // namespace kvsim
