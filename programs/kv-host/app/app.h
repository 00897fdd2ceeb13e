// SPDX-License-Identifier: MIT
// What every command gets: options, output, PLCs, the tags of the tag file.
#pragma once

#include "event_wait.h"
#include "options.h"
#include "output/output.h"
#include "signals.h"
#include "simulator_child.h"
#include "stations.h"
#include "tags/variable.h"

#include <QHash>

namespace kvhost
{

struct App {
    Options options;
    EventWait wait;
    Signals signalWatch; ///< what they interrupt is the wait
    Output out;
    SimulatorChild simulator;
    Stations stations;
    std::vector<kvtags::Variable> tags; ///< of the tag file
    QHash<QString, int> tagPositions;   ///< by name

    explicit App(const Options &given);

    /// Says what is wrong on stderr. \return \a code
    int refuse(const QString &problem, int code);
};

/// Reads the tag file and finds the PLCs. \return an exit code if that fails, after a message
std::optional<int> prepare(App &app, const QString &programFolder, bool needsPlc);

/// Variables for the words of the command line, patterns of tag names included; all tags if there
/// is no word.
/// \return false after a message for each word that is neither a tag nor an address
bool variablesFor(App &app, const QStringList &words, std::vector<kvtags::Variable> &variables);

/// One word: the name of a tag or an address, with the number of its station.
std::optional<kvtags::Variable> variableFor(App &app, const QString &word, QString &problem);

/// How wide the names are, for a table.
int widestName(const std::vector<kvtags::Variable> &variables);

/// When --for is over.
kvlink::SteadyTime endOf(const Options &options);

} // namespace kvhost
