// SPDX-License-Identifier: MIT
// A simulated PLC on the bench: bytes in, bytes out, no sockets.
#pragma once

#include "plc/simulator.h"

#include <string>

class Bench
{
public:
    explicit Bench(const kvsim::Rules &rules = {}) : simulator(rules) {}

    /// All that comes back for these bytes, waits left out.
    std::string send(std::string_view bytes)
    {
        std::string received;
        while (const auto line = splitter.next(bytes))
            for (const kvsim::Step &step : simulator.serve(*line, link).steps)
                received += step.bytes;
        return received;
    }

    /// A fresh link, opened.
    Bench &opened()
    {
        link = kvsim::Link{true, false};
        return *this;
    }

    /// \return the number of the fault, 0 if its text is refused (the reason is in refused)
    int fault(std::string_view text)
    {
        const auto *added = simulator.faults().add(text, refused);
        return added ? added->id : 0;
    }

    kvsim::Delivery deliver(const std::string &line) { return simulator.serve({line, false}, link); }

    kvsim::Simulator simulator;
    kvsim::LineSplitter splitter;
    kvsim::Link link;
    std::string refused;
};
