// INT, TERM and HUP through a pipe of our own, so that they are handled between events and never inside one.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace kvhost
{

class Signals
{
public:
    /// \param caught called on the thread that made this, with the signal's number. A second signal ends the
    ///               process at once.
    explicit Signals(std::function<void(int)> caught);
    ~Signals();

private:
    std::function<void(int)> m_caught;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace kvhost
