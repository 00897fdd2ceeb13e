// SPDX-License-Identifier: MIT
#include "inbox.h"

namespace kvgateway
{

namespace
{

constexpr kvlink::WallTime never{};

kvlink::WallTime orNow(kvlink::WallTime time, kvlink::WallTime now)
{
    return time == never ? now : time;
}

} // namespace

void Inbox::addHistory(std::vector<HistoryRow> rows, kvlink::WallTime now)
{
    const std::scoped_lock lock(m_lock);
    if (!m_settings.keepHistory)
        return;
    for (HistoryRow &row : rows) {
        row.sample.time = orNow(row.sample.time, now);
        // Once one of a tag is lost, its next ones would make a value hold that did not.
        if (m_losses.isEmpty() && qint64(m_history.size()) + m_takenHistory < m_settings.mostHistoryQueued) {
            m_history.push_back(std::move(row));
            continue;
        }
        auto loss = m_losses.find(row.tag);
        if (loss == m_losses.end())
            loss = m_losses.insert(row.tag, {row.sample.time, {}});
        else
            ++m_droppedHistory; // the one before: the newest is kept
        loss->newest = std::move(row);
    }
}

std::vector<HistoryRow> Inbox::takeHistory()
{
    const std::scoped_lock lock(m_lock);
    std::vector<HistoryRow> rows;
    rows.swap(m_history);
    for (auto loss = m_losses.begin(); loss != m_losses.end(); ++loss) {
        HistoryRow end{loss.key(), {}};
        end.sample.quality = kvlink::Quality::Stale;
        end.sample.reason = kvlink::Reason::QueueFull;
        end.sample.time = loss->first;
        rows.push_back(std::move(end));
        rows.push_back(std::move(loss->newest));
    }
    m_losses.clear();
    m_takenHistory += qint64(rows.size());
    return rows;
}

bool Inbox::addAudit(AuditRow row, kvlink::WallTime now)
{
    const std::scoped_lock lock(m_lock);
    if (qint64(m_audit.size()) + m_takenAudit >= m_settings.mostAuditQueued)
        return false;
    row.time = orNow(row.time, now);
    m_audit.push_back(std::move(row));
    return true;
}

bool Inbox::canAudit() const
{
    const std::scoped_lock lock(m_lock);
    return qint64(m_audit.size()) + m_takenAudit < m_settings.mostAuditQueued;
}

void Inbox::addEvent(EventRow row, kvlink::WallTime now)
{
    const std::scoped_lock lock(m_lock);
    if (m_events.size() >= std::size_t(m_settings.mostEventsQueued)) {
        ++m_droppedEvents;
        return;
    }
    row.time = orNow(row.time, now);
    m_events.push_back(std::move(row));
}

void Inbox::keepLast(const std::vector<LastValue> &values)
{
    const std::scoped_lock lock(m_lock);
    for (const LastValue &value : values)
        m_lastValues.insert(value.tag, value);
}

JournalBatch Inbox::takeJournal()
{
    const std::scoped_lock lock(m_lock);
    JournalBatch batch;
    batch.audit.swap(m_audit);
    batch.events.swap(m_events);
    m_takenAudit += qint64(batch.audit.size());
    for (auto next = m_lastValues.begin();
         next != m_lastValues.end() && batch.lastValues.size() < lastValuesAtOnce;
         next = m_lastValues.erase(next))
        batch.lastValues.push_back(std::move(next.value()));
    return batch;
}

void Inbox::setHistoryLeft(qint64 rows)
{
    const std::scoped_lock lock(m_lock);
    m_takenHistory = rows;
}

void Inbox::setAuditLeft(qint64 rows)
{
    const std::scoped_lock lock(m_lock);
    m_takenAudit = rows;
}

bool Inbox::isEmpty() const
{
    const std::scoped_lock lock(m_lock);
    return m_history.empty() && m_losses.isEmpty() && m_audit.empty() && m_events.empty() &&
           m_lastValues.isEmpty();
}

qint64 Inbox::queuedHistory() const
{
    const std::scoped_lock lock(m_lock);
    return qint64(m_history.size()) + m_losses.size() + m_takenHistory;
}

qint64 Inbox::queuedAudit() const
{
    const std::scoped_lock lock(m_lock);
    return qint64(m_audit.size()) + m_takenAudit;
}

quint64 Inbox::droppedHistory() const
{
    const std::scoped_lock lock(m_lock);
    return m_droppedHistory;
}

quint64 Inbox::droppedEvents() const
{
    const std::scoped_lock lock(m_lock);
    return m_droppedEvents;
}

} // namespace kvgateway
