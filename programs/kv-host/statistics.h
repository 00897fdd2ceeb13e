// What the exchanges came to: counts, kinds of errors, answer times. Pure.
#pragma once

#include "clock.h"

#include <QMap>
#include <QString>

namespace kvhost
{

struct Statistics {
    qint64 requests = 0;   ///< frames sent
    qint64 answers = 0;    ///< good answers
    qint64 unanswered = 0; ///< frames that nothing usable came back to
    qint64 words = 0;      ///< store units read
    qint64 cycles = 0;
    qint64 thrownAway = 0; ///< bytes that nobody had asked for
    qint64 givenUp = 0;    ///< requests given up after their retries
    int reconnects = 0;
    QMap<QString, qint64> errors; ///< by kind: "no answer", "E0", ...
    double minMs = 0.0, maxMs = 0.0, sumMs = 0.0;
    double lastCycleMs = 0.0;

    void sent() { ++requests; }
    void answered(Clock::duration time);
    void failed(const QString &kind) { ++errors[kind]; }

    qint64 errorCount() const;
    double meanMs() const { return answers == 0 ? 0.0 : sumMs / double(answers); }
    double lossPercent() const;

    /// As ping tells it, several lines.
    QString summary() const;
};

} // namespace kvhost
