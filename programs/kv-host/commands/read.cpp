// SPDX-License-Identifier: MIT
// read: values once.
#include "commands.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/summary.h"

namespace kvhost
{

int runRead(App &app)
{
    std::vector<kvtags::Variable> variables;
    if (!variablesFor(app, app.options.words, variables))
        return ExitUsage;
    Subscription all(app, std::move(variables), kvlink::Duration(0));
    if (!all.problem().isEmpty())
        return app.refuse(all.problem(), ExitUsage);
    app.stations.start();
    if (!all.readOnce()) {
        app.out.note(summaryOf(app.stations));
        return ExitBySignal + app.wait.interrupted();
    }
    app.out.setNameWidth(widestName(all.variables()));
    for (int i = 0; i < all.size(); ++i) {
        const kvlink::Sample sample = all.sample(i);
        for (int value = 0; value < all.variable(i).address.values(); ++value)
            app.out.row(all.row(i, value, sample));
    }
    const int code = all.exitCode();
    return code == ExitGood && app.out.hasFailed() ? int(ExitSomeBad) : code;
}

} // namespace kvhost
