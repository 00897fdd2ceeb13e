// SPDX-License-Identifier: MIT
// The simulated PLC with its faults: a request in, a delivery out. Lines, timers and files are
// not known here.
#pragma once

#include "faults/answer_delay.h"
#include "faults/delivery.h"
#include "faults/fault_plan.h"
#include "plc/plc.h"
#include "plc/statistics.h"
#include "requests/remote_request.h"
#include "text/line_splitter.h"

namespace kvsim
{

/// What becomes of a new connection.
enum class Entrance { Serve, Refuse, Swallow, CloseAtOnce };

/// How far a PLC has come that was switched on.
enum class Stage {
    Silent,   // switched off, or starting: nothing is answered
    Starting, // every request is refused
    Running,
};

class Simulator
{
public:
    explicit Simulator(const Rules &rules) : m_plc(rules), m_faults(rules.family) {}

    Plc &plc() { return m_plc; }
    FaultPlan &faults() { return m_faults; }
    Statistics &statistics() { return m_statistics; }
    std::string statisticsText() const { return m_statistics.text(m_faults.done()); }
    void setDelay(const DelaySettings &delay) { m_delay = AnswerDelay(delay); }

    /// Any other stage than Running closes all links.
    void setStage(Stage stage);

    Entrance connectionOpened(bool othersOpen);

    Delivery serve(const Line &line, Link &link);
    Delivery serveRemote(const RemoteRequest &request);

private:
    using Effects = std::vector<FaultEffect>;

    Link &present(Link &link) const;
    std::optional<Delivery> whileNotRunning();
    template <typename Execute>
    Delivery answer(const Effects &effects, const Execute &execute);
    Delivery deliver(const std::string &answer, const Effects &effects);

    Plc m_plc;
    FaultPlan m_faults;
    Statistics m_statistics;
    AnswerMemory m_answers;
    AnswerDelay m_delay;
    Stage m_stage = Stage::Running;
    std::uint32_t m_starts = 0;
};

} // namespace kvsim
