// SPDX-License-Identifier: MIT
// A PLC for the engine's tests: memory, the commands that the driver sends, and a diary of all that
// happened to it.
//
// It judges nothing and knows nothing of the engine: tests compare its diary with what
// the engine said.
#pragma once

#include <kvlink/times.h>

#include <QByteArray>
#include <QList>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kvlink
{

class ModelPlc
{
public:
    /// One command that came in, and the answer that was given.
    struct Entry {
        SteadyTime at;
        QByteArray command;
        QByteArray answer;
    };
    /// One unit (word, double word, value of a timer) that took another value.
    struct Change {
        SteadyTime at;
        quint32 value;
    };
    using History = std::vector<Change>; ///< 0 before the first

    /// \param command without its CR. \return the answer with its CR LF
    QByteArray execute(const QByteArray &command, SteadyTime now);

    /// \param device "DM", "R" (channels), "TC", ...; \param unit number of the word, double
    /// word or timer
    quint32 value(const std::string &device, int unit) const;
    /// As its program or another master does.
    void set(const std::string &device, int unit, quint32 value, SteadyTime now);
    const History &history(const std::string &device, int unit) const;
    /// Moments within the span at which one of the units changed, and its beginning.
    std::vector<SteadyTime> moments(const std::string &device, int first, int count, SteadyTime from,
                                    SteadyTime to) const;
    quint32 valueAt(const std::string &device, int unit, SteadyTime at) const;

    const std::vector<Entry> &diary() const { return m_diary; }
    void clearDiary() { m_diary.clear(); }
    /// How often commands that begin so were carried out or answered.
    int count(const QByteArray &beginning) const;

    // --- what tests may change -------------------------------------------------------------------

    bool wantsGreeting = true; ///< answers E1 until CR
    bool knowsGreeting = true; ///< answers E1 to CR otherwise
    bool isOpen = false;       ///< greeted; restart() closes
    void restart() { isOpen = false; }
    std::map<std::string, int> lastUnit;           ///< by device; E0 beyond
    std::set<std::pair<std::string, int>> missing; ///< units that the PLC does not have: E0
    bool refusesWrites = false;                    ///< E4
    /// Called after each command that changed something: the PLC's program.
    std::function<void(SteadyTime)> program;

private:
    QByteArray answerTo(const QByteArray &command, SteadyTime now);
    QByteArray read(const QByteArray &place, int count) const;
    QByteArray write(const QByteArray &place, const QList<QByteArray> &values, SteadyTime now);
    QByteArray setBit(const QByteArray &place, bool on, SteadyTime now);
    bool has(const std::string &device, int first, int count) const;

    std::map<std::pair<std::string, int>, History> m_units;
    std::vector<Entry> m_diary;
};

} // namespace kvlink
