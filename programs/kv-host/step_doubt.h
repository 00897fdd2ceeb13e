// Which answers may have been another's, and which are proved.
//
// Answers carry no id. If a PLC (or a network) sends one twice, the second copy is taken for the answer to
// the next request, and the true answer comes one too late from then on. It shows when bytes are found that
// nobody asked for. So nothing that was accepted counts until the link has been silent for a while with
// nothing in its receive buffer; if anything comes instead, everything accepted meanwhile is in doubt. Pure.
#pragma once

#include "clock.h"
#include "quality.h"

#include <QByteArray>
#include <QVector>

namespace kvhost
{

/// What an accepted answer brought: read units (none with a write), for an owner (0: cyclic).
struct Accepted {
    UnitRange range;
    int owner = 0;
};

class StepDoubt
{
public:
    /// Silence after which an empty buffer proves that no answer is on its way any more.
    static constexpr Ms PROOF{20};

    struct Finding {
        QVector<Accepted> proved;
        QVector<Accepted> doubted; ///< the link was out of step
        QVector<Accepted> lost;    ///< can be proved no more, nor is anything known against them
        bool nothing() const { return proved.isEmpty() && doubted.isEmpty() && lost.isEmpty(); }
    };

    /// Anything came in answer to a request, good or not.
    void heard(const QByteArray &answer, Time now);
    /// The answer heard last was taken.
    void accepted(const Accepted &what);

    /// The receive buffer was emptied.
    Finding emptied(const QByteArray &surplus, Time now);
    /// The last answer came twice.
    Finding copied();
    /// An answer of another length than asked for came.
    Finding mismatch();
    /// What was still to come will never be seen.
    Finding linkLost();

    bool waiting() const { return !m_waiting.isEmpty(); }
    /// When silence until then proves what waits.
    Time provedAt() const { return m_lastTime + PROOF; }

private:
    QVector<Accepted> m_waiting; // each block once
    QByteArray m_lastAnswer;
    bool m_lastTaken = false; ///< and what it brought stands at the end of m_waiting
    Time m_lastTime{};
};

} // namespace kvhost
