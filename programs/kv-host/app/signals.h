// SPDX-License-Identifier: MIT
// INT, TERM and HUP, handled between events and never inside one.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace kvhost
{

/// One object at a time.
class Signals
{
public:
    /// \param caught called once, on the thread that made this, with the signal's number. A second
    ///   signal ends the process at once, however busy it is.
    explicit Signals(std::function<void(int)> caught);
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    /// From now on HUP does not end the program but calls this, as often as it comes.
    void reopenOnHup(std::function<void()> reopen);

    /// Readable from the signal on, forever.
    int stopDescriptor() const;

private:
    std::function<void(int)> m_caught;
    std::function<void()> m_reopen;
    std::unique_ptr<QSocketNotifier> m_stop;
    std::unique_ptr<QSocketNotifier> m_hup;
};

} // namespace kvhost
