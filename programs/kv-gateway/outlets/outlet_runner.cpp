// SPDX-License-Identifier: MIT
#include "outlet_runner.h"

#include <utility>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr auto collect = 5ms;                  // the values of one answer go together
constexpr auto busyTick = 10ms;                // acknowledgements are looked at
constexpr auto idleTick = 1s;                  // limits of size and age
constexpr kvlink::Duration lossesEvery = 1min; // that are said
constexpr auto lastAnswers = 300ms;            // what is under way at the end may still be acknowledged

} // namespace

OutletRunner::OutletRunner(QString name, FeederSettings settings, std::unique_ptr<Outlet> outlet,
                           const Clock &clock, Notice notice)
    : m_name(std::move(name)), m_settings(std::move(settings)), m_outlet(std::move(outlet)), m_clock(clock),
      m_notice(std::move(notice))
{
}

OutletRunner::~OutletRunner()
{
    stop();
}

void OutletRunner::start()
{
    m_outlet->start(*this);
    m_thread = std::thread([this] { run(); });
}

void OutletRunner::beginStop()
{
    const std::lock_guard lock(m_mutex);
    m_isEnding = true;
    m_wake.notify_all();
}

void OutletRunner::stop()
{
    if (!m_thread.joinable())
        return;
    beginStop();
    m_thread.join();
}

void OutletRunner::offer(const QString &tag, const kvlink::Sample &sample)
{
    const std::lock_guard lock(m_mutex);
    ++m_offered;
    if (m_fresh.size() >= mostQueued) {
        m_fresh.pop_front();
        ++m_lost;
    }
    m_fresh.push_back({0, tag, sample});
    if (m_fresh.size() == 1)
        m_wake.notify_all();
}

OutletStatus OutletRunner::status() const
{
    OutletState state = m_outlet->state();
    const std::lock_guard lock(m_mutex);
    return {m_name, std::move(state), m_counts, m_offered, m_lost, qint64(m_fresh.size())};
}

void OutletRunner::acknowledged(const std::vector<quint64> &seqs)
{
    const std::lock_guard lock(m_mutex);
    m_acknowledged.insert(m_acknowledged.end(), seqs.begin(), seqs.end());
}

void OutletRunner::refused(const std::vector<quint64> &seqs, const QString &why)
{
    const std::lock_guard lock(m_mutex);
    m_refused.insert(m_refused.end(), seqs.begin(), seqs.end());
    if (m_refusal.isEmpty())
        m_refusal = why;
}

void OutletRunner::postponed(const std::vector<quint64> &seqs)
{
    const std::lock_guard lock(m_mutex);
    m_postponed.insert(m_postponed.end(), seqs.begin(), seqs.end());
}

void OutletRunner::changed()
{
    const std::lock_guard lock(m_mutex);
    m_hasChanged = true;
    m_wake.notify_all();
}

// \return false: it is time to end
bool OutletRunner::waitForNews(Feeder::News &news, bool isBusy)
{
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, isBusy ? kvlink::Duration(busyTick) : kvlink::Duration(idleTick),
                    [this] { return !m_fresh.empty() || m_hasChanged || m_isEnding; });
    if (!m_isEnding)
        m_wake.wait_for(lock, collect, [this] { return m_isEnding; });
    news.fresh.assign(std::make_move_iterator(m_fresh.begin()), std::make_move_iterator(m_fresh.end()));
    m_fresh.clear();
    news.acknowledged = std::exchange(m_acknowledged, {});
    news.refused = std::exchange(m_refused, {});
    news.postponed = std::exchange(m_postponed, {});
    m_hasChanged = false;
    return !m_isEnding;
}

void OutletRunner::run()
{
    Feeder feeder(m_settings, *m_outlet, m_clock);
    Feeder::News news;
    while (waitForNews(news, feeder.isBusy()))
        step(feeder, std::exchange(news, {}));
    step(feeder, std::move(news));
    end(feeder);
}

void OutletRunner::step(Feeder &feeder, Feeder::News news)
{
    QString refusal;
    {
        const std::lock_guard lock(m_mutex);
        refusal = std::exchange(m_refusal, {});
    }
    const QString notice = feeder.step(std::move(news));
    if (!notice.isEmpty())
        m_notice(QStringLiteral("outlet %1: its file on disk was damaged").arg(m_name), notice);
    {
        const std::lock_guard lock(m_mutex);
        m_counts = feeder.counts();
    }
    if (!refusal.isEmpty())
        tellRefusal(refusal, feeder.counts().refused);
    tellDropped();
    tellDisk(feeder.counts().diskProblem);
    tellState();
}

// Not each: a missing right refuses all values of a plant, for as long as it is missing.
void OutletRunner::tellRefusal(const QString &why, quint64 count)
{
    const kvlink::SteadyTime now = m_clock.steady();
    if (m_nextRefusal > now)
        return;
    m_nextRefusal = now + lossesEvery;
    m_notice(QStringLiteral("outlet %1: values were refused and are dropped").arg(m_name),
             QStringLiteral("%1; %2 since the start").arg(why).arg(count));
}

void OutletRunner::tellDropped()
{
    const OutletStatus now = status();
    const quint64 dropped = now.counts.dropped + now.lost;
    if (dropped == m_toldDropped || m_nextDropped > m_clock.steady())
        return;
    m_toldDropped = dropped;
    m_nextDropped = m_clock.steady() + lossesEvery;
    m_notice(QStringLiteral("outlet %1: the oldest rows are dropped, more than it may keep").arg(m_name),
             QStringLiteral("%1 since the start").arg(dropped));
}

void OutletRunner::tellDisk(const QString &problem)
{
    if (problem == m_toldDisk)
        return;
    m_toldDisk = problem;
    if (problem.isEmpty())
        m_notice(QStringLiteral("outlet %1: its file takes values again").arg(m_name), {});
    else
        m_notice(QStringLiteral("outlet %1: its file takes nothing; values wait in memory, %2 at most")
                     .arg(m_name)
                     .arg(FeederSettings::mostUnsaved),
                 problem);
}

// Attempts that fail for the same reason are said once.
void OutletRunner::tellState()
{
    const OutletState state = m_outlet->state();
    const bool isLoss = m_told.isReady() || !state.problem.isEmpty();
    if (state.isReady() && !m_told.isReady())
        m_notice(QStringLiteral("outlet %1: connected").arg(m_name), {});
    else if (!state.isReady() && isLoss && (m_told.isReady() || state.problem != m_told.problem))
        m_notice(QStringLiteral("outlet %1: no connection").arg(m_name), state.problem);
    if (!state.warning.isEmpty() && state.warning != m_told.warning)
        m_notice(QStringLiteral("outlet %1: not all of it works").arg(m_name), state.warning);
    m_told = state;
}

void OutletRunner::end(Feeder &feeder)
{
    const kvlink::SteadyTime until = m_clock.steady() + lastAnswers;
    while (feeder.counts().inFlight > 0 && m_outlet->state().isReady() && m_clock.steady() < until) {
        std::this_thread::sleep_for(busyTick);
        Feeder::News news;
        {
            const std::lock_guard lock(m_mutex);
            news.acknowledged = std::exchange(m_acknowledged, {});
            news.refused = std::exchange(m_refused, {});
        }
        feeder.step(std::move(news));
    }
    m_outlet->stop();
    Feeder::News last;
    last.acknowledged = std::exchange(m_acknowledged, {}); // nobody else is left
    last.refused = std::exchange(m_refused, {});
    feeder.finish(last);
    const std::lock_guard lock(m_mutex);
    m_counts = feeder.counts();
}

} // namespace kvgateway
