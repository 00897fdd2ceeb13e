// SPDX-License-Identifier: MIT
#include "store.h"

#include "store_engine.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace kvgateway
{

namespace
{

// Without rows: often enough to see the clock jump, and to note that the service is alive.
constexpr std::chrono::seconds idleStep{1};

} // namespace

struct Store::State {
    State(const StoreSettings &wanted, const Clock &given)
        : settings(wanted), clock(given), inbox(wanted), engine(wanted, given, inbox)
    {
    }

    void run();
    void waitForWork();
    void wake();

    const StoreSettings settings;
    const Clock &clock;
    Inbox inbox;
    StoreEngine engine;
    std::thread thread;

    std::mutex lock;
    std::condition_variable changed; // for the thread
    std::condition_variable stepped; // for those who wait for it
    bool hasWork = false;
    bool isHurried = false; // somebody waits: do not collect
    bool isStopping = false;
    bool isIdle = true;
    quint64 steps = 0;
    std::optional<Retention> retention; // new, for the next step
    StoreStatus status;
};

void Store::State::wake()
{
    {
        const std::scoped_lock guard(lock);
        if (hasWork)
            return;
        hasWork = true;
    }
    changed.notify_one();
}

void Store::State::waitForWork()
{
    std::unique_lock guard(lock);
    const auto isUrgent = [this] { return isHurried || isStopping; };
    changed.wait_for(guard, idleStep, [&] { return hasWork || isUrgent(); });
    if (hasWork)
        changed.wait_for(guard, settings.collect, isUrgent);
    hasWork = false;
    isHurried = false;
    if (retention)
        engine.setRetention(*retention);
    retention.reset();
}

void Store::State::run()
{
    bool isLast = false;
    while (!isLast) {
        waitForWork();
        {
            const std::scoped_lock guard(lock);
            isLast = isStopping;
        }
        if (isLast)
            engine.close();
        else
            engine.step();
        const std::scoped_lock guard(lock);
        status = engine.status();
        isIdle = engine.isIdle();
        ++steps;
        stepped.notify_all();
    }
}

Store::Store(const StoreSettings &settings, const Clock &clock)
    : m_state(std::make_unique<State>(settings, clock))
{
}

Store::~Store()
{
    stop();
}

bool Store::start(QString &problem)
{
    if (!m_state->engine.open(problem))
        return false;
    m_state->status = m_state->engine.status();
    m_state->thread = std::thread([this] { m_state->run(); });
    return true;
}

bool Store::stop()
{
    if (!m_state->thread.joinable())
        return m_state->isIdle;
    {
        const std::scoped_lock guard(m_state->lock);
        m_state->isStopping = true;
    }
    m_state->changed.notify_one();
    m_state->thread.join();
    return m_state->isIdle;
}

void Store::addHistory(std::vector<HistoryRow> rows)
{
    m_state->inbox.addHistory(std::move(rows), m_state->clock.wall());
    m_state->wake();
}

bool Store::addAudit(AuditRow row)
{
    const bool isTaken = m_state->inbox.addAudit(std::move(row), m_state->clock.wall());
    m_state->wake();
    return isTaken;
}

bool Store::canAudit() const
{
    return m_state->inbox.canAudit();
}

void Store::addEvent(EventRow row)
{
    m_state->inbox.addEvent(std::move(row), m_state->clock.wall());
    m_state->wake();
}

void Store::keepLast(const std::vector<LastValue> &values)
{
    m_state->inbox.keepLast(values);
    m_state->wake();
}

void Store::setRetention(const Retention &retention)
{
    const std::scoped_lock guard(m_state->lock);
    m_state->retention = retention;
}

// Two steps from now: one may be under way that has taken its rows already.
bool Store::flush(kvlink::Duration longest)
{
    const auto deadline = std::chrono::steady_clock::now() + longest;
    std::unique_lock guard(m_state->lock);
    const quint64 wanted = m_state->steps + 2;
    while (true) {
        // A disk that is full is not asked more often because somebody waits.
        m_state->isHurried = m_state->steps < wanted;
        m_state->changed.notify_one();
        const quint64 before = m_state->steps;
        const bool isStepped =
            m_state->stepped.wait_until(guard, deadline, [&] { return m_state->steps != before; });
        if (m_state->steps >= wanted && m_state->isIdle)
            return true;
        if (!isStepped)
            return false;
    }
}

StoreStatus Store::status() const
{
    StoreStatus status;
    {
        const std::scoped_lock guard(m_state->lock);
        status = m_state->status;
    }
    status.queuedHistoryRows = m_state->inbox.queuedHistory();
    status.queuedAuditRows = m_state->inbox.queuedAudit();
    status.droppedHistoryRows = m_state->inbox.droppedHistory();
    status.droppedEvents = m_state->inbox.droppedEvents();
    return status;
}

QString historyStateName(HistoryState state)
{
    switch (state) {
    case HistoryState::Off:
        return QStringLiteral("off");
    case HistoryState::Running:
        return QStringLiteral("running");
    case HistoryState::Full:
        return QStringLiteral("full");
    case HistoryState::Failed:
        return QStringLiteral("failed");
    }
    return {};
}

} // namespace kvgateway
