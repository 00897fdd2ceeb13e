// SPDX-License-Identifier: MIT
#include "duty.h"

namespace kvgateway
{

QString DutyStatus::text() const
{
    switch (state) {
    case DutyState::OnDuty:
        return {};
    case DutyState::Unreachable:
        return QStringLiteral(
                   "this gateway stands by and reads no PLC: the database that says which gateway is "
                   "on duty does not answer: %1")
            .arg(problem);
    case DutyState::StandsBy:
        return QStringLiteral("this gateway stands by for %1, which reads and writes the PLCs: ask there")
            .arg(holder);
    case DutyState::TakesOver:
        return QStringLiteral("this gateway takes over: in a few seconds it reads the PLCs");
    case DutyState::Leaves:
        return QStringLiteral("this gateway stops reading the PLCs: it is no longer on duty");
    }
    return {};
}

Duty::Order Duty::held(kvlink::SteadyTime asked, kvlink::SteadyTime answered)
{
    if (m_state == DutyState::Leaves)
        return Order::None;
    if (m_state != DutyState::TakesOver && m_state != DutyState::OnDuty) {
        m_state = DutyState::TakesOver;
        m_got = answered;
    }
    m_proof = asked;
    if (m_state == DutyState::OnDuty || asked - m_got < m_timing.grace)
        return Order::None;
    m_state = DutyState::OnDuty;
    return Order::Begin;
}

Duty::Order Duty::lose(DutyState next)
{
    if (m_state == DutyState::Leaves)
        return Order::None;
    const bool worked = m_state == DutyState::OnDuty;
    m_state = worked ? DutyState::Leaves : next;
    return worked ? Order::Leave : Order::None;
}

void Duty::left()
{
    if (m_state == DutyState::Leaves)
        m_state = DutyState::Unreachable;
}

std::optional<kvlink::SteadyTime> Duty::end() const
{
    if (m_state != DutyState::OnDuty && m_state != DutyState::Leaves)
        return std::nullopt;
    return m_proof + m_timing.last;
}

} // namespace kvgateway
