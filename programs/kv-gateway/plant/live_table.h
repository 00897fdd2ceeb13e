// SPDX-License-Identifier: MIT
// The newest sample of each tag and the state of each link, for any number of readers.
//
// Each change has a number. A reader remembers the last number that it saw and asks for what came
// after it: so a slow reader gets the newest state, and nothing is queued for anybody.
//
//     const Changes changes = table.changesAfter(seen, LiveTable::mostAtOnce);
//     for (const SampleChange &change : changes.samples)
//         show(table.tags()[change.tag], change.sample);
//     seen = changes.last;
#pragma once

#include "config/config.h"

#include <kvlink/link.h>
#include <kvlink/sample.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kvgateway
{

struct TableTag {
    TagConfig config;
    int plc = 0; ///< index of its PLC
};

struct SampleChange {
    int tag = 0;
    kvlink::Sample sample;
};

struct LinkChange {
    int plc = 0;
    kvlink::LinkStatus status;
};

struct Changes {
    std::vector<SampleChange> samples; ///< at most one for each tag, the oldest change first
    std::vector<LinkChange> links;
    quint64 last = 0;  ///< what to ask for next
    bool more = false; ///< there are more: ask again at once
};

constexpr int qualityCount = 5;
using QualityCounts = std::array<qint64, qualityCount>; ///< by kvlink::Quality

/// Tags and PLCs never change: a new configuration makes a new table. Every call from any thread;
/// no lock is held longer than it takes to copy 1,000 samples.
class LiveTable
{
public:
    static constexpr int mostAtOnce = 1000;

    /// \param run names this table to readers that come back: of another one they know nothing
    LiveTable(QString run, std::vector<QString> plcs, std::vector<TableTag> tags);

    const QString &run() const { return m_run; }
    const std::vector<QString> &plcs() const { return m_plcs; }
    const std::vector<TableTag> &tags() const { return m_tags; }
    /// -1: there is no such tag
    int find(const QString &name) const;
    /// -1: there is no such PLC
    int findPlc(const QString &name) const;

    /// A sample without a value keeps the value and the time that the table has: a link that never
    /// came up does not hide what was known before.
    void update(int tag, kvlink::Sample sample);
    void setLink(int plc, const kvlink::LinkStatus &status);

    kvlink::Sample sample(int tag) const;
    /// In the order of \a tags.
    std::vector<kvlink::Sample> samples(const std::vector<int> &tags) const;
    kvlink::LinkStatus link(int plc) const;
    QualityCounts qualities(int plc) const;

    /// \param seen the last number that the reader has; 0: everything
    Changes changesAfter(quint64 seen, int most) const;
    /// The number of the newest change.
    quint64 newest() const;
    /// Waits until something changes after \a seen, the table is closed, or the time is over.
    void waitForChange(quint64 seen, kvlink::Duration longest) const;
    /// Wakes those who wait: there is a newer table, or the service ends.
    void close();
    bool isClosed() const;

private:
    struct LogItem {
        quint64 seq;
        int index; ///< a tag; beyond the tags a PLC
    };

    const QString &nameOf(int tag) const { return m_tags[std::size_t(tag)].config.name; }
    void note(int index);
    void forgetOld();

    const QString m_run;
    const std::vector<QString> m_plcs;
    const std::vector<TableTag> m_tags;
    std::vector<int> m_byName; ///< indexes of tags, sorted by their names

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<kvlink::Sample> m_samples;
    std::vector<kvlink::LinkStatus> m_links;
    std::vector<QualityCounts> m_qualities;
    std::vector<quint64> m_seqs; ///< of tags, then of PLCs: their last change
    std::vector<LogItem> m_log;  ///< all last changes in their order, between older ones
    quint64 m_seq = 0;
    bool m_isClosed = false;
};

} // namespace kvgateway
