// stats and bench: read for a while, then tell how the link did. bench reads without a pause.
#include "../app.h"
#include "../table.h"

#include <algorithm>

namespace kvhost
{

namespace
{

constexpr Ms DEFAULT_TIME{5000};

QString number(double value, int digits)
{
    return QString::number(value, 'f', digits);
}

void printMeasures(App *app, const Statistics &s, double seconds)
{
    Table table({"measure", "value", "unit"});
    table.add({"time", number(seconds, 2), "s"});
    table.add({"requests", QString::number(s.requests), ""});
    table.add({"answers", QString::number(s.answers), ""});
    table.add({"loss", number(s.lossPercent(), 2), "%"});
    table.add({"exchange rate", number(double(s.answers) / seconds, 0), "1/s"});
    table.add({"word rate", number(double(s.words) / seconds, 0), "1/s"});
    table.add({"passes", QString::number(s.cycles), ""});
    table.add({"last cycle", number(s.lastCycleMs, 2), "ms"});
    table.add({"answer time min", number(s.minMs, 3), "ms"});
    table.add({"answer time mean", number(s.meanMs(), 3), "ms"});
    table.add({"answer time max", number(s.maxMs, 3), "ms"});
    table.add({"reconnects", QString::number(s.reconnects), ""});
    table.add({"given up", QString::number(s.givenUp), ""});
    table.add({"stray bytes", QString::number(s.thrownAway), ""});
    for (auto it = s.errors.begin(); it != s.errors.end(); ++it)
        table.add({"errors: " + it.key(), QString::number(it.value()), ""});
    table.print(&app->out);
}

int exitCode(const Session &session, const Statistics &statistics)
{
    if (statistics.answers == 0) {
        const Trouble trouble = session.links().first().trouble;
        return trouble == Trouble::None ? int(EXIT_NO_ANSWER) : exitCodeOf(trouble);
    }
    return statistics.givenUp == 0 ? EXIT_GOOD : EXIT_SOME_BAD;
}

int measure(App *app, Ms cycle, Ms duration)
{
    std::vector<Variable> variables;
    QStringList words = app->options.words;
    if (words.isEmpty() && app->tags.empty())
        words << QStringLiteral("DM0:%1").arg(app->options.maxBlock); // one full block
    if (!variablesFor(app, words, &variables))
        return EXIT_USAGE;
    Session *session = app->session.get();
    session->start();
    session->readCyclically(variables, cycle, false);
    const bool linked = session->waitUntil(
        [session] {
            const auto links = session->links();
            return std::any_of(links.begin(), links.end(), [session](const LinkStatus &link) {
                return link.ready || link.failures > session->settings().retries;
            });
        },
        Time::max());
    const Time start = Clock::now();
    session->clearStatistics();
    if (linked)
        session->pause(start + duration);
    const double seconds = std::max(inMs(Clock::now() - start) / 1000.0, 0.001);
    const Statistics statistics = session->statistics();
    for (const LinkStatus &link : session->links()) {
        app->out.note(link.ready ? QStringLiteral("%1: linked").arg(link.url)
                                 : QStringLiteral("%1: no link: %2").arg(link.url, link.reason));
    }
    const int code = exitCode(*session, statistics);
    session->stop();
    printMeasures(app, statistics, seconds);
    return code;
}

Ms durationOf(const App &app)
{
    return app.options.duration.count() == 0 ? DEFAULT_TIME : app.options.duration;
}

} // namespace

int runStats(App *app)
{
    return measure(app, app->options.cycle, durationOf(*app));
}

int runBench(App *app)
{
    return measure(app, Ms(0), durationOf(*app));
}

} // namespace kvhost
