// SPDX-License-Identifier: MIT
#include "database_outlet.h"

#include "back_off.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr auto longestStop = 600ms;

std::vector<quint64> seqsOf(const std::vector<OutletRow> &rows)
{
    std::vector<quint64> seqs;
    seqs.reserve(rows.size());
    for (const OutletRow &row : rows)
        seqs.push_back(row.seq);
    return seqs;
}

} // namespace

class DatabaseOutlet::Work
{
public:
    Work(std::shared_ptr<SampleWriter> writer, DatabaseTiming timing)
        : m_writer(std::move(writer)), m_timing(timing)
    {
    }

    // The outlet's thread.
    void run()
    {
        BackOff backOff(m_timing.firstBackOff, m_timing.longestBackOff);
        while (!isEnding()) {
            m_hasWritten = false;
            const QString problem = session();
            m_writer->close();
            close(problem);
            if (m_hasWritten)
                backOff.reset();
            std::unique_lock lock(m_mutex);
            m_changed.wait_for(lock, backOff.next(), [this] { return m_isEnding; });
        }
        const std::lock_guard lock(m_mutex);
        m_hasEnded = true;
        m_changed.notify_all();
    }

    // The other side: any thread.
    void setEvents(OutletEvents *events)
    {
        const std::lock_guard lock(m_eventMutex);
        m_events = events;
    }

    // \return whether the thread has ended in time
    bool end()
    {
        std::unique_lock lock(m_mutex);
        m_isEnding = true;
        m_state.session = 0;
        m_changed.notify_all();
        m_writer->interrupt();
        return m_changed.wait_for(lock, longestStop, [this] { return m_hasEnded; });
    }

    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind)
    {
        const std::lock_guard lock(m_mutex);
        // Stored rows take at most half of the window, so that live ones need not wait for them.
        const std::size_t most = kind == OfferKind::Live ? window : window / 2;
        const std::size_t held = m_queue.size() + m_inHand;
        if (!m_state.isReady() || held >= most)
            return 0;
        const std::size_t count = std::min(rows.size(), most - held);
        m_queue.insert(m_queue.end(), rows.begin(), rows.begin() + std::ptrdiff_t(count));
        m_changed.notify_all();
        return count;
    }

    OutletState state() const
    {
        const std::lock_guard lock(m_mutex);
        return m_state;
    }

    void setTags(const std::vector<TagConfig> &tags)
    {
        auto facts = std::make_shared<std::vector<TagFacts>>();
        facts->reserve(tags.size());
        for (const TagConfig &tag : tags)
            facts->push_back({tag.name, tag.settings.unit, tag.comment});
        const std::lock_guard lock(m_mutex);
        m_tags = std::move(facts);
        m_hasNewTags = true;
        m_changed.notify_all();
    }

private:
    bool isEnding() const
    {
        const std::lock_guard lock(m_mutex);
        return m_isEnding;
    }

    template <typename Call>
    void tell(const Call &call)
    {
        const std::lock_guard lock(m_eventMutex);
        if (m_events != nullptr)
            call(*m_events);
    }

    // \return why it ended
    QString session()
    {
        QString problem;
        if (!m_writer->open(problem) || !giveTags(true, problem) || !tryOnce(problem))
            return problem;
        {
            const std::lock_guard lock(m_mutex);
            if (m_isEnding)
                return {};
            m_state.session = ++m_sessions;
            m_state.problem.clear();
        }
        tell([](OutletEvents &events) { events.changed(); });
        while (problem.isEmpty() && !isEnding())
            turn(problem);
        return problem;
    }

    // A database that lets us in and takes no rows, since its disk is full or a right is missing,
    // is not there: what failed last has to go before anything else is taken.
    bool tryOnce(QString &problem)
    {
        if (m_failed.empty())
            return true;
        if (m_writer->write(m_failed, problem) == WriteResult::Lost)
            return false;
        problem.clear();
        m_failed.clear();
        return true;
    }

    bool giveTags(bool isNewSession, QString &problem)
    {
        std::shared_ptr<const std::vector<TagFacts>> tags;
        {
            const std::lock_guard lock(m_mutex);
            if (!std::exchange(m_hasNewTags, false) && !isNewSession)
                return true;
            tags = m_tags;
        }
        return m_writer->takeTags(*tags, problem);
    }

    void turn(QString &problem)
    {
        const std::vector<OutletRow> batch = nextBatch();
        if (!giveTags(false, problem))
            return;
        if (!batch.empty())
            write(batch, problem);
        else if (!m_writer->isAlive(problem) && problem.isEmpty())
            problem = QStringLiteral("the connection was lost");
    }

    // Waits for rows, and a little longer for more of them.
    std::vector<OutletRow> nextBatch()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, m_timing.look,
                           [this] { return !m_queue.empty() || m_hasNewTags || m_isEnding; });
        if (!m_queue.empty())
            m_changed.wait_for(lock, m_timing.gather,
                               [this] { return m_queue.size() >= m_mostRows || m_isEnding; });
        std::vector<OutletRow> batch;
        while (!m_queue.empty() && batch.size() < m_mostRows) {
            batch.push_back(std::move(m_queue.front()));
            m_queue.pop_front();
        }
        m_inHand = batch.size();
        return batch;
    }

    void write(const std::vector<OutletRow> &batch, QString &problem)
    {
        QString trouble;
        const WriteResult result = m_writer->write(batch, trouble);
        const bool isAlone = batch.size() == 1;
        if (result == WriteResult::Written) {
            m_hasWritten = true;
            m_mostRows = std::min(m_mostRows * 2, largestBatch);
            tell([&](OutletEvents &events) { events.acknowledged(seqsOf(batch)); });
        } else if (result == WriteResult::Refused && isAlone) {
            tell([&](OutletEvents &events) {
                events.refused(seqsOf(batch), batch.front().tag + ": " + trouble);
            });
        } else {
            // Also when there was no answer: perhaps so many took too long.
            m_mostRows = std::max<std::size_t>(batch.size() / 2, 1);
        }
        if (result == WriteResult::Lost) {
            problem = trouble;
            m_failed.assign(1, batch.front());
        }
        const std::lock_guard lock(m_mutex);
        m_inHand = 0;
        if (result == WriteResult::Refused && !isAlone)
            m_queue.insert(m_queue.begin(), batch.begin(), batch.end());
    }

    void close(const QString &problem)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_queue.clear();
            m_inHand = 0;
            m_state.session = 0;
            m_state.problem = problem;
        }
        tell([](OutletEvents &events) { events.changed(); });
    }

    const std::shared_ptr<SampleWriter> m_writer;
    const DatabaseTiming m_timing;

    // The outlet's thread alone.
    std::size_t m_mostRows = largestBatch; // in the next batch
    std::vector<OutletRow> m_failed;       // one row of the batch with which a connection was lost
    quint64 m_sessions = 0;
    bool m_hasWritten = false;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<OutletRow> m_queue;
    std::size_t m_inHand = 0; // rows of the batch that is being written
    std::shared_ptr<const std::vector<TagFacts>> m_tags = std::make_shared<std::vector<TagFacts>>();
    bool m_hasNewTags = false;
    OutletState m_state;
    bool m_isEnding = false;
    bool m_hasEnded = false;

    std::mutex m_eventMutex; // held while an event is given out
    OutletEvents *m_events = nullptr;
};

DatabaseOutlet::DatabaseOutlet(std::shared_ptr<SampleWriter> writer, DatabaseTiming timing)
    : m_work(std::make_shared<Work>(std::move(writer), timing))
{
}

DatabaseOutlet::~DatabaseOutlet()
{
    DatabaseOutlet::stop();
}

void DatabaseOutlet::start(OutletEvents &events)
{
    m_work->setEvents(&events);
    m_thread = std::thread([work = m_work] { work->run(); });
}

void DatabaseOutlet::stop()
{
    if (!m_thread.joinable())
        return;
    const bool hasEnded = m_work->end();
    m_work->setEvents(nullptr);
    // On purpose: a thread that looks up a name cannot be called back. It ends by itself and
    // touches nothing of ours any more.
    if (hasEnded)
        m_thread.join();
    else
        m_thread.detach();
}

std::size_t DatabaseOutlet::offer(const std::vector<OutletRow> &rows, OfferKind kind)
{
    return m_work->offer(rows, kind);
}

OutletState DatabaseOutlet::state() const
{
    return m_work->state();
}

void DatabaseOutlet::setTags(const std::vector<TagConfig> &tags)
{
    m_work->setTags(tags);
}

} // namespace kvgateway
