// SPDX-License-Identifier: MIT
// An exchange loop on the bare driver, as the run-time of an HMI has one: it registers what the
// screens show (ReCreatReadVarList), asks the driver what to send, sends it, and hands back what
// came. Screens read the driver's store and write through it at any time.
//
//   ExchangeLoop loop("192.168.0.10", 8501);
//   loop.show({level, run});
//   loop.start();
//   if (const auto sample = loop.sample(level); sample.isGood) ...
//   loop.write(speed, 500, [](Outcome outcome, const QString &why) { ... });
//
// The driver's state belongs to the process: there is one loop, and one PLC. show(), sample() and
// write() may be called from any thread.
#pragma once

#include "answer.h"
#include "place.h"

#include <Communication_Protocol.h>

#include <QThread>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

class QTcpSocket;

enum class Outcome { Done, Refused, NotSent, Unknown };

struct Sample {
    qint64 value = 0;
    bool isGood = false; ///< the link is up, and the value was read on it within the last second
    std::chrono::system_clock::time_point time{};
};

class ExchangeLoop : public QThread
{
public:
    /// How a write ended, exactly once. Called in the loop's thread, or within write(); it must not
    /// call the loop.
    using WhenDone = std::function<void(Outcome, const QString &why)>;

    ExchangeLoop(const QString &host, quint16 port);
    ~ExchangeLoop() override;

    /// What the screens show now; everything else is no longer read.
    void show(const std::vector<Place> &places);
    Sample sample(const Place &place) const;
    void write(const Place &place, qint64 value, WhenDone whenDone);
    bool isLinked() const;

protected:
    void run() override;

private:
    using Steady = std::chrono::steady_clock;
    struct Block {
        int readKey, first, words;
        auto operator<=>(const Block &) const = default;
    };
    struct Times {
        Steady::time_point steady;
        std::chrono::system_clock::time_point wall;
    };
    struct Write {
        int id;
        Place place;
        WhenDone whenDone;
    };

    bool connectTo(QTcpSocket &plc);
    bool greet(QTcpSocket &plc);
    void exchange(QTcpSocket &plc);
    QByteArray receive(QTcpSocket &plc, int length) const;
    void take(const RW_VAR &request, QByteArray answer, Shape shape);
    void note(Write write, int waiting);
    void end(int id, Outcome outcome, const QString &why);
    void loseLink(QTcpSocket &plc);
    void pause(Steady::time_point until);
    static int writeEnded(int context, int ownerType, int ownerId, int status);

    const QString m_host;
    const quint16 m_port;
    ComInfo m_settings;

    mutable std::mutex m_mutex; ///< of all that follows; taken before the driver's locks, never inside them
    std::condition_variable m_wake;
    bool m_isStopping = false;
    bool m_isLinked = false;
    std::map<Block, Times> m_read; ///< read on this connection
    int m_blocks = 0, m_blocksOfPass = 0;
    std::vector<Write> m_writes; ///< entry by entry what the driver's list of writes holds
    int m_nextWrite = 1;
    static std::vector<std::pair<int, int>> ended; ///< id and status, as the driver's callback noted them
};
