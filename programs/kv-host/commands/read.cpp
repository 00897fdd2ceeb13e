// read: values once. Each variable is a request of its own, so that one that the PLC refuses spoils no other.
#include "../app.h"

namespace kvhost
{

namespace
{

void tell(App *app, const Variable &variable, const PartResult &result)
{
    const QVector<Value> values = app->session->values(variable.address);
    for (int i = 0; i < values.size(); ++i) {
        QualityBook::State state = app->session->quality(variable.address, i);
        if (result.state != RequestState::Done) {
            state.quality = Quality::Bad;
            state.reason = result.reason;
        }
        app->out.row(makeRow(variable, i, values[i], state, nowMs()));
    }
}

// The driver may hold a number back that it cannot take (above 2147483647), though the request went well.
bool anyBad(App *app, const std::vector<Variable> &variables)
{
    for (const Variable &variable : variables) {
        for (int i = 0; i < variable.address.values; ++i) {
            if (app->session->quality(variable.address, i).quality == Quality::Bad)
                return true;
        }
    }
    return false;
}

} // namespace

int runRead(App *app)
{
    std::vector<Variable> variables;
    if (!variablesFor(app, app->options.words, &variables))
        return EXIT_USAGE;
    app->session->start();
    Job job(app->session.get(), RequestKind::Read);
    for (const Variable &variable : variables)
        job.add(variable.address);
    job.run();
    if (app->session->interrupted() != 0) {
        app->out.note(app->session->statistics().summary());
        return EXIT_BY_SIGNAL + app->session->interrupted();
    }
    app->session->stop();
    app->out.setNameWidth(widestName(variables));
    const std::vector<PartResult> results = job.results();
    for (std::size_t i = 0; i < variables.size(); ++i)
        tell(app, variables[i], results[i]);
    const int code = exitCodeOf(results);
    return code == EXIT_GOOD && anyBad(app, variables) ? int(EXIT_SOME_BAD) : code;
}

} // namespace kvhost
