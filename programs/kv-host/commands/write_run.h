// SPDX-License-Identifier: MIT
// The writes of one run of the program, from the old values to what the PLC holds afterwards.
#pragma once

#include "app/assignment.h"
#include "app/exit_code.h"
#include "app/subscription.h"

#include <kvlink/write.h>

#include <optional>
#include <vector>

namespace kvhost
{

std::vector<kvtags::Variable> variablesOf(const std::vector<Assignment> &assignments);

/// One run. The links are started by it.
class WriteRun
{
public:
    WriteRun(App &app, std::vector<Assignment> assignments)
        : m_app(app), m_assignments(std::move(assignments)),
          m_all(app, variablesOf(m_assignments), kvlink::Duration(0)), m_ids(m_assignments.size()),
          m_results(m_assignments.size())
    {
    }

    int run();

private:
    int interrupted() const { return ExitBySignal + m_app.wait.interrupted(); }
    bool isOutOfReach() const;
    void showPlan();
    bool isConfirmed();
    void listen();
    bool forgetOffline();
    void handOut();
    void handOutWhatMay();
    bool mayBeHandedOut(std::size_t i) const;
    bool isEveryEnded() const;
    void collectAfterStop();
    void takeResult(const Station &station, const kvlink::WriteResult &result);
    int showEnds(bool isReadBack);
    int showEnd(std::size_t i, bool isReadBack, bool &differs);
    int nothingWritten(const QString &why, int code);

    App &m_app;
    const std::vector<Assignment> m_assignments;
    Subscription m_all;
    std::vector<kvlink::WriteId> m_ids; ///< 0: not handed out yet
    std::vector<std::optional<kvlink::WriteResult>> m_results;
};

} // namespace kvhost
