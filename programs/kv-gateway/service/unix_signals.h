// SPDX-License-Identifier: MIT
// TERM, INT and HUP as events of Qt's loop.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace kvgateway
{

/// Made before any other thread, so that none of them takes the signals.
class UnixSignals
{
public:
    /// \param stop   on TERM and INT
    /// \param reload on HUP
    UnixSignals(std::function<void()> stop, std::function<void()> reload);
    ~UnixSignals();
    UnixSignals(const UnixSignals &) = delete;
    UnixSignals &operator=(const UnixSignals &) = delete;

private:
    void take();

    std::function<void()> m_stop;
    std::function<void()> m_reload;
    int m_descriptor;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace kvgateway
