// SPDX-License-Identifier: MIT
// The link to a PLC: its settings, its state, its statistics, and the plan by which it reads.
#pragma once

#include "sample.h"
#include "tag.h"

#include <QByteArray>
#include <QVector>

#include <array>
#include <functional>

namespace kvlink
{

enum class Open : quint8 {
    Cr,   ///< each connection is opened with CR, as the PLC's manual has it
    None, ///< the port does not know CR: requests go out without it
};

/// Bytes of a link, as they are sent or received: greetings, frames, answers, and what nobody asked
/// for. Called on the link's thread, which waits meanwhile.
using LinkTrace = std::function<void(bool isSent, const QByteArray &bytes)>;

/// Settings of one link. Texts are checked by Plc; see Plc::problem().
struct LinkSettings {
    QString url; ///< "tcp://192.168.0.10", "udp://plc1:8501", "serial:///dev/ttyUSB0?baud=9600&parity=even"
    Open open = Open::Cr;
    Duration timeout =
        1s; ///< longest wait for an answer, on serial lines beside the time of its characters; 1 ms to 1 min
    int maxBlock = 128; ///< most read units in one request, 1 to 1000; timers and counters at most 120
    Duration gap = 0ms; ///< pause between two requests, 0 to 10 s
    WordOrder wordOrder = WordOrder::LowFirst;
    TextEncoding textEncoding = TextEncoding::Utf8;
    LinkTrace trace = {}; ///< for those who look for a fault; empty: none
    QString driver = {};  ///< path of the driver library; empty: where it was installed
};

enum class LinkState : quint8 { Stopped, Resolving, Connecting, Greeting, Ready, Waiting };

/// "stopped", "resolving", "connecting", "greeting", "ready", "waiting".
KVLINK_API QString linkStateName(LinkState state);

struct LinkStatus {
    LinkState state = LinkState::Stopped;
    QString problem;    ///< why the last attempt failed or the link was lost; empty while all is well
    WallTime since{};   ///< when this state began
    Duration nextTry{}; ///< with Waiting: from then until the next attempt

    /// Requests are sent and answered.
    bool isReady() const { return state == LinkState::Ready; }
};

/// Upper bounds by which the times of answers are counted.
constexpr std::array<Duration, 12> answerTimeBounds{1ms,   2500us, 5ms,   10ms, 25ms,   50ms,
                                                    100ms, 250ms,  500ms, 1s,   2500ms, 5s};

/// Counters since the start of the link; times of answers as percentiles of the last 10,000.
struct LinkStatistics {
    quint64 requests = 0; ///< frames sent, greetings not counted
    quint64 answers = 0;  ///< accepted
    quint64 noAnswers = 0;
    quint64 corrupted = 0;
    quint64 plcErrors = 0;
    quint64 repeats = 0;    ///< requests sent again
    quint64 strayBytes = 0; ///< bytes that nobody asked for
    quint64 linkLosses = 0;
    quint64 connects = 0;     ///< links that became ready
    quint64 missedPasses = 0; ///< reads that were due and not made
    quint64 bytesSent = 0;
    quint64 bytesReceived = 0;
    quint64 writesDone = 0, writesRefused = 0, writesNotSent = 0, writesUnknown = 0;
    Duration answerMin{}, answerMedian{}, answer90{}, answer99{}, answerMax{};
    /// All answers: those that took at most the bound of the same index and longer than the one
    /// before it; the last one counts what took longer than all bounds.
    std::array<quint64, answerTimeBounds.size() + 1> answerCounts{};
    Duration answerSum{}; ///< of the times of all answers
    struct Period {
        Duration asked{};
        Duration reached{}; ///< mean of the last ten passes; 0 before the second
        quint64 passes = 0;
        quint64 missed = 0;
        int tags = 0;
        int requests = 0; ///< in one pass
    };
    QVector<Period> periods; ///< one for each period that tags have, shortest first
};

/// One request of a pass.
struct PlannedRequest {
    Duration period{};
    QString device;    ///< "DM"
    QString first;     ///< "DM100"
    QString last;      ///< "DM227"
    int units = 0;     ///< read units: words, double words, timers
    int usedUnits = 0; ///< of them asked for by tags; the rest are gaps that cost less than a request
    int tags = 0;
    QString frame; ///< "RDS DM100.U 128"
    QString why;   ///< "reads across 3 gaps of 12 words: 12 words cost 0.8 ms, a request 4.1 ms"
};

struct ReadPlan {
    QVector<PlannedRequest> requests;
    Duration requestCost{}; ///< turnaround that the planner reckons with
    Duration unitCost{};    ///< time of one word on the line
    bool measured = false;  ///< false: no answer yet, a guess is used
};

} // namespace kvlink

Q_DECLARE_METATYPE(kvlink::LinkStatus)
