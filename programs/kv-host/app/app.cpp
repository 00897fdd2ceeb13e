// SPDX-License-Identifier: MIT
#include "app.h"

#include "exit_code.h"
#include "output/shown_text.h"
#include "tags/pattern.h"
#include "tags/tag_file.h"

#include <algorithm>
#include <set>

namespace kvhost
{

namespace
{

bool loadTags(App &app, QString &problem)
{
    const Options &options = app.options;
    if (options.tagFile.isEmpty())
        return true;
    kvtags::TagFile file = kvtags::readTagFile(options.tagFile, options.encoding);
    problem = file.problem;
    if (!problem.isEmpty())
        return false;
    if (!file.faults.isEmpty()) {
        const kvtags::TagFault &first = file.faults.first();
        problem = QStringLiteral("%1:%2: %3 (%4 bad line(s); 'kv-host -f %1 check' lists them)")
                      .arg(options.tagFile)
                      .arg(first.line)
                      .arg(first.why)
                      .arg(file.faults.size());
        return false;
    }
    app.tags = std::move(file.tags);
    for (std::size_t i = 0; i < app.tags.size(); ++i)
        app.tagPositions.insert(app.tags[i].settings.name, int(i));
    return true;
}

// A PLC for each station that is named, for commands that send nothing.
QStringList placeholders(const App &app)
{
    std::set<int> numbers;
    for (const kvtags::Variable &tag : app.tags)
        numbers.insert(tag.station);
    for (const QString &word : app.options.words) {
        bool ok = false;
        const int number = word.section('/', 0, 0).toInt(&ok);
        numbers.insert(ok && word.contains('/') ? number : -1);
    }
    QStringList texts;
    for (const int number : numbers) {
        if (number >= 0)
            texts << QStringLiteral("%1=tcp://127.0.0.1").arg(number);
    }
    return texts.isEmpty() ? QStringList{QStringLiteral("tcp://127.0.0.1")} : texts;
}

std::optional<int> findPlcs(App &app, const QString &programFolder, bool isNeeded)
{
    QString problem;
    QStringList texts = app.options.plcs;
    if (isNeeded && app.options.isSimulated) {
        const auto url = app.simulator.start(programFolder, problem);
        if (!url)
            return app.refuse(problem, ExitNoLink);
        texts = QStringList{*url};
    }
    if (isNeeded && texts.isEmpty())
        return app.refuse(
            QStringLiteral("no PLC is named: use --plc 192.168.0.10 or the environment's KV_PLC, or "
                           "--simulate to try it out"),
            ExitUsage);
    const bool isPlanned = app.options.command == QLatin1String("plan") || app.options.isDryRun;
    if (isPlanned && texts.isEmpty())
        texts = placeholders(app);
    if (const auto code = app.stations.make(texts, app.options.link, app.options.verbosity >= 2, problem))
        return app.refuse(problem, *code);
    return std::nullopt;
}

// Not the tags of tagPositions: a few words of the command line are looked for once, and may be
// near any of them.
QString nearTag(const App &app, const QString &word)
{
    QStringList names;
    for (const kvtags::Variable &tag : app.tags)
        names << tag.settings.name;
    return kvlink::nearestName(word, names);
}

bool findStation(App &app, kvtags::Variable &variable, const QString &word, QString &problem)
{
    if (app.stations.isEmpty())
        return true;
    const Station *station = app.stations.find(variable.station);
    if (station == nullptr) {
        problem = QStringLiteral("%1: no --plc names station %2").arg(word).arg(variable.station);
        return false;
    }
    // With one PLC its number need not be seen; with several the first is meant and shown.
    variable.stationShown = variable.stationShown || app.stations.areNumbersShown();
    variable.station = station->number;
    return true;
}

// \return how many tags were added
int addMatching(const App &app, const QString &pattern, QStringList &words)
{
    const auto before = words.size();
    for (const kvtags::Variable &tag : app.tags) {
        if (kvtags::matchesPattern(pattern, tag.settings.name))
            words << tag.settings.name;
    }
    return int(words.size() - before);
}

bool expand(App &app, const QStringList &given, QStringList &words)
{
    bool isGood = true;
    for (const QString &word : given) {
        if (!kvtags::isPattern(word)) {
            words << word;
        } else if (addMatching(app, word, words) == 0) {
            app.refuse(
                app.tags.empty()
                    ? QStringLiteral("%1: patterns are for names of a tag file: give one with -f").arg(word)
                    : QStringLiteral("%1: no tag has such a name").arg(word),
                ExitUsage);
            isGood = false;
        }
    }
    return isGood;
}

} // namespace

App::App(const Options &given)
    : options(given), signalWatch([this](int signal) { wait.interrupt(signal); }),
      out(given.format, given.isQuiet, signalWatch.stopDescriptor())
{
}

int App::refuse(const QString &problem, int code)
{
    out.problem(QStringLiteral("kv-host: %1").arg(problem));
    return code;
}

std::optional<int> prepare(App &app, const QString &programFolder, bool needsPlc)
{
    QString problem;
    if (app.options.command != QLatin1String("check") && !loadTags(app, problem))
        return app.refuse(problem, ExitUsage);
    return findPlcs(app, programFolder, needsPlc);
}

std::optional<kvtags::Variable> variableFor(App &app, const QString &word, QString &problem)
{
    std::optional<kvtags::Variable> variable;
    const auto tag = app.tagPositions.constFind(word);
    if (tag != app.tagPositions.constEnd())
        variable = app.tags[std::size_t(*tag)];
    else
        variable = kvtags::parseVariable(word, problem);
    if (!variable) {
        const QString near = nearTag(app, word);
        if (!near.isEmpty())
            problem += QStringLiteral("; or did you mean the tag '%1'?").arg(near);
        return std::nullopt;
    }
    if (!findStation(app, *variable, word, problem))
        return std::nullopt;
    return variable;
}

bool variablesFor(App &app, const QStringList &words, std::vector<kvtags::Variable> &variables)
{
    QStringList wanted;
    if (!expand(app, words, wanted))
        return false;
    if (words.isEmpty()) {
        for (const kvtags::Variable &tag : app.tags)
            wanted << tag.settings.name;
    }
    if (wanted.isEmpty()) {
        app.refuse(
            QStringLiteral("no address is given: write some (DM100 R1015 T5), or name a tag file with -f"),
            ExitUsage);
        return false;
    }
    bool isGood = true;
    variables.reserve(std::size_t(wanted.size()));
    for (const QString &word : wanted) {
        QString problem;
        if (auto variable = variableFor(app, word, problem)) {
            variables.push_back(std::move(*variable));
        } else {
            app.refuse(problem, ExitUsage);
            isGood = false;
        }
    }
    return isGood;
}

int widestName(const std::vector<kvtags::Variable> &variables)
{
    int width = 0;
    for (const kvtags::Variable &variable : variables) {
        for (int i = 0; i < variable.address.values(); ++i)
            width = std::max(width, columnsOf(printable(variable.nameOf(i))));
    }
    return width;
}

kvlink::SteadyTime endOf(const Options &options)
{
    return options.duration.count() == 0 ? kvlink::SteadyTime::max() : steadyNow() + options.duration;
}

} // namespace kvhost
