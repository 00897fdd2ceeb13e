// SPDX-License-Identifier: MIT
// The engine: one link to one PLC as a deterministic machine.
//
// Time, bytes and calls go in by small interfaces; bytes and events come out. Nothing here waits, starts a thread or asks the system
// for anything: with a fake clock and a fake transport a whole run follows from its seed.
//
// Threads: none. The link's thread (api/link_thread) makes all calls, one after the other.
#pragma once

#include "driver/driver.h"
#include "model/clock.h"
#include "model/place.h"
#include "transport/transport.h"

#include <kvlink/plc.h>

#include <vector>

namespace kvlink
{

/// What has happened since the last step.
struct Events {
    struct Change {
        Tag tag;
        Sample sample;
    };
    std::vector<Change> changes;
    std::vector<WriteResult> writes;
    std::vector<LinkStatus> links;
    std::vector<ReadId> reads;
    std::vector<QueryResult> queries;

    bool isEmpty() const
    {
        return changes.empty() && writes.empty() && links.empty() && reads.empty() && queries.empty();
    }
    void clear();
};

/// A tag whose address has been parsed.
struct EngineTag {
    Tag tag;
    Place place;
    Duration period{};
    double scale = 1.0;
    double offset = 0.0;
    double deadband = 0.0;
    bool readOnly = false;
    bool command = false;
};

struct EngineWrite {
    WriteId id = 0;
    Tag tag;
    Value value;
    WriteOptions options;
    bool release =
        false; ///< of a push button: never replaced, never expires, repeated until confirmed or the link is lost
};

class EngineImpl;

class Engine
{
public:
    /// \param seed for the jitter of reconnecting
    Engine(const Clock &clock, Transport &transport, Driver &driver, const LinkSettings &settings,
           quint64 seed);
    ~Engine();

    void start();
    void stop();

    void addTags(std::vector<EngineTag> tags);
    void removeTag(Tag tag);
    void setPeriod(Tag tag, Duration period);
    void readNow(ReadId id, const std::vector<Tag> &tags);

    void write(EngineWrite write);
    void pulse(WriteId id, Tag relay, Duration length);
    bool cancel(WriteId id);
    int cancelAll();
    /// A push button; see Momentary. The press is named by an id of the caller's, and is a write with that id.
    void press(WriteId id, Tag relay);
    void renew(WriteId press);
    void release(WriteId press);

    void query(QueryId id, const QByteArray &command);

    /// Does what is due now and what has come; never blocks. Appends what happened to \a out.
    /// \return when it must be called again at the latest; earlier when bytes come or a call was made
    SteadyTime step(Events &out);

    LinkStatus link() const;
    LinkStatistics statistics() const;
    ReadPlan plan() const;
    Sample sample(Tag tag) const;
};

} // namespace kvlink
