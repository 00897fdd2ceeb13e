#include "request_ledger.h"

namespace kvhost
{

namespace
{

bool overlap(const Address &a, const Address &b)
{
    const int endA = a.firstUnit() + a.unitCount();
    const int endB = b.firstUnit() + b.unitCount();
    return a.station == b.station && a.area == b.area && a.firstUnit() < endB && b.firstUnit() < endA;
}

} // namespace

int RequestLedger::add(RequestKind kind, const Address &address)
{
    const std::lock_guard held(m_mutex);
    Request request;
    request.kind = kind;
    request.address = address;
    m_requests.insert(++m_lastOwner, request);
    ++m_pending[int(kind)];
    ++m_pendingAt[address.station];
    m_pendingOwners.insert(m_lastOwner);
    return m_lastOwner;
}

int RequestLedger::pending(RequestKind kind) const
{
    const std::lock_guard held(m_mutex);
    return m_pending[int(kind)];
}

bool RequestLedger::writePending(const Address &address) const
{
    const std::lock_guard held(m_mutex);
    for (const int owner : m_pendingOwners) {
        const Request request = m_requests.value(owner);
        if (request.kind == RequestKind::Write && overlap(request.address, address))
            return true;
    }
    return false;
}

int RequestLedger::pendingAt(int station) const
{
    const std::lock_guard held(m_mutex);
    return m_pendingAt.value(station);
}

void RequestLedger::noteFailure(RequestKind kind, int owner, Trouble trouble, const QString &reason)
{
    const std::lock_guard held(m_mutex);
    const auto found = m_requests.find(owner);
    if (found == m_requests.end() || found->kind != kind || found->state != RequestState::Pending)
        return;
    found->trouble = trouble;
    found->reason = reason;
}

void RequestLedger::reported(RequestKind kind, int owner, int status)
{
    const std::lock_guard held(m_mutex);
    const auto found = m_requests.find(owner);
    if (found == m_requests.end() || found->kind != kind || found->reports > 0) {
        ++m_surplusReports;
        return;
    }
    ++found->reports;
    if (found->state == RequestState::Pending)
        finish(owner, &*found, status == 1 ? RequestState::Done : RequestState::Failed);
}

void RequestLedger::fail(int owner, Trouble trouble, const QString &reason)
{
    const std::lock_guard held(m_mutex);
    const auto found = m_requests.find(owner);
    if (found == m_requests.end() || found->state != RequestState::Pending)
        return;
    found->trouble = trouble;
    found->reason = reason;
    finish(owner, &*found, RequestState::Failed);
}

Request RequestLedger::request(int owner) const
{
    const std::lock_guard held(m_mutex);
    return m_requests.value(owner);
}

Request RequestLedger::take(int owner)
{
    const std::lock_guard held(m_mutex);
    const auto found = m_requests.find(owner);
    if (found == m_requests.end())
        return {};
    const Request request = *found;
    // One that the host itself gave up may still be reported by the driver and must be known then.
    if (request.state != RequestState::Pending && request.reports > 0)
        m_requests.erase(found);
    return request;
}

int RequestLedger::surplusReports() const
{
    const std::lock_guard held(m_mutex);
    return m_surplusReports;
}

bool RequestLedger::taken(int returned, int pendingBefore)
{
    // Below the limit an entry is always taken. At the limit the size alone does not tell the 1024th entry
    // from a dropped one; how many there had been does.
    return returned > 0 && (returned < DRIVER_LIST_LIMIT || pendingBefore < DRIVER_LIST_LIMIT);
}

void RequestLedger::finish(int owner, Request *request, RequestState state)
{
    request->state = state;
    if (state == RequestState::Done) {
        request->reason.clear();
        request->trouble = Trouble::None;
    }
    --m_pending[int(request->kind)];
    --m_pendingAt[request->address.station];
    m_pendingOwners.remove(owner);
}

} // namespace kvhost
