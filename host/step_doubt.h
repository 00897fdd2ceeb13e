// Which answers may have been another's.
//
// Answers carry no id. If a PLC (or a network) sends one twice, the second copy is taken for the answer to
// the next request, and the true answer comes one too late from then on. It shows when bytes are found that
// nobody asked for. Everything accepted since the link was last known to be in step is then in doubt.
//
// A link is in step when nothing lay in its receive buffer although it had been silent for a while. Pure.
#pragma once

#include "clock.h"
#include "quality.h"

#include <QByteArray>
#include <QVector>

namespace kvhost
{

class StepDoubt
{
public:
    /// Silence after which an empty buffer proves that no answer is on its way any more.
    static constexpr Ms PROOF{20};

    void accepted(const UnitRange &range, const QByteArray &answer, Time now);

    /// The buffer was emptied before a send. \return what is in doubt; afterwards nothing is
    QVector<UnitRange> emptied(const QByteArray &surplus, Time now);

    /// An answer of another length than asked for came. \return what is in doubt; afterwards nothing is
    QVector<UnitRange> mismatch();

private:
    QVector<UnitRange> m_ranges; // each block once
    QByteArray m_lastAnswer;
    Time m_lastTime{};
};

} // namespace kvhost
