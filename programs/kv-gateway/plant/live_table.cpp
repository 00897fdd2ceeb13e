// SPDX-License-Identifier: MIT
#include "live_table.h"

#include <algorithm>
#include <numeric>

namespace kvgateway
{

LiveTable::LiveTable(QString run, std::vector<QString> plcs, std::vector<TableTag> tags)
    : m_run(std::move(run)), m_plcs(std::move(plcs)), m_tags(std::move(tags)), m_samples(m_tags.size()),
      m_links(m_plcs.size()), m_qualities(m_plcs.size()), m_seqs(m_tags.size() + m_plcs.size())
{
    m_byName.resize(m_tags.size());
    std::iota(m_byName.begin(), m_byName.end(), 0);
    std::sort(m_byName.begin(), m_byName.end(),
              [this](int one, int other) { return nameOf(one) < nameOf(other); });
    for (const TableTag &tag : m_tags)
        ++m_qualities[std::size_t(tag.plc)][std::size_t(kvlink::Quality::Never)];
    for (std::size_t i = 0; i < m_seqs.size(); ++i)
        note(int(i));
}

int LiveTable::find(const QString &name) const
{
    const auto found =
        std::lower_bound(m_byName.begin(), m_byName.end(), name,
                         [this](int tag, const QString &sought) { return nameOf(tag) < sought; });
    return found == m_byName.end() || nameOf(*found) != name ? -1 : *found;
}

int LiveTable::findPlc(const QString &name) const
{
    const auto found = std::find(m_plcs.begin(), m_plcs.end(), name);
    return found == m_plcs.end() ? -1 : int(found - m_plcs.begin());
}

void LiveTable::update(int tag, kvlink::Sample sample)
{
    const std::lock_guard lock(m_mutex);
    kvlink::Sample &held = m_samples[std::size_t(tag)];
    if (!sample.hasValue()) {
        sample.value = held.value;
        sample.time = held.time;
        sample.steadyTime = held.steadyTime;
    }
    QualityCounts &counts = m_qualities[std::size_t(m_tags[std::size_t(tag)].plc)];
    --counts[std::size_t(held.quality)];
    ++counts[std::size_t(sample.quality)];
    held = std::move(sample);
    note(tag);
}

void LiveTable::setLink(int plc, const kvlink::LinkStatus &status)
{
    const std::lock_guard lock(m_mutex);
    m_links[std::size_t(plc)] = status;
    note(int(m_tags.size()) + plc);
}

void LiveTable::note(int index)
{
    m_seqs[std::size_t(index)] = ++m_seq;
    m_log.push_back({m_seq, index});
    if (m_log.size() > 2 * m_seqs.size() + std::size_t(mostAtOnce))
        forgetOld();
    m_changed.notify_all();
}

void LiveTable::forgetOld()
{
    m_log.erase(
        std::remove_if(m_log.begin(), m_log.end(),
                       [this](const LogItem &item) { return m_seqs[std::size_t(item.index)] != item.seq; }),
        m_log.end());
}

kvlink::Sample LiveTable::sample(int tag) const
{
    const std::lock_guard lock(m_mutex);
    return m_samples[std::size_t(tag)];
}

std::vector<kvlink::Sample> LiveTable::samples(const std::vector<int> &tags) const
{
    std::vector<kvlink::Sample> found;
    found.reserve(tags.size());
    for (std::size_t begin = 0; begin < tags.size(); begin += mostAtOnce) {
        const std::lock_guard lock(m_mutex);
        const std::size_t end = std::min(tags.size(), begin + mostAtOnce);
        for (std::size_t i = begin; i < end; ++i)
            found.push_back(m_samples[std::size_t(tags[i])]);
    }
    return found;
}

kvlink::LinkStatus LiveTable::link(int plc) const
{
    const std::lock_guard lock(m_mutex);
    return m_links[std::size_t(plc)];
}

QualityCounts LiveTable::qualities(int plc) const
{
    const std::lock_guard lock(m_mutex);
    return m_qualities[std::size_t(plc)];
}

Changes LiveTable::changesAfter(quint64 seen, int most) const
{
    const std::lock_guard lock(m_mutex);
    Changes changes;
    changes.last = std::max(seen, m_seq);
    auto item = std::upper_bound(m_log.begin(), m_log.end(), seen,
                                 [](quint64 seq, const LogItem &one) { return seq < one.seq; });
    for (int count = 0; item != m_log.end(); ++item) {
        const auto index = std::size_t(item->index);
        if (m_seqs[index] != item->seq)
            continue;
        if (count++ == std::min(most, mostAtOnce)) {
            changes.last = item->seq - 1;
            changes.more = true;
            break;
        }
        if (index < m_tags.size())
            changes.samples.push_back({int(index), m_samples[index]});
        else
            changes.links.push_back({int(index - m_tags.size()), m_links[index - m_tags.size()]});
    }
    return changes;
}

quint64 LiveTable::newest() const
{
    const std::lock_guard lock(m_mutex);
    return m_seq;
}

void LiveTable::waitForChange(quint64 seen, kvlink::Duration longest) const
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, longest, [&] { return m_seq > seen || m_isClosed; });
}

void LiveTable::close()
{
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

bool LiveTable::isClosed() const
{
    const std::lock_guard lock(m_mutex);
    return m_isClosed;
}

} // namespace kvgateway
