// SPDX-License-Identifier: MIT
// plan: the requests that a list of variables becomes, and why. Sends nothing.
#include "commands.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/summary.h"
#include "output/table.h"

#include <kvlink/text.h>

namespace kvhost
{

namespace
{

void noteCosts(App &app, const Station &station, const kvlink::ReadPlan &plan)
{
    app.out.note(
        QStringLiteral("%1%2 request(s) a pass; a request costs %3 ms, a word %4 us%5")
            .arg(app.stations.areNumbersShown() ? station.url + ": " : QString())
            .arg(plan.requests.size())
            .arg(msText(plan.requestCost))
            .arg(plan.unitCost.count())
            .arg(plan.measured ? QString() : QStringLiteral(" (a guess: nothing has been measured yet)")));
}

} // namespace

int runPlan(App &app)
{
    std::vector<kvtags::Variable> variables;
    if (!variablesFor(app, app.options.words, variables))
        return ExitUsage;
    const Subscription all(app, std::move(variables), app.options.every);
    if (!all.problem().isEmpty())
        return app.refuse(all.problem(), ExitUsage);
    Table table({"station", "every", "frame", "words", "wanted", "tags", "why"});
    for (const Station &station : app.stations.all()) {
        for (const kvlink::PlannedRequest &request : station.plc->plan().requests) {
            table.add({QString::number(station.number), kvlink::durationText(request.period), request.frame,
                       QString::number(request.units), QString::number(request.usedUnits),
                       QString::number(request.tags), request.why});
        }
    }
    table.print(app.out);
    for (const Station &station : app.stations.all())
        noteCosts(app, station, station.plc->plan());
    return ExitGood;
}

} // namespace kvhost
