// SPDX-License-Identifier: MIT
// An outlet with its feeder, in a thread of their own: who offers a change never waits, whatever
// the disk and the other side do.
#pragma once

#include "feeder.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace kvgateway
{

/// What is to be known of an outlet.
struct OutletStatus {
    QString name;
    OutletState state;
    FeederCounts counts; ///< of the last step
    quint64 offered = 0; ///< rows since the start
    quint64 lost = 0;    ///< of these: the queue in memory was full
    qint64 queued = 0;   ///< rows in memory that wait for the feeder
};

class OutletRunner : private OutletEvents
{
public:
    static constexpr std::size_t mostQueued = 100'000; ///< rows in memory; beyond, the oldest go
    /// In the runner's thread: something for the log.
    using Notice = std::function<void(const QString &text, const QString &cause)>;

    /// \param clock outlives the runner
    OutletRunner(QString name, FeederSettings settings, std::unique_ptr<Outlet> outlet, const Clock &clock,
                 Notice notice);
    ~OutletRunner() override; ///< stops
    OutletRunner(const OutletRunner &) = delete;
    OutletRunner &operator=(const OutletRunner &) = delete;

    void start();
    /// Begins what stop() waits for.
    void beginStop();
    /// Gives the other side a moment to acknowledge, saves the rest and ends the thread. Within a
    /// second, unless the disk hangs.
    void stop();

    /// Any thread; never blocks.
    void offer(const QString &tag, const kvlink::Sample &sample);
    /// Any thread.
    OutletStatus status() const;
    Outlet &outlet() { return *m_outlet; }

private:
    void acknowledged(const std::vector<quint64> &seqs) override;
    void refused(const std::vector<quint64> &seqs, const QString &why) override;
    void postponed(const std::vector<quint64> &seqs) override;
    void changed() override;

    void run();
    bool waitForNews(Feeder::News &news, bool isBusy);
    void step(Feeder &feeder, Feeder::News news);
    void tellRefusal(const QString &why, quint64 count);
    void tellDropped();
    void tellDisk(const QString &problem);
    void tellState();
    void end(Feeder &feeder);

    const QString m_name;
    const FeederSettings m_settings;
    std::unique_ptr<Outlet> m_outlet;
    const Clock &m_clock;
    const Notice m_notice;
    std::thread m_thread;
    OutletState m_told; ///< the state that the log knows
    QString m_toldDisk; ///< the same of the file
    quint64 m_toldDropped = 0;
    kvlink::SteadyTime m_nextRefusal{}, m_nextDropped{};

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<OutletRow> m_fresh;
    std::vector<quint64> m_acknowledged, m_refused, m_postponed;
    QString m_refusal; ///< why the first one of those was refused
    FeederCounts m_counts;
    quint64 m_offered = 0;
    quint64 m_lost = 0;
    bool m_hasChanged = false;
    bool m_isEnding = false;
};

} // namespace kvgateway
