// SPDX-License-Identifier: MIT
// Wakes the readers of the event stream: at most every 50 ms while something changes, and now and
// then so that a silent stream sends its beat. Clients whose request never ends are closed, too.
#pragma once

#include "http/server.h"
#include "plant/plant.h"

#include <thread>

namespace kvgateway
{

class StreamWaker
{
public:
    /// \param plant outlives the waker
    explicit StreamWaker(Plant &plant) : m_plant(plant) {}
    ~StreamWaker() { stop(); }
    StreamWaker(const StreamWaker &) = delete;
    StreamWaker &operator=(const StreamWaker &) = delete;

    /// \param server outlives the thread, which stop() ends
    void start(HttpServer &server);
    void stop();

private:
    void run(HttpServer &server);
    bool isEndingWithin(kvlink::Duration time);

    Plant &m_plant;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace kvgateway
