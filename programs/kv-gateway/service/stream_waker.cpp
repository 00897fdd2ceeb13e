// SPDX-License-Identifier: MIT
#include "stream_waker.h"

#include "store/clock.h"

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr auto gather = 10ms; // the answers of one pass over a PLC come one after the other
constexpr auto collect = 50ms;
constexpr kvlink::Duration longestWait = 100ms; // bounds the stop, too

} // namespace

void StreamWaker::start(HttpServer &server)
{
    m_isEnding = false;
    m_thread = std::thread([this, &server] { run(server); });
}

void StreamWaker::stop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        m_ending.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
}

void StreamWaker::run(HttpServer &server)
{
    quint64 seen = 0;
    std::shared_ptr<LiveTable> table;
    for (;;) {
        const auto current = m_plant.table();
        if (current != table)
            seen = 0;
        table = current;
        table->waitForChange(seen, longestWait);
        if (isEndingWithin(gather))
            return;
        seen = table->newest();
        server.wakeStreams();
        server.closeLate(MachineClock().steady());
        if (isEndingWithin(collect - gather))
            return;
    }
}

bool StreamWaker::isEndingWithin(kvlink::Duration time)
{
    std::unique_lock lock(m_mutex);
    return m_ending.wait_for(lock, time, [this] { return m_isEnding; });
}

} // namespace kvgateway
