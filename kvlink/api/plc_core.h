// SPDX-License-Identifier: MIT
// What the C++ face and the C face have in common: one link with its tags, values, reads, writes
// and questions; no signals.
//
// What can be judged without the PLC (addresses, settings, options, texts) is judged in the
// caller's thread; the rest goes to the engine on the link's thread.
//
// Threads: every call from any thread, but for the destructor.
#pragma once

#include "api/plc_writes.h"

#include <kvlink/plc.h>

namespace kvlink
{

class PlcCore : public PlcLink
{
public:
    explicit PlcCore(const LinkSettings &settings);
    PlcCore(const LinkSettings &settings, Parts parts);

    PlcWrites &writes() { return m_writes; }

    Tag addTag(const TagSettings &settings, QString *problem);
    std::vector<Tag> addTags(const std::vector<TagSettings> &settings, QStringList *problems);
    bool removeTag(Tag tag);
    bool setPeriod(Tag tag, Duration period);
    TagSettings tagSettings(Tag tag) const;

    Sample sample(Tag tag) const;
    std::vector<Sample> samples(const std::vector<Tag> &tags) const;
    /// The first entry of the mailbox, a change with the newest sample of its tag.
    std::optional<Event> take();
    ReadId readNow(const std::vector<Tag> &tags);
    /// As Plc::read. \return false when they were not all read within \a longest
    bool read(const std::vector<Tag> &tags, Duration longest);

    LinkStatistics statistics() const;
    ReadPlan plan() const;
    /// A question that changes nothing in the PLC.
    static bool isQuestion(const QString &command);
    static QString noQuestion(const QString &command); ///< why it is not sent
    QueryId query(const QString &command);
    QueryResult queryAndWait(const QString &command, Duration longest);

private:
    void ask(QueryId id, const QString &command);

    PlcWrites m_writes{*this};
};

} // namespace kvlink
