// The simulated PLC with its vices: a request in, a delivery out. Pure: transports, timers and files are
// outside.
#pragma once

#include "delivery.h"
#include "fault_plan.h"
#include "line_splitter.h"
#include "plc.h"
#include "remote_area.h"
#include "statistics.h"

#include <random>

namespace kvsim
{

enum class Entrance { Serve, Refuse, Swallow, CloseAtOnce };

/// Wait before every answer.
struct AnswerDelay {
    std::uint32_t leastMs = 0;
    std::uint32_t mostMs = 0;
};

class Simulator
{
public:
    explicit Simulator(const Rules &rules) : plc_(rules) {}

    Plc &plc() { return plc_; }
    FaultPlan &faults() { return faults_; }
    Statistics &statistics() { return statistics_; }
    std::string statisticsText() const { return statistics_.text(faults_.done()); }
    void setDelay(AnswerDelay delay) { delay_ = delay; }

    /// What happens to a new connection.
    Entrance connectionOpened(bool othersOpen);

    Delivery serve(const Line &line, Link &link);
    Delivery serveRemote(const RemoteRequest &request);

private:
    std::string refusedByFault(const std::vector<Strike> &strikes) const;
    Delivery deliver(const std::string &answer, const std::vector<Strike> &strikes);

    Plc plc_;
    FaultPlan faults_;
    Statistics statistics_;
    AnswerMemory answers_;
    AnswerDelay delay_;
    std::mt19937 jitter_{std::random_device{}()};
};

} // namespace kvsim
