// SPDX-License-Identifier: MIT
#include "write_run.h"

#include "app/exit_code.h"
#include "app/summary.h"
#include "output/shown_text.h"

#include <kvlink/text.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <unistd.h>

namespace kvhost
{

using kvlink::Outcome;
using kvlink::Quality;
using kvlink::Reason;
using kvlink::Sample;

namespace
{

constexpr kvlink::Duration longestInQueue = std::chrono::minutes(10);
constexpr int mostAttempts = 10;
// Of the event loop, for results that wait there when the links have stopped.
constexpr int deliverTurns = 100;
constexpr int deliverMs = 10;

QString joined(const kvtags::Variable &variable, const kvlink::Value &value)
{
    QStringList texts;
    for (int i = 0; i < variable.address.values(); ++i)
        texts << printable(variable.shown(value, i));
    return texts.join(',');
}

} // namespace

std::vector<kvtags::Variable> variablesOf(const std::vector<Assignment> &assignments)
{
    std::vector<kvtags::Variable> variables;
    variables.reserve(assignments.size());
    for (const Assignment &assignment : assignments)
        variables.push_back(assignment.variable);
    return variables;
}

// Not one old value came, and not because the PLC refused it: nothing could be written either.
// A link that was lost since is waited for again.
bool WriteRun::isOutOfReach() const
{
    for (int i = 0; i < m_all.size(); ++i) {
        const Sample sample = m_all.sample(i);
        const int code = exitCodeOf(sample.reason);
        if (sample.hasValue() || sample.quality != Quality::Bad ||
            (code != ExitNoLink && code != ExitNoAnswer))
            return false;
    }
    return true;
}

void WriteRun::showPlan()
{
    for (int i = 0; i < m_all.size(); ++i) {
        const kvtags::Variable &variable = m_all.variable(i);
        const Sample old = m_all.sample(i);
        const Assignment &assignment = m_assignments[std::size_t(i)];
        m_app.out.note(
            QStringLiteral("%1: %2 -> %3")
                .arg(printable(variable.name()),
                     hasShownValue(old) ? joined(variable, old.value) : QStringLiteral("?"),
                     m_app.options.pulse
                         ? QStringLiteral("1, after %1 0").arg(kvlink::durationText(*m_app.options.pulse))
                         : joined(variable, assignment.wanted)));
    }
}

// One line from the terminal, which a signal may interrupt.
bool WriteRun::isConfirmed()
{
    if (m_app.options.isConfirmed)
        return true;
    m_app.out.prompt("Write? [y/N] ");
    QByteArray line;
    bool isClosed = false;
    const QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&] {
        char buffer[256];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
        isClosed = size <= 0;
        line.append(buffer, int(size > 0 ? size : 0));
    });
    m_app.wait.until([&] { return isClosed || line.contains('\n'); });
    const QByteArray answer = line.trimmed().toLower();
    return answer == "y" || answer == "yes";
}

// Each PLC counts its writes by itself: only with the station an id says which write it is.
void WriteRun::takeResult(const Station &station, const kvlink::WriteResult &result)
{
    for (std::size_t i = 0; i < m_ids.size(); ++i) {
        if (m_ids[i] == result.id && &m_all.station(int(i)) == &station)
            m_results[i] = result;
    }
    handOutWhatMay();
}

// Writes to places that overlap go out in the order in which they were typed, whatever becomes
// of the first.
bool WriteRun::mayBeHandedOut(std::size_t i) const
{
    for (std::size_t before = 0; before < i; ++before) {
        if (!m_results[before] &&
            m_assignments[before].variable.station == m_assignments[i].variable.station &&
            m_assignments[before].variable.address.overlaps(m_assignments[i].variable.address))
            return false;
    }
    return true;
}

void WriteRun::handOutWhatMay()
{
    kvlink::WriteOptions options;
    options.expires = longestInQueue;
    options.attempts = std::min(m_app.options.retries + 1, mostAttempts);
    for (std::size_t i = 0; i < m_ids.size(); ++i) {
        if (m_ids[i] != 0 || !mayBeHandedOut(i))
            continue;
        kvlink::Plc &plc = *m_all.station(int(i)).plc;
        m_ids[i] = m_app.options.pulse ? plc.pulse(m_all.tag(int(i)), *m_app.options.pulse)
                                       : plc.writeText(m_all.tag(int(i)), m_assignments[i].typed, options);
    }
}

bool WriteRun::isEveryEnded() const
{
    return std::all_of(m_results.begin(), m_results.end(),
                       [](const auto &result) { return result.has_value(); });
}

void WriteRun::listen()
{
    for (Station &station : m_app.stations.all()) {
        QObject::connect(
            station.plc.get(), &kvlink::Plc::writeFinished, station.plc.get(),
            [this, &station](const kvlink::WriteResult &result) { takeResult(station, result); });
    }
}

// What met a link that was just lost may be handed out again, since nothing of it was sent.
bool WriteRun::forgetOffline()
{
    bool isAny = false;
    for (std::size_t i = 0; i < m_results.size(); ++i) {
        const bool isOffline =
            m_results[i] && m_results[i]->outcome == Outcome::NotSent &&
            (m_results[i]->reason == Reason::Offline || m_results[i]->reason == Reason::NoLink);
        if (isOffline) {
            m_results[i].reset();
            m_ids[i] = 0;
        }
        isAny = isAny || isOffline;
    }
    return isAny;
}

void WriteRun::handOut()
{
    listen();
    for (int attempt = 0; attempt <= m_app.options.retries; ++attempt) {
        handOutWhatMay();
        const bool isEnded = m_app.wait.until([this] { return isEveryEnded(); });
        const bool isLast = attempt == m_app.options.retries;
        if (!isEnded || isLast || !forgetOffline() || !m_all.waitForLinks())
            return;
    }
}

// Stopping ends every write that was handed out: as not sent, or as unknown.
void WriteRun::collectAfterStop()
{
    m_app.stations.stop();
    const auto isOpen = [this] {
        for (std::size_t i = 0; i < m_ids.size(); ++i) {
            if (m_ids[i] != 0 && !m_results[i])
                return true;
        }
        return false;
    };
    for (int turn = 0; turn < deliverTurns && isOpen(); ++turn)
        QCoreApplication::processEvents(QEventLoop::AllEvents, deliverMs);
}

int WriteRun::showEnd(std::size_t i, bool isReadBack, bool &differs)
{
    const kvtags::Variable &variable = m_assignments[i].variable;
    kvlink::WriteResult result;
    result.reason = Reason::Stopped;
    result.text = QStringLiteral("not handed out; nothing was sent");
    if (m_results[i])
        result = *m_results[i];
    const bool isDone = result.outcome == Outcome::Done;
    const Sample now = isReadBack ? m_all.sample(int(i)) : Sample();
    for (int value = 0; value < variable.address.values(); ++value) {
        WriteRow row{m_all.row(int(i), value, now), kvlink::outcomeName(result.outcome), QString()};
        if (!isDone)
            row.text = result.text;
        else if (isReadBack && !row.row.hasValue)
            row.text = QStringLiteral("confirmed by the PLC, but not read back");
        const QString wanted =
            m_app.options.pulse ? QStringLiteral("0") : variable.shown(m_assignments[i].wanted, value);
        if (isDone && row.row.hasValue && row.row.value != wanted) {
            differs = true;
            m_app.refuse(QStringLiteral(
                             "%1 was written and confirmed, but holds another value: does the PLC's program "
                             "write it too?")
                             .arg(printable(variable.nameOf(value))),
                         ExitSomeBad);
        }
        differs = differs || (isDone && isReadBack && !row.row.hasValue);
        m_app.out.row(row);
    }
    return exitCodeOf(result.outcome);
}

int WriteRun::showEnds(bool isReadBack)
{
    m_app.out.setNameWidth(widestName(m_all.variables()));
    std::vector<int> codes;
    bool differs = false;
    for (std::size_t i = 0; i < m_assignments.size(); ++i)
        codes.push_back(showEnd(i, isReadBack, differs));
    const int code = exitCodeOf(codes);
    return code == ExitGood && (differs || m_app.out.hasFailed()) ? int(ExitSomeBad) : code;
}

int WriteRun::nothingWritten(const QString &why, int code)
{
    m_app.out.note(why);
    return code;
}

int WriteRun::run()
{
    if (!m_all.problem().isEmpty())
        return m_app.refuse(m_all.problem(), ExitUsage);
    m_app.stations.start();
    if (!m_all.readOnce())
        return nothingWritten("nothing was written\n" + summaryOf(m_app.stations), interrupted());
    if (isOutOfReach()) {
        for (int i = 0; i < m_all.size(); ++i) {
            for (int value = 0; value < m_all.variable(i).address.values(); ++value)
                m_app.out.row(WriteRow{m_all.row(i, value, m_all.sample(i)),
                                       kvlink::outcomeName(Outcome::NotSent),
                                       QStringLiteral("the PLC was not reached; nothing was sent")});
        }
        return ExitNoLink;
    }
    showPlan();
    if (!isConfirmed())
        return nothingWritten("nothing was written",
                              m_app.wait.interrupted() != 0 ? interrupted() : int(ExitNoLink));
    handOut();
    if (m_app.wait.interrupted() != 0) {
        collectAfterStop();
        showEnds(false);
        return nothingWritten(summaryOf(m_app.stations), interrupted());
    }
    const bool isReadBack = m_app.options.isVerified && m_all.readOnce();
    const int code = showEnds(isReadBack);
    return m_app.wait.interrupted() != 0 ? interrupted() : code;
}

} // namespace kvhost
