// SPDX-License-Identifier: MIT
// All outlets of a configuration: several at once, each with a thread, a queue and a file
// of its own.
#pragma once

#include "mqtt_outlet.h"
#include "outlet_runner.h"

#include "plant/live_table.h"

#include <QSet>

#include <variant>

namespace kvgateway
{

/// Where outlets turn to. Called in their threads.
struct OutletSinks {
    CommandSink command;
    OutletRunner::Notice notice; ///< for the event log
};

/// One thread, that of the plant.
class Outlets
{
public:
    /// \param folder data folder
    /// \param clock  outlives the outlets
    Outlets(QString folder, const Clock &clock, OutletSinks sinks);
    ~Outlets();
    Outlets(const Outlets &) = delete;
    Outlets &operator=(const Outlets &) = delete;

    /// Makes the outlets what \a config says. One whose settings stay keeps its connection.
    /// \param present what a new outlet gets at once; nullptr: it gets changes alone
    void apply(const Config &config, const LiveTable *present = nullptr);
    /// Ends all of them, together, within a second.
    void stop();

    void offer(const QString &tag, const kvlink::Sample &sample);
    void setLink(const QString &plc, bool isReady);
    std::vector<OutletStatus> status() const;

private:
    using Settings = std::variant<MqttConfig, SparkplugConfig, PostgresqlConfig>;
    struct One {
        Settings settings;
        QSet<QString> tags; ///< that it gets
        std::unique_ptr<OutletRunner> runner;
    };
    std::unique_ptr<Outlet> makeOutlet(const MqttConfig &config) const;
    std::unique_ptr<Outlet> makeOutlet(const SparkplugConfig &config) const;
    std::unique_ptr<Outlet> makeOutlet(const PostgresqlConfig &config) const;
    RefusalSink refusalSink() const;
    One make(const Settings &settings) const;
    static void offerPresent(const One &one, const LiveTable &present);
    void forgetLinks(const Config &config);
    void stopOthers(const std::vector<Settings> &wanted);

    const QString m_folder;
    const Clock &m_clock;
    const OutletSinks m_sinks;
    QHash<QString, bool> m_links; ///< by PLC
    std::vector<One> m_all;
};

} // namespace kvgateway
