// SPDX-License-Identifier: MIT
// watch: values as they change. On a terminal a live table, otherwise one line a change.
#include "commands.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/summary.h"
#include "output/live_screen.h"
#include "output/table_view.h"

#include <algorithm>

namespace kvhost
{

using kvlink::Sample;
using kvlink::SteadyTime;
using namespace std::chrono_literals;

namespace
{

constexpr kvlink::Duration refresh = 200ms;
constexpr kvlink::Duration changedFor = 1s;
constexpr kvlink::Duration rateOver = 1s;

// What was shown last of one value.
struct Shown {
    QString value, error;
    kvlink::Quality quality = kvlink::Quality::Never;
    SteadyTime changed{};
    bool isFirst = true;
};

class Watch
{
public:
    Watch(App &app, Subscription &all) : m_app(app), m_all(all)
    {
        for (const kvtags::Variable &variable : all.variables())
            m_shown.emplace_back(std::size_t(variable.address.values()));
    }

    // \param changed called with each row that differs from what was shown last
    template <typename Changed>
    void take(int i, const Sample &sample, Changed changed)
    {
        for (int value = 0; value < m_all.variable(i).address.values(); ++value) {
            const Row row = m_all.row(i, value, sample);
            if (differs(m_shown[std::size_t(i)][std::size_t(value)], row))
                changed(row);
        }
    }

    std::vector<TableRow> tableRows()
    {
        std::vector<TableRow> rows;
        const SteadyTime now = steadyNow();
        for (int i = 0; i < m_all.size(); ++i) {
            const Sample sample = m_all.sample(i);
            for (int value = 0; value < m_all.variable(i).address.values(); ++value) {
                TableRow row;
                row.row = m_all.row(i, value, sample);
                if (sample.hasValue())
                    row.age = double((now - sample.steadyTime).count()) / 1e6;
                const Shown &shown = m_shown[std::size_t(i)][std::size_t(value)];
                row.isChanged = shown.changed != SteadyTime{} && now - shown.changed < changedFor;
                rows.push_back(row);
            }
        }
        return rows;
    }

    std::vector<TableLink> links() const
    {
        std::vector<TableLink> links;
        for (const Station &station : m_app.stations.all()) {
            const bool isReady = station.plc->link().isReady();
            const quint64 losses = station.plc->statistics().linkLosses;
            const QString number =
                m_app.stations.areNumbersShown() ? QStringLiteral("%1  ").arg(station.number) : QString();
            const QString state =
                isReady ? QStringLiteral("linked")
                        : QString(station.linkProblem()).replace(0, 7, QStringLiteral("NO LINK"));
            links.push_back(
                {QStringLiteral("%1%2  %3%4")
                     .arg(number, station.url, state,
                          losses == 0 ? QString() : QStringLiteral(", lost %1 time(s)").arg(losses)),
                 isReady});
        }
        return links;
    }

private:
    static bool differs(Shown &shown, const Row &row)
    {
        if (!shown.isFirst && shown.value == row.value && shown.quality == row.quality &&
            shown.error == row.error)
            return false;
        // The first sight of a value is no change to be marked.
        shown = {row.value, row.error, row.quality, shown.isFirst ? SteadyTime{} : steadyNow(), false};
        return true;
    }

    App &m_app;
    Subscription &m_all;
    std::vector<std::vector<Shown>> m_shown;
};

// Exchanges a second and cycles, over all links.
class Rates
{
public:
    explicit Rates(App &app) : m_app(app), m_since(steadyNow()) {}

    QString text()
    {
        quint64 answers = 0, errors = 0;
        kvlink::Duration reached{};
        for (const Station &station : m_app.stations.all()) {
            const kvlink::LinkStatistics s = station.plc->statistics();
            answers += s.answers;
            errors += s.noAnswers + s.corrupted + s.plcErrors;
            for (const auto &period : s.periods)
                reached = std::max(reached, period.reached);
        }
        const SteadyTime now = steadyNow();
        if (now - m_since >= rateOver) {
            m_rate = double(answers - m_answers) * 1e6 / double((now - m_since).count());
            m_answers = answers;
            m_since = now;
        }
        return QStringLiteral("%1 exchanges/s  cycle asked %2 ms, reached %3 ms  errors %4")
            .arg(m_rate, 0, 'f', 0)
            .arg(msText(m_app.options.every, 0), msText(reached, 1))
            .arg(errors);
    }

private:
    App &m_app;
    SteadyTime m_since;
    quint64 m_answers = 0;
    double m_rate = 0.0;
};

void watchLines(App &app, Subscription &all, Watch &watch, SteadyTime end)
{
    app.out.setTimeShown(!stdoutIsTerminal());
    all.onSample([&](int i, const Sample &sample) {
        watch.take(i, sample, [&app](const Row &row) { app.out.row(row); });
    });
    app.stations.start();
    app.wait.until([&app] { return app.out.isBroken(); }, end);
}

void watchTable(App &app, Subscription &all, Watch &watch, SteadyTime end)
{
    TableState state;
    bool isQuit = false, hasKey = false;
    LiveScreen screen(app.out, [&](const QByteArray &key) {
        isQuit = !takeKey(state, key, std::max(screen.height() - 5, 1)) || isQuit;
        hasKey = true;
    });
    Rates rates(app);
    all.onSample([&watch](int i, const Sample &sample) { watch.take(i, sample, [](const Row &) {}); });
    app.stations.start();
    while (!isQuit && !app.out.isBroken() && steadyNow() < end && app.wait.interrupted() == 0) {
        screen.draw(tableLines(watch.tableRows(), watch.links(), rates.text(), state, screen.width() - 1,
                               screen.height() - 1, screen.hasColours()));
        hasKey = false;
        app.wait.until([&] { return hasKey || app.out.isBroken(); }, std::min(end, steadyNow() + refresh));
    }
    state.isHelp = false;
    screen.draw(tableLines(watch.tableRows(), watch.links(), rates.text(), state, screen.width() - 1,
                           screen.height() - 1, screen.hasColours()));
}

} // namespace

int runWatch(App &app)
{
    std::vector<kvtags::Variable> variables;
    if (!variablesFor(app, app.options.words, variables))
        return ExitUsage;
    const bool isTable =
        stdoutIsTerminal() && app.options.format == OutputFormat::Text && !app.options.isQuiet;
    // A table shows how old each value is, also one that stays the same.
    Subscription all(app, std::move(variables), app.options.every, isTable);
    if (!all.problem().isEmpty())
        return app.refuse(all.problem(), ExitUsage);
    app.out.setNameWidth(widestName(all.variables()));
    Watch watch(app, all);
    const SteadyTime end = endOf(app.options);
    if (isTable)
        watchTable(app, all, watch, end);
    else
        watchLines(app, all, watch, end);
    const int code = all.exitCode();
    app.out.note(summaryOf(app.stations));
    app.stations.stop();
    return code == ExitGood && app.out.hasFailed() ? int(ExitSomeBad) : code;
}

} // namespace kvhost
