// SPDX-License-Identifier: MIT
// A thread that writes logged rows, so that a slow disk never holds up the reading.
#pragma once

#include "log_sink.h"

#include <functional>

namespace kvhost
{

class LogWriter
{
public:
    static constexpr std::size_t mostRows = 100000;

    /// \param collect how long rows are collected before they are written together
    /// \param onNews  called on the writing thread when the problem has changed or the reader has
    ///   gone
    LogWriter(std::unique_ptr<LogSink> sink, kvlink::Duration collect, std::function<void()> onNews,
              std::size_t most = mostRows);
    ~LogWriter();
    LogWriter(const LogWriter &) = delete;
    LogWriter &operator=(const LogWriter &) = delete;

    /// Never waits. What a full disk does not take is kept for later; beyond the most rows the
    /// oldest are lost and counted.
    void add(LogRow row);
    /// Opens the target again with the next rows.
    void reopen();
    /// Writes what waits and ends. \return false if the target did not take it within \a longest:
    /// what waits is then lost
    bool finish(kvlink::Duration longest);

    qint64 written() const;
    qint64 lost() const; ///< after finish() with what still waits
    /// Empty while the target takes what it is offered.
    QString problem() const;
    /// Nobody reads stdout any more.
    bool isGone() const;

private:
    struct State;
    static void run(const std::shared_ptr<State> &state);

    std::shared_ptr<State> m_state; ///< outlives this when the thread is stuck in a write
};

} // namespace kvhost
