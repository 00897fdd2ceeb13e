#include "app.h"

#include "tags_csv.h"

#include <QDateTime>

#include <algorithm>
#include <set>

namespace kvhost
{

namespace
{

bool loadTags(App *app, QString *problem)
{
    if (app->options.tagFile.isEmpty())
        return true;
    TagFile file = readTagFile(app->options.tagFile);
    if (!file.problem.isEmpty()) {
        *problem = file.problem;
        return false;
    }
    if (!file.faults.isEmpty()) {
        const TagFault &first = file.faults.first();
        *problem = QStringLiteral("%1:%2: %3 (%4 bad line(s); 'kv-host -f %1 check' lists them)")
                       .arg(app->options.tagFile)
                       .arg(first.line)
                       .arg(first.why)
                       .arg(file.faults.size());
        return false;
    }
    app->tags = std::move(file.tags);
    return true;
}

bool numberStations(std::vector<PlcTarget> *targets, QString *problem)
{
    std::set<int> taken;
    for (const PlcTarget &target : *targets) {
        if (target.station >= 0 && !taken.insert(target.station).second) {
            *problem = QStringLiteral("station %1 is named twice with --plc").arg(target.station);
            return false;
        }
    }
    int next = 0;
    for (PlcTarget &target : *targets) {
        while (target.station < 0 && taken.contains(next))
            ++next;
        if (target.station < 0) {
            target.station = next;
            taken.insert(next);
        }
    }
    return true;
}

std::optional<int> findPlcs(App *app, const QString &programFolder, bool needed,
                            std::vector<PlcTarget> *targets)
{
    QString problem;
    for (const QString &text : app->options.plcs) {
        const auto target = parsePlc(text, &problem);
        if (!target) {
            app->out.problem("kv-host: " + problem);
            return EXIT_USAGE;
        }
        targets->push_back(*target);
    }
    if (!numberStations(targets, &problem)) {
        app->out.problem("kv-host: " + problem);
        return EXIT_USAGE;
    }
    if (!needed)
        return std::nullopt;
    if (app->options.simulate) {
        const auto url = app->simulator.start(programFolder, &problem);
        if (!url) {
            app->out.problem("kv-host: " + problem);
            return EXIT_NO_LINK;
        }
        targets->push_back({0, *url});
    }
    if (targets->empty()) {
        app->out.problem("kv-host: no PLC is named: use --plc tcp://HOST:8501, or --simulate to try it out");
        return EXIT_USAGE;
    }
    return std::nullopt;
}

} // namespace

std::optional<int> prepare(App *app, const QString &programFolder, bool needsPlc)
{
    QString problem;
    if (app->options.command != "check" && !loadTags(app, &problem)) {
        app->out.problem("kv-host: " + problem);
        return EXIT_USAGE;
    }
    SessionSettings settings;
    if (const auto code = findPlcs(app, programFolder, needsPlc, &settings.targets))
        return code;
    settings.timeout = app->options.timeout;
    settings.retries = app->options.retries;
    settings.maxBlock = app->options.maxBlock;
    settings.gap = app->options.gap;
    settings.driver = app->options.driver;
    settings.order = app->options.order;
    app->session = std::make_unique<Session>(settings);
    if (!app->session->load(programFolder, &problem)) {
        app->out.problem("kv-host: " + problem);
        return EXIT_NO_LINK;
    }
    return std::nullopt;
}

std::optional<Variable> variableFor(const App &app, const QString &word, QString *problem)
{
    const auto tag = std::find_if(app.tags.begin(), app.tags.end(),
                                  [&word](const Variable &known) { return known.name == word; });
    Variable variable;
    if (tag != app.tags.end()) {
        variable = *tag;
    } else {
        const auto address = parseAddress(word, problem);
        if (!address)
            return std::nullopt;
        variable.address = *address;
    }
    const auto &targets = app.session->settings().targets;
    if (variable.address.station < 0) {
        // With one PLC its number need not be seen; with several the first is meant and shown.
        variable.address.station = targets.empty() ? 0 : targets.front().station;
        variable.address.stationShown = targets.size() > 1;
    }
    const bool known =
        targets.empty() || std::any_of(targets.begin(), targets.end(), [&](const PlcTarget &target) {
            return target.station == variable.address.station;
        });
    if (!known) {
        *problem = QStringLiteral("%1: no --plc names station %2").arg(word).arg(variable.address.station);
        return std::nullopt;
    }
    return variable;
}

bool variablesFor(App *app, const QStringList &words, std::vector<Variable> *variables)
{
    QStringList wanted = words;
    if (wanted.isEmpty()) {
        for (const Variable &tag : app->tags)
            wanted << tag.name;
    }
    if (wanted.isEmpty()) {
        app->out.problem(
            "kv-host: no address is given: write some (DM100 R1015 T5), or name a tag file with -f");
        return false;
    }
    bool good = true;
    variables->reserve(std::size_t(wanted.size()));
    for (const QString &word : wanted) {
        QString problem;
        if (const auto variable = variableFor(*app, word, &problem)) {
            variables->push_back(*variable);
        } else {
            app->out.problem("kv-host: " + problem);
            good = false;
        }
    }
    // No command asks twice, and of a large tag file a second copy of all variables would stay in memory.
    app->tags.clear();
    app->tags.shrink_to_fit();
    return good;
}

int widestName(const std::vector<Variable> &variables)
{
    int width = 0;
    for (const Variable &variable : variables) {
        for (int i = 0; i < variable.address.values; ++i)
            width = std::max(width, int(variable.nameOf(i).size()));
    }
    return width;
}

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

int exitCodeOf(const std::vector<PartResult> &results)
{
    int failed = 0;
    Trouble first = Trouble::None;
    for (const PartResult &result : results) {
        if (result.state == RequestState::Done)
            continue;
        if (++failed == 1)
            first = result.trouble;
    }
    if (failed == 0)
        return EXIT_GOOD;
    return failed == int(results.size()) ? exitCodeOf(first) : int(EXIT_SOME_BAD);
}

} // namespace kvhost
