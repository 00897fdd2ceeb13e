// log: a value a pass into a CSV file or an SQLite database. Values with a deadband only when they have
// moved.
#include "../app.h"
#include "../log_sink.h"

#include <algorithm>
#include <cmath>

namespace kvhost
{

namespace
{

constexpr Ms FLUSH{1000};

/// What was logged last of a value with a deadband.
struct Logged {
    double number = 0.0;
    Quality quality = Quality::Never;
    bool ever = false;
};

class Logger
{
public:
    Logger(App *app, std::vector<Variable> variables) : m_app(app), m_variables(std::move(variables))
    {
        for (const Variable &variable : m_variables)
            m_logged.emplace_back(std::size_t(variable.address.values));
    }

    template <typename Take>
    void sample(Take take)
    {
        const qint64 wall = nowMs();
        for (std::size_t v = 0; v < m_variables.size(); ++v) {
            const auto [values, states] = m_app->session->look(v);
            for (int i = 0; i < values.size(); ++i) {
                const auto &state = states[i];
                if (wanted(m_variables[v], values[i], state.quality, &m_logged[v][std::size_t(i)]))
                    take(makeRow(m_variables[v], i, values[i], state, wall));
            }
        }
    }

private:
    static bool wanted(const Variable &variable, const Value &value, Quality quality, Logged *logged)
    {
        const double number = variable.number(value);
        const bool still = variable.deadband > 0.0 && logged->ever && logged->quality == quality &&
                           value.format != Format::Text &&
                           std::abs(number - logged->number) < variable.deadband;
        if (!still)
            *logged = {number, quality, true};
        return !still;
    }

    App *m_app;
    std::vector<Variable> m_variables;
    std::vector<std::vector<Logged>> m_logged;
};

std::unique_ptr<LogSink> sinkFor(const Options &options)
{
    return options.sqlite.isEmpty() ? csvSink(options.output, options.rotate.count())
                                    : sqliteSink(options.sqlite);
}

// Says once that the sink fails, and once that it works again.
void tellProblem(App *app, const LogBuffer &buffer, QString *told)
{
    if (buffer.problem() == *told)
        return;
    *told = buffer.problem();
    app->out.problem(
        told->isEmpty()
            ? QStringLiteral("kv-host: log: writing works again, %1 row(s) lost").arg(buffer.lost())
            : QStringLiteral("kv-host: log: %1; reading goes on, rows are kept for later").arg(*told));
}

void summarise(App *app, const LogBuffer &buffer)
{
    const qint64 lost = buffer.lost() + qint64(buffer.waiting());
    const QString text = QStringLiteral("%1 row(s) logged, %2 lost").arg(buffer.written()).arg(lost);
    if (lost > 0)
        app->out.problem("kv-host: log: " + text);
    else
        app->out.note(text);
    app->out.note(app->session->statistics().summary());
}

bool checkTarget(App *app)
{
    const char *wrong = nullptr;
    if (!app->options.sqlite.isEmpty() && !app->options.output.isEmpty())
        wrong = "--output and --sqlite together: take one of them";
    if (app->options.rotate.count() > 0 && app->options.output.isEmpty())
        wrong = "--rotate needs the name of a CSV file: --output FILE";
    if (app->options.rotate.count() > 0 && app->options.rotate < Ms(1000))
        wrong = "--rotate must be at least 1s";
    if (wrong != nullptr)
        app->out.problem(QStringLiteral("kv-host: ") + QString::fromLatin1(wrong));
    return wrong == nullptr;
}

// Without a file the rows go to stdout, as CSV unless --format says otherwise.
int logToStdout(App *app, Logger *logger, Time end)
{
    Output out(app->options.format == OutputFormat::Text ? OutputFormat::Csv : app->options.format, false);
    Time next = Clock::now() + app->options.cycle;
    for (;;) {
        app->session->pause(std::min(next, end));
        if (out.broken() || app->session->interrupted() != 0 || Clock::now() >= end)
            break;
        logger->sample([&out](const Row &row) { out.row(row); });
        next = std::max(next + app->options.cycle, Clock::now());
    }
    app->out.note(app->session->statistics().summary());
    return EXIT_GOOD;
}

int logToSink(App *app, Logger *logger, Time end)
{
    LogBuffer buffer(sinkFor(app->options));
    QString told;
    Time next = Clock::now() + app->options.cycle;
    Time nextFlush = Clock::now() + FLUSH;
    while (app->session->interrupted() == 0 && Clock::now() < end) {
        app->session->pause(std::min({next, nextFlush, end}));
        if (Clock::now() >= next) {
            logger->sample([&buffer](const Row &row) { buffer.add(row); });
            next = std::max(next + app->options.cycle, Clock::now());
        }
        if (Clock::now() >= nextFlush) {
            buffer.flush();
            tellProblem(app, buffer, &told);
            nextFlush = Clock::now() + FLUSH;
        }
    }
    buffer.flush();
    tellProblem(app, buffer, &told);
    summarise(app, buffer);
    return buffer.lost() + qint64(buffer.waiting()) == 0 ? EXIT_GOOD : EXIT_SOME_BAD;
}

} // namespace

int runLog(App *app)
{
    std::vector<Variable> variables;
    if (!checkTarget(app) || !variablesFor(app, app->options.words, &variables))
        return EXIT_USAGE;
    const Ms least{10};
    app->options.cycle = std::max(app->options.cycle, least);
    app->session->start();
    app->session->readCyclically(variables, app->options.cycle);
    Logger logger(app, std::move(variables));
    const Time end = app->options.duration.count() == 0 ? Time::max() : Clock::now() + app->options.duration;
    const bool toFile = !app->options.output.isEmpty() || !app->options.sqlite.isEmpty();
    const int code = toFile ? logToSink(app, &logger, end) : logToStdout(app, &logger, end);
    app->session->stop();
    return code;
}

} // namespace kvhost
