// SPDX-License-Identifier: MIT
// An outlet takes the changes of the plant to another system: a broker, a database. What it does
// not take is kept for it by a feeder, one for each outlet.
//
//     feeder                         outlet
//       | start(events) ------------->|
//       | offer(rows) --------------->|  how many it took
//       |<------------- acknowledged  |  the other system has them: only now they are forgotten
//       |<------------------ changed  |  state() is another one
#pragma once

#include "config/config.h"

#include <kvlink/sample.h>

#include <QString>

#include <vector>

namespace kvgateway
{

/// A sample on its way to an outlet.
struct OutletRow {
    /// Rising in the order of the changes, over all tags of the outlet, after a restart too. There
    /// may be gaps.
    quint64 seq = 0;
    QString tag; ///< the whole name: "line1.speed"
    kvlink::Sample sample;
};

enum class OfferKind : quint8 {
    Live,   ///< the newest value of its tag, or one on the way to it
    Stored, ///< an older one, kept while the outlet did not take it: it must not become the live value
};

struct OutletState {
    /// Counts the connections. 0: there is none, and nothing is taken. Another number than before:
    /// what was not acknowledged will not be any more.
    quint64 session = 0;
    /// The other side has forgotten the newest values: it wants all of them.
    bool wantsAll = false;
    quint64 round = 0; ///< another number than before: what was postponed may be offered again
    QString problem;   ///< why there is no connection, and what to do; empty while all is well
    QString warning;   ///< what does not work although there is a connection, and what to do; or empty

    bool isReady() const { return session != 0; }
};

/// What an outlet says to its feeder. Any thread; nothing here blocks.
class OutletEvents
{
public:
    virtual ~OutletEvents() = default;

    /// The other side has the rows.
    virtual void acknowledged(const std::vector<quint64> &seqs) = 0;
    /// The other side will never take the rows: they are dropped and counted.
    virtual void refused(const std::vector<quint64> &seqs, const QString &why) = 0;
    /// The rows were offered and cannot go yet: they are kept, and offered again, as stored ones,
    /// when OutletState::round is another one.
    virtual void postponed(const std::vector<quint64> & /*seqs*/) {}
    /// state() is another one.
    virtual void changed() = 0;
};

/// Made and stopped in one thread, fed in another one; state() from any.
class Outlet
{
public:
    virtual ~Outlet() = default;

    /// \param events outlives the outlet
    virtual void start(OutletEvents &events) = 0;
    /// No event comes after it. Within a second.
    virtual void stop() = 0;
    /// Never blocks.
    /// \return how many of the rows it took, the first ones; 0: it is busy, or there
    /// is no connection
    virtual std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind) = 0;
    /// Each row before it is offered, taken or not. What is changed in it is kept.
    virtual void note(OutletRow & /*row*/) {}
    /// Called often while something is not acknowledged: for time-outs.
    virtual void tick() {}
    /// Any thread. \return false: the tag is gone, and its newest value is not to go out again
    virtual bool wantsNewest(const QString & /*tag*/) const { return true; }
    virtual OutletState state() const = 0;

    /// Its tags from now on, with what is known of them. Any thread.
    virtual void setTags(const std::vector<TagConfig> & /*tags*/) {}
    /// Whether the link to a PLC is ready. Any thread.
    virtual void setLink(const QString & /*plc*/, bool /*isReady*/) {}
    /// The PLC is gone. Any thread.
    virtual void removeLink(const QString & /*plc*/) {}
};

} // namespace kvgateway
