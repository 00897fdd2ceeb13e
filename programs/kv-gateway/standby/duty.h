// SPDX-License-Identifier: MIT
// Which of two gateways is on duty: it alone reads and writes the PLCs. Whoever has the lock of a
// database is. Times only here, no database and no clock.
//
//     asks -- taken --> StandsBy -- held --> TakesOver -- held, grace over --> OnDuty
//      |                    ^                    |                               |
//      |                    +---- taken, lost ---+                          lost | Order::Leave
//      +-- lost --> Unreachable <------------- left() -------------- Leaves <----+
//
// A lock is lost in two places at different times: in the database, which may give it to the other
// gateway at once, and here, where that is known only when a question gets no answer. So whoever
// gets the lock waits (grace) until the other one has noticed in any case, or is ended (last).
#pragma once

#include <kvlink/times.h>

#include <QString>

#include <optional>

namespace kvgateway
{

struct DutyTiming {
    kvlink::Duration every = std::chrono::milliseconds(250);  ///< between two questions to the database
    kvlink::Duration answer = std::chrono::milliseconds(750); ///< longest wait for its answer
    kvlink::Duration again = std::chrono::seconds(1);         ///< between two attempts to connect
    kvlink::Duration session =
        std::chrono::milliseconds(1100); ///< the database ends one that is silent so long
    /// So long after the last question that was answered with "held", a gateway on duty has stopped
    /// its links, or is ended by the kernel.
    kvlink::Duration last = std::chrono::milliseconds(2500);
    /// So long after it got the lock a gateway begins. More than last: no two are ever on duty.
    kvlink::Duration grace = std::chrono::milliseconds(2750);
};

enum class DutyState : quint8 {
    Unreachable, ///< nobody says whose turn it is; nothing is read or written
    StandsBy,    ///< another gateway has the lock
    TakesOver,   ///< the lock is ours; the other one may still be stopping
    OnDuty,
    Leaves, ///< the lock is lost; links are being stopped
};

struct DutyStatus {
    DutyState state = DutyState::OnDuty;
    QString holder;  ///< who has the lock, while we stand by: "kv-gateway on gw1 (10.0.0.7)"
    QString problem; ///< why the database cannot be asked

    bool isOnDuty() const { return state == DutyState::OnDuty; }
    /// For people, while it is not on duty: why nothing is read and written here, and where to go.
    QString text() const;
    bool operator==(const DutyStatus &other) const = default;
};

/// One thread.
class Duty
{
public:
    enum class Order : quint8 {
        None,
        Begin, ///< read and write the PLCs
        Leave, ///< stop that at once, then call left()
    };

    explicit Duty(const DutyTiming &timing) : m_timing(timing) {}

    DutyState state() const { return m_state; }
    /// The lock is ours.
    /// \param asked when the question left us; \param answered when the answer was here
    Order held(kvlink::SteadyTime asked, kvlink::SteadyTime answered);
    /// Somebody else has it.
    Order taken() { return lose(DutyState::StandsBy); }
    /// There was no answer, or the connection has ended.
    Order lost() { return lose(DutyState::Unreachable); }
    /// What began with Order::Begin has ended.
    void left();

    /// When nothing of ours may reach a PLC any more, unless the lock is held again. None: nothing
    /// of ours does.
    std::optional<kvlink::SteadyTime> end() const;

private:
    Order lose(DutyState next);

    const DutyTiming m_timing;
    DutyState m_state = DutyState::Unreachable;
    kvlink::SteadyTime m_got{};   ///< when the lock was ours first
    kvlink::SteadyTime m_proof{}; ///< when the last question left that was answered with "held"
};

} // namespace kvgateway
