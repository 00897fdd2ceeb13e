// SPDX-License-Identifier: MIT
// The service: configuration, store, plant and API, put together, started, reloaded and stopped.
#pragma once

#include "recorder.h"
#include "stream_waker.h"

#include "access/access.h"
#include "http/api.h"
#include "plant/plant.h"
#include "standby/duty_keeper.h"

#include <QTimer>

#include <atomic>

namespace kvgateway
{

struct GatewayOptions {
    QString file;            ///< of the configuration
    QString driver;          ///< path of the driver library; empty: where it was installed
    QString shard;           ///< of [[shard]] in the configuration; empty: it has none
    bool isInsecure = false; ///< other machines may come in without users or TLS
};

/// One thread, with an event loop.
class Gateway
{
public:
    explicit Gateway(GatewayOptions options);
    ~Gateway();

    /// \return all problems; empty: it runs
    QStringList start();
    /// Reads the configuration again. All or nothing: with a problem the old one goes on.
    /// \param who asked for it
    QStringList reload(const QString &who);
    /// Within a second.
    void stop();

    quint16 port() const { return m_server ? m_server->port() : quint16(0); }
    QString address() const { return m_config.listen.address; }

private:
    /// Reads the configuration and leaves what is for this machine.
    /// \return none with problems
    std::optional<Config> load(QStringList &problems) const;
    QStringList open();
    QStringList check(const Config &config) const;
    QStringList restartNeeded(const Config &config) const;
    bool startServer(QString &problem);
    void restartServer();
    void takeAccess(const Config &config);
    void restoreLastValues();
    void makeOutlets();
    /// Whether the PLCs are this gateway's at the moment. Any thread.
    bool isOnDuty() const { return !m_keeper || m_isOnDuty; }
    DutyStatus dutyStatus() const;
    QString makeKeeper();
    /// Without PLCs and what else only one of two gateways may have.
    Config idleConfig() const;
    /// Makes plant and outlets what the configuration says.
    /// \param isOnDuty otherwise they are idle
    bool runAll(bool isOnDuty, QString &problem);
    void beginDuty();
    void leaveDuty();
    void noteDuty(const DutyStatus &status);

    GatewayOptions m_options;
    MachineClock m_clock;
    Argon2idHasher m_hasher;
    Config m_config; ///< without the tags, once the plant has them for good
    std::unique_ptr<Store> m_store;
    std::unique_ptr<Access> m_access;
    std::unique_ptr<Gate> m_gate;
    std::unique_ptr<Recorder> m_recorder;
    std::unique_ptr<Plant> m_plant;
    std::unique_ptr<Outlets> m_outlets;
    std::unique_ptr<StreamWaker> m_waker;
    std::unique_ptr<Api> m_api;
    std::unique_ptr<HttpServer> m_server;
    BootClock m_dutyClock;
    std::unique_ptr<KillFuse> m_fuse;
    std::unique_ptr<DutyKeeper> m_keeper; ///< none: this gateway is always on duty
    std::atomic<bool> m_isOnDuty{false};
    GatewayCounts m_counts;
    QTimer m_historyTimer;
    QTimer m_lastValuesTimer;
};

/// Why the gateway must not listen there: others could come in without a login, or read along.
/// \param hasUsers somebody has a login or a token
/// \return empty: it may
QString listenProblem(const ListenConfig &listen, bool hasUsers, bool isInsecure);

} // namespace kvgateway
