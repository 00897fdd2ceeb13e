// SPDX-License-Identifier: MIT
// write: shows the old and the new values, asks, writes, and reads back what the PLC then holds.
#include "commands.h"
#include "write_run.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/write_guard.h"

namespace kvhost
{

namespace
{

bool parseAll(App &app, std::vector<Assignment> &assignments)
{
    bool isGood = true;
    for (const QString &word : app.options.words) {
        QString problem;
        if (auto assignment = parseAssignment(app, word, problem)) {
            assignments.push_back(std::move(*assignment));
        } else {
            app.refuse(problem, ExitUsage);
            isGood = false;
        }
    }
    return isGood;
}

bool passGuard(App &app, const std::vector<Assignment> &assignments)
{
    QStringList reasons;
    if (app.options.isReadOnly)
        reasons << QStringLiteral("nothing is written with --read-only");
    for (const Assignment &assignment : assignments)
        reasons << guardedBecause(assignment.variable, app.tags, app.options.isForced);
    reasons.removeAll(QString());
    for (const QString &reason : reasons)
        app.refuse(reason, ExitRefused);
    return reasons.isEmpty();
}

int dryRun(App &app, const std::vector<Assignment> &assignments)
{
    const Subscription all(app, variablesOf(assignments), kvlink::Duration(0));
    for (int i = 0; i < all.size(); ++i) {
        const Assignment &assignment = assignments[std::size_t(i)];
        const QStringList typed = app.options.pulse ? QStringList{"1", "0"} : QStringList{assignment.typed};
        for (const QString &value : typed) {
            QString problem;
            const QStringList frames = all.station(i).plc->framesOfWrite(all.tag(i), value, &problem);
            if (!problem.isEmpty())
                return app.refuse(problem, ExitUsage);
            for (const QString &frame : frames)
                app.out.line(frame);
            if (frames.value(0).startsWith(QLatin1String("RDS ")))
                app.out.note("(the other bits of the word as they are read then)");
        }
    }
    return ExitGood;
}

} // namespace

int runWrite(App &app)
{
    std::vector<Assignment> assignments;
    if (!parseAll(app, assignments))
        return ExitUsage;
    if (!passGuard(app, assignments))
        return ExitRefused;
    if (app.options.isDryRun)
        return dryRun(app, assignments);
    if (!app.options.isConfirmed && !stdinIsTerminal())
        return app.refuse("write asks before it writes, and there is no terminal to ask on: give --yes",
                          ExitUsage);
    return WriteRun(app, std::move(assignments)).run();
}

} // namespace kvhost
