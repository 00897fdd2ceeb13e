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

// Other bits of the same word may be written in any order.
bool sameElements(const Address &a, const Address &b)
{
    return overlap(a, b) &&
           (a.element != b.element || (a.number < b.number + b.elements && b.number < a.number + a.elements));
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
        const bool inTheWay = request.state == RequestState::Pending ? overlap(request.address, address)
                                                                     : sameElements(request.address, address);
        if (request.kind == RequestKind::Write && inTheWay)
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
        finish(owner, &*found,
               status != 1     ? RequestState::Failed
               : found->unsure ? RequestState::Unsure
                               : RequestState::Proving);
    if (found->taken)
        m_requests.erase(found);
}

void RequestLedger::proved(int station)
{
    endProof(station, RequestState::Done);
}

void RequestLedger::unsure(int station)
{
    endProof(station, RequestState::Unsure);
}

void RequestLedger::endProof(int station, RequestState state)
{
    const std::lock_guard held(m_mutex);
    for (auto owner = m_provingOwners.begin(); owner != m_provingOwners.end();) {
        Request &request = m_requests[*owner];
        if (request.address.station != station) {
            ++owner;
            continue;
        }
        request.state = state;
        if (state == RequestState::Done)
            m_pendingOwners.remove(*owner);
        owner = m_provingOwners.erase(owner);
    }
}

void RequestLedger::partUnsure(int owner)
{
    const std::lock_guard held(m_mutex);
    const auto found = m_requests.find(owner);
    if (found != m_requests.end())
        found->unsure = true;
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
    Request request = *found;
    // One that the host itself gave up may still be reported by the driver and must be known then.
    const bool ended = request.state != RequestState::Pending && request.state != RequestState::Proving;
    found->taken = ended;
    if (ended && request.reports > 0) {
        m_requests.erase(found);
        m_pendingOwners.remove(owner);
    }
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
    if (state == RequestState::Proving) {
        m_provingOwners.insert(owner);
        request->reason.clear();
        request->trouble = Trouble::None;
    }
    --m_pending[int(request->kind)];
    --m_pendingAt[request->address.station];
    if (state == RequestState::Done || state == RequestState::Failed)
        m_pendingOwners.remove(owner);
}

} // namespace kvhost
