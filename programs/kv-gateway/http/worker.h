// SPDX-License-Identifier: MIT
// A thread for what would hold up other requests: reading the history, checking a password.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace kvgateway
{

class Worker
{
public:
    static constexpr std::size_t mostWaiting = 64;

    Worker();
    ~Worker(); ///< ends after the task at hand; those that wait are dropped
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    /// Any thread. \return false: too many wait already
    bool post(std::function<void()> task);

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::deque<std::function<void()>> m_tasks;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace kvgateway
