// Every write and one-shot read that was handed to the driver, and how it ended: exactly once, done or
// failed.
//
// Each call gets an owner id of its own, for the driver reports by owner alone. The driver merges a write
// with an earlier one to the same place that still waits, and the earlier owner would hear nothing; so a
// second write to a place is held back by the host until the first is reported. Its lists take 1024 entries
// and drop further ones without a word; so no more than MOST_PENDING are handed over at a time, and the list
// size that each call returns is compared all the same.
#pragma once

#include "address.h"
#include "station_watch.h"

#include <QByteArray>
#include <QHash>
#include <QSet>

#include <mutex>

namespace kvhost
{

enum class RequestKind { Write = 1, Read = 2 }; ///< also the owner type that the driver is given

enum class RequestState {
    Pending,
    Proving, ///< answered; whether by its own answer is not yet proved
    Done,
    Unsure, ///< answered, but perhaps by another's answer: to be asked again
    Failed,
};

struct Request {
    RequestKind kind = RequestKind::Read;
    Address address;
    RequestState state = RequestState::Pending;
    Trouble trouble = Trouble::None;
    QString reason; ///< with Failed
    int reports = 0;
    bool unsure = false; ///< a part of it was answered, perhaps by another's answer
    bool taken = false;  ///< nobody asks for it any more
};

class RequestLedger
{
public:
    static constexpr int MOST_PENDING = 512;
    static constexpr int DRIVER_LIST_LIMIT = 1024;

    /// \return owner id for the driver's call, from 1 on
    int add(RequestKind kind, const Address &address);

    /// Entries of this kind that the driver still holds.
    int pending(RequestKind kind) const;
    /// True if a write to overlapping elements is still pending, or may have to be repeated: a later write
    /// must not be overtaken by the repetition of an earlier one.
    bool writePending(const Address &address) const;
    /// Pending requests of one station.
    int pendingAt(int station) const;

    /// The exchange thread learnt why the request that is in flight does not get on.
    void noteFailure(RequestKind kind, int owner, Trouble trouble, const QString &reason);
    /// From the driver's callback. \param status 1 done, 2 failed
    void reported(RequestKind kind, int owner, int status);
    /// All answered requests of a station got their own answers.
    void proved(int station);
    /// They may have got others'.
    void unsure(int station);
    /// So may a part of this one.
    void partUnsure(int owner);
    /// The call that should have queued it did not, or the host stopped waiting for it.
    void fail(int owner, Trouble trouble, const QString &reason);

    Request request(int owner) const;
    /// The same, and forgets it if it has ended: a host that runs for months would otherwise keep them all.
    Request take(int owner);
    /// Reports that no pending request wanted: 0 as long as each was reported once.
    int surplusReports() const;

    /// Did the driver take the entry? \param returned list size afterwards, \param pendingBefore entries
    /// before
    static bool taken(int returned, int pendingBefore);

private:
    void finish(int owner, Request *request, RequestState state);
    void endProof(int station, RequestState state);

    mutable std::mutex m_mutex;
    QHash<int, Request> m_requests;
    QSet<int> m_pendingOwners; ///< not yet done for certain
    QSet<int> m_provingOwners;
    QHash<int, int> m_pendingAt; // by station
    int m_lastOwner = 0;
    int m_pending[3] = {0, 0, 0};
    int m_surplusReports = 0;
};

} // namespace kvhost
