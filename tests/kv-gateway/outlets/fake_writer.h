// SPDX-License-Identifier: MIT
// A database that is in the test's hands: it takes rows, refuses some, or is lost.
#pragma once

#include "outlets/sample_writer.h"

#include <condition_variable>
#include <mutex>
#include <set>

namespace kvgateway
{

class FakeWriter : public SampleWriter
{
public:
    bool open(QString &problem) override
    {
        const std::lock_guard lock(m_mutex);
        ++opens;
        if (isThere)
            return true;
        problem = QStringLiteral("the database is away");
        return false;
    }
    bool takeTags(const std::vector<TagFacts> &given, QString & /*problem*/) override
    {
        const std::lock_guard lock(m_mutex);
        tags = given.size();
        return true;
    }
    WriteResult write(const std::vector<OutletRow> &rows, QString &problem) override
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !isHeld || m_isInterrupted; });
        batches.push_back(rows.size());
        if (!isThere || isFull || m_isInterrupted) {
            problem = isFull ? QStringLiteral("the disk is full") : QStringLiteral("the connection was lost");
            return WriteResult::Lost;
        }
        for (const OutletRow &row : rows) {
            if (refused.count(row.sample.toInt()) != 0) {
                problem = QStringLiteral("out of range");
                return WriteResult::Refused;
            }
        }
        for (const OutletRow &row : rows)
            written.push_back(row.sample.toInt());
        return WriteResult::Written;
    }
    bool isAlive(QString & /*problem*/) override
    {
        const std::lock_guard lock(m_mutex);
        return isThere;
    }
    void close() override
    {
        const std::lock_guard lock(m_mutex);
        ++closes;
    }
    void interrupt() override
    {
        const std::lock_guard lock(m_mutex);
        m_isInterrupted = true;
        m_changed.notify_all();
    }

    /// Changes something while the outlet's thread is at work, or looks.
    template <typename Call>
    auto with(const Call &call)
    {
        const std::lock_guard lock(m_mutex);
        m_changed.notify_all();
        return call(*this);
    }

    bool isThere = true;
    bool isFull = false; ///< connects, and takes nothing
    bool isHeld = false; ///< writes wait
    std::set<qint64> refused;
    std::vector<qint64> written;
    std::vector<std::size_t> batches;
    int opens = 0;
    int closes = 0;
    std::size_t tags = 0;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isInterrupted = false;
};

} // namespace kvgateway
