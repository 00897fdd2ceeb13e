// SPDX-License-Identifier: MIT
// The simulated PLC with its faults: a request in, a delivery out. Lines, timers and files are
// not known here.
#pragma once

#include "faults/answer_delay.h"
#include "faults/delivery.h"
#include "faults/fault_plan.h"
#include "plc/plc.h"
#include "plc/statistics.h"
#include "recording/replay.h"
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
    std::string statisticsText() const;
    void setDelay(const DelaySettings &delay) { m_delay = AnswerDelay(delay); }

    /// From now on every answer comes from the recording; memory and faults have no part in it.
    void setReplay(Replay replay) { m_replay = std::move(replay); }

    /// Any other stage than Running closes all links.
    void setStage(Stage stage);

    Entrance connectionOpened(bool othersOpen);

    Delivery serve(const Line &line, Link &link);
    Delivery serveRemote(const RemoteRequest &request);

private:
    using Effects = std::vector<FaultEffect>;

    Link &present(Link &link) const;
    std::optional<Delivery> fromElsewhere(std::string_view request);
    template <typename Execute>
    Delivery answer(const Effects &effects, const Execute &execute);
    Delivery deliver(const std::string &answer, const Effects &effects);

    Plc m_plc;
    FaultPlan m_faults;
    Statistics m_statistics;
    AnswerMemory m_answers;
    AnswerDelay m_delay;
    std::optional<Replay> m_replay;
    Stage m_stage = Stage::Running;
    std::uint32_t m_starts = 0;
};

} // namespace kvsim
