// SPDX-License-Identifier: MIT
// A bounded queue and the thread that empties it.
#include "log_writer.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace kvhost
{

using kvlink::Duration;
using namespace std::chrono_literals;

namespace
{

constexpr Duration tryAgainAfter = 1s; // after the target refused a batch

} // namespace

struct LogWriter::State {
    std::unique_ptr<LogSink> sink; // of the thread alone
    Duration collect{};
    std::function<void()> onNews;
    std::size_t most = 0;

    mutable std::mutex mutex; // of all that follows
    std::condition_variable wake;
    std::condition_variable ended;
    std::deque<LogRow> waiting;
    std::size_t inHand = 0; // rows that the thread is writing
    qint64 written = 0, lost = 0;
    QString problem;
    bool isGone = false;
    bool mustReopen = false;
    bool mustEnd = false;
    bool hasEnded = false;

    std::vector<LogRow> takeBatch()
    {
        std::vector<LogRow> batch(std::make_move_iterator(waiting.begin()),
                                  std::make_move_iterator(waiting.end()));
        waiting.clear();
        inHand = batch.size();
        return batch;
    }

    void settle(std::vector<LogRow> batch, std::size_t taken)
    {
        written += qint64(taken);
        inHand = 0;
        waiting.insert(waiting.begin(), std::make_move_iterator(batch.begin() + std::ptrdiff_t(taken)),
                       std::make_move_iterator(batch.end()));
        while (waiting.size() > most) {
            waiting.pop_front();
            ++lost;
        }
    }
};

LogWriter::LogWriter(std::unique_ptr<LogSink> sink, Duration collect, std::function<void()> onNews,
                     std::size_t most)
    : m_state(std::make_shared<State>())
{
    m_state->sink = std::move(sink);
    m_state->collect = collect;
    m_state->onNews = std::move(onNews);
    m_state->most = most;
    std::thread([state = m_state] { run(state); }).detach();
}

LogWriter::~LogWriter()
{
    finish(1s);
}

void LogWriter::add(LogRow row)
{
    const std::lock_guard lock(m_state->mutex);
    if (m_state->waiting.size() + m_state->inHand >= m_state->most && !m_state->waiting.empty()) {
        m_state->waiting.pop_front();
        ++m_state->lost;
    }
    m_state->waiting.push_back(std::move(row));
    m_state->wake.notify_one();
}

void LogWriter::reopen()
{
    const std::lock_guard lock(m_state->mutex);
    m_state->mustReopen = true;
}

bool LogWriter::finish(Duration longest)
{
    std::unique_lock lock(m_state->mutex);
    m_state->mustEnd = true;
    m_state->wake.notify_one();
    const bool inTime = m_state->ended.wait_for(lock, longest, [this] { return m_state->hasEnded; });
    m_state->onNews = nullptr;
    m_state->lost += qint64(m_state->waiting.size() + (m_state->hasEnded ? 0 : m_state->inHand));
    m_state->waiting.clear();
    return inTime;
}

qint64 LogWriter::written() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->written;
}

qint64 LogWriter::lost() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->lost;
}

QString LogWriter::problem() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->problem;
}

bool LogWriter::isGone() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->isGone;
}

void LogWriter::run(const std::shared_ptr<State> &state)
{
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return state->mustEnd || !state->waiting.empty(); });
        const Duration pause = state->problem.isEmpty() ? state->collect : tryAgainAfter;
        if (pause > Duration(0))
            state->wake.wait_for(lock, pause, [&] { return state->mustEnd; });
        if (std::exchange(state->mustReopen, false))
            state->sink->reopen();
        std::vector<LogRow> batch = state->takeBatch();
        const bool isLast = state->mustEnd;
        lock.unlock();
        QString problem;
        const std::size_t taken = batch.empty() ? 0 : state->sink->write(batch, problem);
        lock.lock();
        const bool isNews = state->problem != problem || state->isGone != state->sink->isGone();
        state->problem = problem;
        state->isGone = state->sink->isGone();
        state->settle(std::move(batch), taken);
        if (isNews && state->onNews)
            state->onNews();
        if (isLast)
            break;
    }
    state->hasEnded = true;
    state->ended.notify_all();
}

} // namespace kvhost
