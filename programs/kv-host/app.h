// What every command gets: options, session, output, and the variables that were named.
#pragma once

#include "exit_code.h"
#include "jobs.h"
#include "output.h"
#include "session.h"
#include "simulator_child.h"

namespace kvhost
{

struct App {
    Options options;
    Output out;
    std::unique_ptr<Session> session;
    SimulatorChild simulator;
    std::vector<Variable> tags; ///< of the tag file

    explicit App(const Options &given) : options(given), out(given.format, given.quiet) {}
};

/// Reads the tag file, finds the PLCs, loads the driver. \return an exit code if that fails
std::optional<int> prepare(App *app, const QString &programFolder, bool needsPlc);

/// Variables for the words of the command line; all tags if there is none. Lets go of the tags.
/// \return false after a message for each word that is neither a tag nor an address
bool variablesFor(App *app, const QStringList &words, std::vector<Variable> *variables);

/// One word: the name of a tag or an address.
std::optional<Variable> variableFor(const App &app, const QString &word, QString *problem);

/// How wide the names are, for a table.
int widestName(const std::vector<Variable> &variables);

qint64 nowMs();

/// Exit code of a one-shot command from how its parts ended.
int exitCodeOf(const std::vector<PartResult> &results);

int runRead(App *app);
int runWrite(App *app);
int runWatch(App *app);
int runLog(App *app);
int runPlan(App *app);
int runCheck(App *app);
int runStats(App *app);
int runBench(App *app);
int runAreas(App *app);

} // namespace kvhost
