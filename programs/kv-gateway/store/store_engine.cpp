// SPDX-License-Identifier: MIT
#include "store_engine.h"

#include "codes.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <sys/file.h>
#include <unistd.h>

namespace kvgateway
{

namespace
{

constexpr std::size_t rowsOfTransaction = 20'000;
constexpr kvlink::Duration firstRemoval = std::chrono::minutes(1);

QString timeText(kvlink::WallTime time)
{
    return QDateTime::fromMSecsSinceEpoch(toMs(time), Qt::UTC).toString(Qt::ISODateWithMs);
}

void count(CommitTimes &times, kvlink::Duration duration)
{
    const double seconds = std::chrono::duration<double>(duration).count();
    const auto bound = std::lower_bound(CommitTimes::bounds.begin(), CommitTimes::bounds.end(), seconds);
    ++times.counts[std::size_t(bound - CommitTimes::bounds.begin())];
    times.sum += seconds;
}

} // namespace

StoreEngine::StoreEngine(const StoreSettings &settings, const Clock &clock, Inbox &inbox)
    : m_settings(settings), m_clock(clock), m_inbox(inbox), m_watch(clock)
{
}

StoreEngine::~StoreEngine()
{
    if (m_lockFd >= 0)
        ::close(m_lockFd);
}

bool StoreEngine::open(QString &problem)
{
    if (!QDir().mkpath(m_settings.folder)) {
        problem = QStringLiteral("the data folder %1 cannot be made: check its path and its rights")
                      .arg(m_settings.folder);
        return false;
    }
    if (!lockFolder(problem))
        return false;
    OpenProblem journal;
    OpenProblem history;
    const kvlink::SteadyTime now = m_clock.steady();
    // A full disk stops neither the service nor its reading: opened later, as everything.
    if (!openJournal(journal) && !journal.isFull) {
        problem = journal.text;
        return false;
    }
    if (m_settings.keepHistory && !openHistory(history) && !history.isFull) {
        problem = history.text;
        return false;
    }
    if (!m_journal)
        noteJournal(Written::Full, journal.text, now);
    if (m_settings.keepHistory && !m_history)
        noteHistory(Written::Full, history.text, now);
    m_nextRemoval = std::max(m_nextRemoval, now + firstRemoval);
    return true;
}

// Held by the process, however it ends.
bool StoreEngine::lockFolder(QString &problem)
{
    const QString path = m_settings.folder + QStringLiteral("/lock");
    m_lockFd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    if (m_lockFd < 0) {
        problem =
            QStringLiteral("%1: %2; check the rights of the data folder").arg(path, qt_error_string(errno));
        return false;
    }
    if (::flock(m_lockFd, LOCK_EX | LOCK_NB) == 0)
        return true;
    problem = QStringLiteral("another kv-gateway uses the data folder %1: stop it, or set another folder")
                  .arg(m_settings.folder);
    return false;
}

bool StoreEngine::openJournal(OpenProblem &problem)
{
    m_journal = JournalWriter::open(m_settings.folder, problem);
    return m_journal != nullptr;
}

bool StoreEngine::openHistory(OpenProblem &problem)
{
    auto history = HistoryWriter::open(m_settings.folder, problem);
    if (!history)
        return false;
    auto removal = std::make_unique<HistoryRemoval>(history->database());
    removal->limitFile(m_settings.retention.historyBytes);
    std::optional<kvlink::WallTime> downFrom;
    if (const Written ended = history->endOldValues(downFrom); ended != Written::Done) {
        problem = {history->problem(), ended == Written::Full};
        return false;
    }
    m_history = std::move(history);
    m_removal = std::move(removal);
    m_status.history = HistoryState::Running;
    if (downFrom)
        noteDownTime(*downFrom);
    return true;
}

void StoreEngine::noteDownTime(kvlink::WallTime from)
{
    const kvlink::WallTime now = m_clock.wall();
    event(EventKind::Service, QStringLiteral("values were not read"),
          QStringLiteral("the service did not run from %1 to %2").arg(timeText(from), timeText(now)));
    if (now - from > holdRemoval)
        m_nextRemoval = m_clock.steady() + holdRemoval;
}

void StoreEngine::event(EventKind kind, const QString &text, const QString &cause)
{
    const EventRow row{0, {}, kind, {}, {}, text, cause};
    m_inbox.addEvent(row, m_clock.wall());
    if (m_settings.onEvent)
        m_settings.onEvent(row);
}

void StoreEngine::watchClock()
{
    const std::optional<kvlink::Duration> jump = m_watch.look(m_clock);
    if (!jump)
        return;
    const bool isForward = jump->count() > 0;
    const qint64 seconds = std::chrono::round<std::chrono::seconds>(std::chrono::abs(*jump)).count();
    const kvlink::WallTime now = m_clock.wall();
    event(EventKind::Clock,
          QStringLiteral("the clock was set %1 by %2 s")
              .arg(isForward ? QStringLiteral("forward") : QStringLiteral("back"))
              .arg(seconds),
          QStringLiteral("from %1 to %2").arg(timeText(now - *jump), timeText(now)));
    if (*jump > largeJump)
        m_nextRemoval = m_clock.steady() + holdRemoval;
}

void StoreEngine::step()
{
    watchClock();
    const kvlink::SteadyTime now = m_clock.steady();
    if (now >= m_historyRetry)
        writeHistory(now);
    remove(now);
    // Last: what happened above is in it.
    if (now >= m_journalRetry)
        writeJournal(now);
}

void StoreEngine::close()
{
    m_historyRetry = {};
    m_journalRetry = {};
    step();
    while (!m_inbox.isEmpty() && m_status.journalProblem.isEmpty() && m_status.historyProblem.isEmpty())
        step();
    if (m_history)
        m_history->noteAlive(m_clock.wall());
}

void StoreEngine::writeJournal(kvlink::SteadyTime now)
{
    OpenProblem problem;
    if (!m_journal && !openJournal(problem)) {
        noteJournal(Written::Full, problem.text, now);
        return;
    }
    if (m_batch.isEmpty())
        m_batch = m_inbox.takeJournal();
    if (m_batch.isEmpty())
        return;
    const Written result = m_journal->write(m_batch);
    noteJournal(result, m_journal->problem(), now);
    if (result != Written::Done)
        return;
    m_batch = {};
    m_inbox.setAuditLeft(0);
}

void StoreEngine::noteJournal(Written result, const QString &problem, kvlink::SteadyTime now)
{
    const bool wasDone = m_status.journalProblem.isEmpty();
    if (result == Written::Done) {
        m_status.journalProblem.clear();
        if (!wasDone)
            event(EventKind::Service, QStringLiteral("audit and events are written again"), {});
        return;
    }
    m_status.journalProblem = QStringLiteral("%1; audit and events wait, and are tried again").arg(problem);
    m_journalRetry = now + retryAfter;
    if (wasDone)
        event(EventKind::Service, QStringLiteral("audit and events wait"), problem);
}

void StoreEngine::writeHistory(kvlink::SteadyTime now)
{
    OpenProblem problem;
    if (!m_settings.keepHistory)
        return;
    if (!m_history && !openHistory(problem)) {
        noteHistory(problem.isFull ? Written::Full : Written::Failed, problem.text, now);
        return;
    }
    // Oldest first: what could not be written before comes before what was lost since.
    if (m_rows.empty())
        m_rows = m_inbox.takeHistory();
    while (!m_rows.empty() && writeHistoryPart()) {
    }
    if (!m_rows.empty()) // failed, and noted
        return;
    Written result = Written::Done;
    if (m_history->isMergeDue(now))
        result = m_history->merge(now);
    else if (now - m_lastAlive >= aliveEvery)
        result = m_history->noteAlive(m_clock.wall());
    else
        return;
    m_lastAlive = now;
    noteHistory(result, m_history->problem(), now);
}

bool StoreEngine::writeHistoryPart()
{
    const std::size_t size = std::min(rowsOfTransaction, m_rows.size());
    const auto end = m_rows.begin() + std::ptrdiff_t(size);
    const std::vector<HistoryRow> part(std::make_move_iterator(m_rows.begin()), std::make_move_iterator(end));
    const kvlink::SteadyTime start = m_clock.steady();
    const Written result = m_history->write(part, m_clock.wall());
    m_lastAlive = m_clock.steady();
    noteHistory(result, m_history->problem(), m_lastAlive);
    if (result != Written::Done) {
        std::copy(part.begin(), part.end(), m_rows.begin());
        return false;
    }
    count(m_status.historyCommits, m_lastAlive - start);
    m_status.historyRows += size;
    m_rows.erase(m_rows.begin(), end);
    m_inbox.setHistoryLeft(qint64(m_rows.size()));
    return true;
}

void StoreEngine::noteHistory(Written result, const QString &problem, kvlink::SteadyTime now)
{
    const HistoryState before = m_status.history;
    if (result == Written::Done) {
        m_status.history = HistoryState::Running;
        m_status.historyProblem.clear();
        if (before == HistoryState::Full || before == HistoryState::Failed)
            event(EventKind::History, QStringLiteral("history goes on"), {});
        return;
    }
    const bool isFull = result == Written::Full;
    m_status.history = isFull ? HistoryState::Full : HistoryState::Failed;
    m_status.historyProblem =
        isFull ? QStringLiteral("%1; no history is kept until there is room again").arg(problem)
               : QStringLiteral("%1; no history is kept until it can be written again").arg(problem);
    m_historyRetry = now + retryAfter;
    if (before != m_status.history)
        event(EventKind::History, QStringLiteral("history stopped"), problem);
}

void StoreEngine::remove(kvlink::SteadyTime now)
{
    if (now >= m_nextRemoval)
        removeAges(now);
    if (!m_history)
        return;
    m_status.historyBytes = m_removal->usedBytes();
    m_status.walBytes = m_history->walBytes();
    const qint64 limit = m_settings.retention.historyBytes;
    const bool isTooLarge = limit != 0 && m_status.historyBytes > limit;
    if (!m_removal->isBusy() && isTooLarge && now >= m_nextSizeTry && !m_removal->startBySize(m_clock.wall()))
        m_nextSizeTry = now + retryAfter;
    if (m_removal->isBusy() && m_removal->step())
        m_historyRetry = {}; // there may be room now
}

void StoreEngine::removeAges(kvlink::SteadyTime now)
{
    m_nextRemoval = now + removeEvery;
    if (m_removal && !m_removal->isBusy())
        m_removal->startByAge(m_settings.retention, m_clock.wall());
    if (!m_journal)
        return;
    int removedAudit = 0;
    const Written result = m_journal->removeOld(m_settings.retention, m_clock.wall(), removedAudit);
    noteJournal(result, m_journal->problem(), now);
    if (result == Written::Done && removedAudit > 0)
        event(EventKind::Service, QStringLiteral("%1 rows of the audit were removed").arg(removedAudit),
              QStringLiteral("they were older than the configuration keeps them"));
}

void StoreEngine::setRetention(const Retention &retention)
{
    m_settings.retention = retention;
    if (m_removal)
        m_removal->limitFile(retention.historyBytes);
}

bool StoreEngine::isIdle() const
{
    return m_rows.empty() && m_batch.isEmpty() && m_inbox.isEmpty();
}

} // namespace kvgateway
