// SPDX-License-Identifier: MIT
// The simulated PLC with its faults: a request in, a delivery out. Lines, timers and files are
// not known here.
#pragma once

#include "faults/delivery.h"
#include "faults/fault_plan.h"
#include "plc/plc.h"
#include "plc/statistics.h"
#include "requests/remote_request.h"
#include "text/line_splitter.h"

#include <random>

namespace kvsim
{

/// What becomes of a new connection.
enum class Entrance { Serve, Refuse, Swallow, CloseAtOnce };

/// Wait before every answer.
struct AnswerDelay {
    std::uint32_t leastMs = 0;
    std::uint32_t mostMs = 0;
};

class Simulator
{
public:
    explicit Simulator(const Rules &rules) : m_plc(rules), m_faults(rules.family) {}

    Plc &plc() { return m_plc; }
    FaultPlan &faults() { return m_faults; }
    Statistics &statistics() { return m_statistics; }
    std::string statisticsText() const { return m_statistics.text(m_faults.done()); }
    void setDelay(AnswerDelay delay) { m_delay = delay; }

    Entrance connectionOpened(bool othersOpen);

    Delivery serve(const Line &line, Link &link);
    Delivery serveRemote(const RemoteRequest &request);

private:
    using Effects = std::vector<FaultEffect>;

    Delivery deliver(const std::string &answer, const Effects &effects);

    Plc m_plc;
    FaultPlan m_faults;
    Statistics m_statistics;
    AnswerMemory m_answers;
    AnswerDelay m_delay;
    std::mt19937 m_jitter{std::random_device{}()};
};

} // namespace kvsim
