// SPDX-License-Identifier: MIT
#include "worker.h"

namespace kvgateway
{

Worker::Worker() : m_thread([this] { run(); }) {}

Worker::~Worker()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        m_posted.notify_all();
    }
    m_thread.join();
}

bool Worker::post(std::function<void()> task)
{
    const std::lock_guard lock(m_mutex);
    if (m_tasks.size() >= mostWaiting)
        return false;
    m_tasks.push_back(std::move(task));
    m_posted.notify_one();
    return true;
}

void Worker::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_posted.wait(lock, [this] { return m_isEnding || !m_tasks.empty(); });
        if (m_isEnding)
            return;
        const std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

} // namespace kvgateway
