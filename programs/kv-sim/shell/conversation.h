// One connection's talk: bytes in, requests out of them, each answered before the next is looked at.
//
// Knows no transport; the Wire takes the bytes away.
#pragma once

#include "simulator.h"
#include "trace.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>

/// The way out. A serial line and UDP cannot be closed: both closings are empty there.
struct Wire {
    std::function<void(const QByteArray &)> send;
    std::function<void()> close;
    std::function<void()> reset;
};

/// What all conversations share.
struct Exchange {
    kvsim::Simulator &simulator;
    Trace &trace;
    bool lfEndsLine = false;
    int remoteSilenceMs = 300;
    int connections = 0;     // numbers given so far
    int openConnections = 0; // over TCP
};

class Conversation : public QObject
{
public:
    enum class Speech { Lines, RemoteRequests };

    /// \param baud  0: bytes take no time
    Conversation(Exchange &exchange, int number, Speech speech, Wire wire, std::uint32_t baud = 0);

    /// True while the last bytes have not been worked off; feeding more would only pile them up.
    bool busy() const { return busy_ || !input_.isEmpty(); }
    void receive(const QByteArray &bytes);

    /// Called whenever more bytes are welcome.
    void onReady(std::function<void()> ready) { ready_ = std::move(ready); }

private:
    void take(const QByteArray &bytes);
    void workOff();
    bool serveNext();
    bool serveLine();
    bool serveRemote();
    void serveSilence();
    void answerRemote(const kvsim::RemoteRequest &request);
    void begin(const kvsim::Delivery &delivery);
    void goOn();
    void send(const std::string &bytes);
    void finish();

    Exchange &exchange_;
    int number_;
    Speech speech_;
    Wire wire_;
    std::function<void()> ready_;
    std::uint32_t baud_;
    kvsim::Link link_;
    kvsim::LineSplitter splitter_;
    kvsim::RemoteReader remote_;
    QByteArray input_;
    QByteArray arriving_; // still on its way along a serial line
    QElapsedTimer clock_;
    QTimer arrival_;
    QTimer silence_;
    QTimer stepTimer_;
    kvsim::Delivery delivery_;
    std::size_t step_ = 0;
    qint64 stepDue_ = 0;
    qint64 arrivalDue_ = 0;
    bool busy_ = false;
    bool ended_ = false;
};
