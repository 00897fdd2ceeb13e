// One station seen from its link: when to open, when to give it up for a while, when it is back.
//
// Pure: time is handed in, and what to do comes out. Nothing here waits, so a dead PLC costs the others
// nothing while it is away: its link is opened and asked in the background, beside the exchanges of the
// others.
//
//   Waiting --delay over--> Connecting --open--> Greeting --"CC"--> Ready --lost, silent, out of step-->
//   Waiting
//                                                                   Ready --serial line--> Settling -->
//                                                                   Greeting
//
// Greeting: a new connection starts closed at the PLC, and the driver, which does not see connections, would
// only open it after it had given a request up. So the host opens each new connection itself, with the same
// "CR" that the driver uses, and waits for "CC". On a serial line this also flushes what was still on its
// way.
#pragma once

#include "clock.h"

#include <QString>

namespace kvhost
{

/// Why a station has no working link; it decides between the exit codes "no link" and "no answer".
enum class Trouble { None, NoLink, NoAnswer, Refused };

class StationWatch
{
public:
    enum class State { Waiting, Connecting, Greeting, Settling, Ready };
    enum class Action { Nothing, Open, SendGreeting, Close, Discard };

    struct Limits {
        Ms connect{2000};      ///< longest opening of a link
        Ms answer{1000};       ///< longest wait for the greeting's answer
        Ms silence{300};       ///< a serial line silent for so long is taken to be empty
        Ms firstDelay{200};    ///< back-off: first,
        Ms longestDelay{5000}; ///< and last
        int giveUps = 2;       ///< given-up requests in a row after which the station is switched off
        int restFactor = 0;    ///< rests that many times as long as the last give-up took, so that the others
                               ///< keep their rate; 0: no others
        bool line = false;     ///< serial line: is not closed and reopened, but waited silent and emptied
    };

    explicit StationWatch(const Limits &limits) : m_limits(limits) {}

    State state() const { return m_state; }
    bool ready() const { return m_state == State::Ready; }
    Trouble trouble() const { return m_trouble; }
    const QString &reason() const { return m_reason; }
    int reconnects() const { return m_reconnects; }
    /// Failures since the last request that was answered.
    int failures() const { return m_failures; }

    /// What is due now. Call it again when something happened and at nextDeadline().
    Action step(Time now);
    Time nextDeadline() const { return m_deadline; }

    void linkOpened(Time now);
    void linkFailed(Time now, const QString &reason);
    void greetingAnswered(Time now, const QByteArray &answer);
    void bytesWhileSettling(Time now);

    /// The outcome of an exchange.
    void answered();
    void noAnswer(Time now);
    void outOfStep(Time now);
    /// The PLC may have forgotten that its link was opened.
    void greetAgain(Time now);
    /// \param cost time that the request had held up the others
    void gaveUp(Time now, Clock::duration cost);

    /// True while the station has not answered a request since it was given up: no patience with it then.
    bool onProbation() const { return m_giveUps >= m_limits.giveUps; }

private:
    void wait(Time now, Trouble trouble, const QString &reason);
    void greet(Time now);
    void leaveReady(Time now, Trouble trouble, const QString &reason);

    Limits m_limits;
    State m_state = State::Waiting;
    Trouble m_trouble = Trouble::NoLink;
    QString m_reason = QStringLiteral("not yet opened");
    Time m_deadline{};
    Time m_settleEnd{};
    Ms m_delay{0};
    int m_giveUps = 0;
    int m_reconnects = 0;
    bool m_opened = false; ///< since it was ready last
    int m_failures = 0;
    bool m_everReady = false;
    bool m_closeDue = false;
    bool m_greetingDue = false;
};

} // namespace kvhost
