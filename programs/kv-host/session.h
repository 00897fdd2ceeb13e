// A host with a loaded driver: the settings block, the exchange loop, and what the host keeps beside the
// driver's store, which is quality, pending requests and counts. Commands are screens of this host.
#pragma once

#include "exchange_loop.h"
#include "quality.h"
#include "request_ledger.h"
#include "statistics.h"
#include "variable.h"

#include <atomic>
#include <functional>
#include <memory>

namespace kvhost
{

struct SessionSettings {
    std::vector<PlcTarget> targets;
    Ms timeout{1000};
    int retries = 3;
    int maxBlock = 128;
    Ms gap{0};
    QString driver;
    WordOrder order = WordOrder::LowFirst;
};

/// Range of the driver's read units that an address lies in.
UnitRange unitsOf(const Address &address);
UnitRange unitsOfValue(const Address &address, int i);

class Session : public ExchangeListener
{
public:
    explicit Session(SessionSettings settings);
    ~Session() override;

    /// Loads the driver and hands it the settings block and the callbacks.
    bool load(const QString &programFolder, QString *problem);
    const QString &driverPath() const { return m_driverPath; }
    const DriverCalls &calls() const { return m_calls; }
    ComInfo *block() { return m_block; }
    const SessionSettings &settings() const { return m_settings; }

    /// Starts and stops the exchange loop.
    void start();
    void stop();

    /// Registers what is read again and again; replaces what was registered before.
    /// \param shown false: only the exchanges are of interest, nobody will look at the values
    /// \return number of read blocks
    int readCyclically(const std::vector<Variable> &variables, Ms cycle, bool shown = true);

    /// Proved values of one variable, and how far each may be trusted.
    struct Look {
        QVector<Value> values;
        QVector<QualityBook::State> states;
    };
    /// \param variable its place in what readCyclically() was given
    Look look(std::size_t variable) const;

    /// Queues a read or a write. \return owner id to ask for with request()
    int readOnce(const Address &address);
    int write(const Address &address, const QByteArray &data);
    RequestLedger &requests() { return m_ledger; }

    /// What the driver's store holds now, proved or not: for places that nobody reads meanwhile.
    QVector<Value> values(const Address &address);
    QualityBook::State quality(const Address &address, int value);

    Statistics statistics() const;
    void clearStatistics();
    QVector<LinkStatus> links() const;
    LinkStatus link(int station) const;

    /// Waits on the calling thread, handling its events, until \a done, the deadline or an interrupt.
    bool waitUntil(const std::function<bool()> &done, Time deadline);
    /// The same for the deadline or an interrupt alone: nothing that PLCs do wakes the thread meanwhile.
    void pause(Time deadline);
    /// Any thread: something that waitUntil waits for may have come.
    void wake();
    /// Grows with all that changes values, qualities or links.
    int news() const { return m_news; }
    /// Ends all waiting; asked for by a signal.
    void interrupt(int signal);
    int interrupted() const { return m_signal; }

    /// Told on the exchange thread, when somebody wants to see frames.
    std::function<void(const ExchangeReport &)> onExchange;
    std::function<void(const LinkStatus &)> onLink;

private:
    void answerCame(const ExchangeReport &report) override;
    void exchanged(const ExchangeReport &report) override;
    void linkChanged(const LinkStatus &status) override;
    void cycleDone(Clock::duration time) override;
    void threwAway(const QByteArray &bytes) override;
    void judged(int station, const StepDoubt::Finding &finding) override;
    int pendingAt(int station) const override;

    static int notified(int context, int ownerType, int ownerId, int status);
    static int gaveUp(QList<RW_VAR> *list, int ownerType, int flag);
    void requestReported(int ownerType, int ownerId, int status);
    void rest(Time deadline);
    void takePicture(int station);
    void noteQuality(const ExchangeReport &report);
    void count(const ExchangeReport &report);
    bool handOver(int owner, RequestKind kind, int returned, int pendingBefore);

    SessionSettings m_settings;
    DriverCalls m_calls;
    QString m_driverPath;
    ComInfo *m_block;
    std::unique_ptr<ExchangeLoop> m_loop;
    RequestLedger m_ledger;
    Waiter m_waiter;
    int m_signal = 0;
    bool m_started = false;                ///< a pass over all variables is done; exchange thread
    std::atomic<bool> m_startEnded{false}; ///< the same, for the waiting thread to give back what it needed
    std::atomic<int> m_news{0};
    std::atomic<bool> m_awaited{false}; ///< a thread is in waitUntil()

    /// Values as they were when they were last proved: the driver's store is always ahead of that.
    struct Picture {
        Address address;
        QVector<Value> values;
    };

    mutable std::mutex m_mutex; // the five below
    QualityBook m_book;
    std::vector<Picture> m_pictures;
    Statistics m_statistics;
    std::map<int, LinkStatus> m_links;
    Clock::duration m_askedCycle{};
};

} // namespace kvhost
