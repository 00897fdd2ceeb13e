// The exchange loop: the one thread that calls ComCommunication and DataCom.
//
//   frame := ComCommunication()         what to send next
//   send it on the link of its station, wait for the answer: asked length, CR LF or time-out
//   DataCom(answer)                     decoded into the driver's store, callbacks told
//
// Around it: links are kept open in the background (link_keeper), stations without a link are switched off in
// the driver (EnCommStation) so that they hold nobody up, and passes over the read list are paced.
#pragma once

#include "answer_check.h"
#include "cycle_pacer.h"
#include "driver_library.h"
#include "link_keeper.h"
#include "step_doubt.h"
#include "waiter.h"

#include <QThread>

#include <atomic>
#include <memory>
#include <mutex>

namespace kvhost
{

/// How an exchange came out on the wire.
enum class Outcome {
    Answered,    ///< a good answer
    PlcError,    ///< the PLC's error answer
    Malformed,   ///< an answer that does not look like one to this request
    NoAnswer,    ///< time-out
    LinkLost,    ///< the link broke
    NoLink,      ///< there was none
    NotExpected, ///< nothing had to be sent, or no answer is expected
};

enum class FrameKind { Handshake, CyclicRead, OnceRead, Write };

struct ExchangeReport {
    FrameKind kind = FrameKind::CyclicRead;
    RW_VAR var; ///< of the frame
    QByteArray frame;
    QByteArray answer;
    Outcome outcome = Outcome::NoLink;
    AnswerVerdict verdict;
    QString reason;        ///< when it did not go well
    int result = 0;        ///< the driver's return code; 0: sent again
    bool doubled = false;  ///< the answer came twice
    bool lastFrame = true; ///< the request is finished with it
    Clock::duration time{};

    bool wentWell() const { return result == 1 || result == 100; }
};

/// Told on the exchange thread.
class ExchangeListener
{
public:
    virtual ~ExchangeListener() = default;
    /// Before the answer is handed in, so before any callback of the driver: result is not yet known.
    virtual void answerCame(const ExchangeReport &report) = 0;
    virtual void exchanged(const ExchangeReport &report) = 0;
    virtual void linkChanged(const LinkStatus &status) = 0;
    virtual void cycleDone(Clock::duration time) = 0;
    virtual void threwAway(const QByteArray &bytes) = 0;
    /// Which answers of a station were proved, and which may have been another's.
    virtual void judged(int station, const StepDoubt::Finding &finding) = 0;
    /// Requests of screens that wait for a station: they go on during the pause between two passes.
    virtual int pendingAt(int station) const = 0;
};

class ExchangeLoop : public QThread
{
public:
    struct Settings {
        std::vector<PlcTarget> targets;
        Ms timeout{1000};
        Ms gap{0};
    };

    ExchangeLoop(const DriverCalls &calls, ComInfo *block, Settings settings, ExchangeListener *listener);
    ~ExchangeLoop() override;

    /// Any thread, before or while it runs. \param prove each pass ends with the proof of its answers; not
    /// wanted when nobody looks at the values
    void setCycle(std::map<int, int> blocksByStation, Ms asked, bool prove);
    /// Any thread: there is something new to do.
    void wakeUp();
    /// Any thread. The loop ends within the time of one wake-up, also in the middle of an answer.
    void stop();

protected:
    void run() override;

private:
    void work();
    void waitForWork(bool justIdle);
    bool urgentWork() const;
    void takeNewCycle();
    void linkChanged(const LinkStatus &status);

    ExchangeReport exchange(const Protocol &head);
    bool waitReady(int station);
    bool emptyBeforeSending(int station);
    void receive(const Protocol &head, ExchangeReport *report);
    void judge(const Protocol &head, ExchangeReport *report);
    void judgeSurplus(const QByteArray &surplus, ExchangeReport *report);
    void settle(int station);
    void outOfStep(int station);
    void tell(int station, const StepDoubt::Finding &finding);
    void note(const ExchangeReport &report);
    Time nextProof() const;
    bool checkSilence(int station);
    void checkSilentStations();
    void proveAll();
    void prove(int station);
    void waitSilent(Time end);
    void handIn(ExchangeReport *report);
    void afterwards(const ExchangeReport &report);
    void tellWatch(const ExchangeReport &report);

    const DriverCalls &m_calls;
    ComInfo *m_block;
    Settings m_settings;
    ExchangeListener *m_listener;
    std::atomic<bool> m_stopping{false};

    std::mutex m_mutex; // the four below
    Waiter *m_waiter = nullptr;
    std::map<int, int> m_newBlocks;
    std::optional<Ms> m_newCycle;
    bool m_newProve = true;

    std::unique_ptr<LinkKeeper> m_keeper;
    CyclePacer m_pacer;
    BusyWait m_busyWait; // one for all links: requests follow each other from one to the next
    bool m_provePasses = true;
    std::map<int, StepDoubt> m_doubt;   // by station
    std::map<int, Time> m_carefulUntil; // by station: it has sent more than was asked for
    Clock::duration m_requestCost{};    // time that the request in flight has taken so far, all its attempts
};

} // namespace kvhost
