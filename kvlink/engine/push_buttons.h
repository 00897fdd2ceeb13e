// SPDX-License-Identifier: MIT
// Push buttons and pulses: a 1 that is always followed by its 0.
//
// The stroke, the 1 and the 0 together, is one write to whoever asked for it: it ends with the end
// of the 0. A 1 that the PLC did not get takes its 0 with it; a 1 that may have been carried out is
// followed by its 0 at once.
#pragma once

#include "engine/write_ends.h"

#include <map>
#include <optional>

namespace kvlink
{

class PushButtons
{
public:
    /// A button that nobody renews for this long is released: its screen hangs.
    static constexpr Duration lease = 500ms;

    /// A stroke begins: \a press has been handed to the queue; \a release follows.
    /// \param length of a pulse, from the confirmation of the 1; nothing: until release(), or the
    /// end of the lease
    void begin(QueuedWrite release, std::optional<Duration> length, SteadyTime now);
    void renew(WriteId id, SteadyTime now);
    void release(WriteId id, SteadyTime now);
    /// All are let go, and pulses end early: the link is to be stopped.
    void releaseAll(SteadyTime now);
    bool isEmpty() const { return m_strokes.empty(); }

    /// Takes the end of a press or a release. \return the end of the stroke, if it is one
    std::optional<WriteEnd> ended(const WriteEnd &end, SteadyTime now);
    /// The releases that are due.
    std::vector<QueuedWrite> takeDue(SteadyTime now);
    SteadyTime nextDue() const;
    /// The link was stopped: ends the strokes whose 0 is in no queue.
    std::vector<WriteEnd> stop();

private:
    enum class Phase : quint8 { Pressing, Pressed, Releasing };
    struct Stroke {
        QueuedWrite release;
        std::optional<Duration> length;
        SteadyTime releaseAt{};
        Phase phase = Phase::Pressing;
        WriteEnd press;
    };

    static WriteEnd together(const WriteEnd &press, const WriteEnd &release);

    std::map<WriteId, Stroke> m_strokes;
};

} // namespace kvlink
