// watch: values as they change. On a terminal a live table, otherwise one line a change.
#include "../app.h"
#include "../watch_table.h"

namespace kvhost
{

namespace
{

constexpr Ms REFRESH{200};

/// What was told last of one value.
struct Told {
    Value raw;
    QString value;
    Quality quality = Quality::Never;
    bool hasValue = false;
    double number = 0.0;
    bool ever = false;
    Time changed{};
};

class Watch
{
public:
    Watch(App *app, std::vector<Variable> variables) : m_app(app), m_variables(std::move(variables))
    {
        for (const Variable &variable : m_variables)
            m_told.emplace_back(std::size_t(variable.address.values));
    }

    /// Looks at all values. \param changed called with each row that differs from what was told last
    template <typename Changed>
    void look(Changed changed)
    {
        const qint64 wall = nowMs();
        for (std::size_t v = 0; v < m_variables.size(); ++v) {
            const auto [values, states] = m_app->session->look(v);
            for (int i = 0; i < values.size(); ++i) {
                const auto &state = states[i];
                Told &told = m_told[v][std::size_t(i)];
                // Most values stand as they stood: no texts are made of those.
                if (told.ever && told.quality == state.quality && told.hasValue == hasValue(state) &&
                    told.raw == values[i])
                    continue;
                const Row row = makeRow(m_variables[v], i, values[i], state, wall);
                if (differs(told, m_variables[v], row, values[i]))
                    changed(row);
            }
        }
    }

    std::vector<TableRow> table()
    {
        std::vector<TableRow> rows;
        const Time now = Clock::now();
        look([](const Row &) {});
        for (std::size_t v = 0; v < m_variables.size(); ++v) {
            const auto [values, states] = m_app->session->look(v);
            for (int i = 0; i < values.size(); ++i) {
                const auto &state = states[i];
                const Told &told = m_told[v][std::size_t(i)];
                rows.push_back({makeRow(m_variables[v], i, values[i], state, 0), state.age,
                                told.ever && now - told.changed < Ms(1000)});
            }
        }
        return rows;
    }

    /// Exit code after the end: how the values stood then.
    int exitCode() const
    {
        bool anyGood = false, anyBad = false;
        for (const auto &values : m_told) {
            for (const Told &told : values) {
                anyGood = anyGood || told.quality == Quality::Good;
                anyBad = anyBad || told.quality != Quality::Good;
            }
        }
        if (!anyBad)
            return EXIT_GOOD;
        if (anyGood)
            return EXIT_SOME_BAD;
        const Trouble trouble = m_app->session->links().first().trouble;
        return trouble == Trouble::None ? int(EXIT_SOME_BAD) : kvhost::exitCodeOf(trouble);
    }

private:
    static bool differs(Told &told, const Variable &variable, const Row &row, const Value &value)
    {
        // Never read yet is nothing to tell.
        const bool same = told.ever ? told.value == row.value && told.quality == row.quality
                                    : row.quality == Quality::Never;
        const double number = variable.number(value);
        const bool within = told.ever && told.quality == row.quality && variable.deadband > 0.0 &&
                            value.format != Format::Text && qAbs(number - told.number) < variable.deadband;
        if (same || within)
            return false;
        told.raw = value;
        told.hasValue = row.hasValue;
        told.value = row.value;
        told.quality = row.quality;
        told.number = number;
        told.changed = Clock::now();
        const bool first = !told.ever;
        told.ever = true;
        if (first)
            told.changed -= Ms(10000); // the first sight of a value is no change to be marked
        return true;
    }

    App *m_app;
    std::vector<Variable> m_variables;
    std::vector<std::vector<Told>> m_told;
};

Time endOf(const App &app)
{
    return app.options.duration.count() == 0 ? Time::max() : Clock::now() + app.options.duration;
}

// A look after each pass, at most every tenth of a second or twice a pass; and without a pass, for values grow old.
void watchLines(App *app, Watch *watch, Time end)
{
    Session *session = app->session.get();
    const Ms least = std::clamp(app->options.cycle / 2, Ms(10), Ms(100));
    const Ms most = std::max(Ms(200), app->options.cycle * 3 / 2);
    while (session->interrupted() == 0 && Clock::now() < end && !app->out.broken()) {
        const int seen = session->news();
        const Time begin = Clock::now();
        watch->look([app](const Row &row) { app->out.row(row); });
        session->pause(std::min(end, begin + least));
        session->waitUntil([session, seen] { return session->news() != seen; }, std::min(end, begin + most));
    }
    watch->look([app](const Row &row) { app->out.row(row); });
}

void watchTable(App *app, Watch *watch, Time end)
{
    WatchTable table;
    Statistics last = app->session->statistics();
    Time lastTime = Clock::now();
    double exchanges = 0.0, words = 0.0;
    while (app->session->interrupted() == 0 && Clock::now() < end) {
        app->session->pause(std::min(end, Clock::now() + REFRESH));
        const Statistics now = app->session->statistics();
        const double seconds = inMs(Clock::now() - lastTime) / 1000.0;
        if (seconds >= 1.0) {
            exchanges = double(now.requests - last.requests) / seconds;
            words = double(now.words - last.words) / seconds;
            last = now;
            lastTime = Clock::now();
        }
        table.draw(watch->table(), app->session->links(), now, {exchanges, words, app->options.cycle});
    }
    table.finish();
}

} // namespace

int runWatch(App *app)
{
    std::vector<Variable> variables;
    if (!variablesFor(app, app->options.words, &variables))
        return EXIT_USAGE;
    app->session->start();
    app->session->readCyclically(variables, app->options.cycle);
    app->out.setNameWidth(widestName(variables));
    Watch watch(app, std::move(variables));
    const bool table = stdoutIsTerminal() && app->options.format == OutputFormat::Text && !app->options.quiet;
    if (table)
        watchTable(app, &watch, endOf(*app));
    else
        watchLines(app, &watch, endOf(*app));
    app->out.note(app->session->statistics().summary());
    const int code = watch.exitCode();
    app->session->stop();
    return code;
}

} // namespace kvhost
