// SPDX-License-Identifier: MIT
// An MQTT broker that gets the values as Sparkplug B: one [[sparkplug]] of the configuration.
#pragma once

#include "broker_config.h"

#include <QStringList>

namespace kvgateway
{

/// What carries an unsigned number of 32 bits: hosts differ in what they read.
enum class UInt32As : quint8 {
    LongValue, ///< UInt32 in long_value
    IntValue,  ///< UInt32 in int_value
    Int64,     ///< as Int64, which all read alike
};

struct SparkplugConfig : BrokerConfig {
    QString name = QStringLiteral("sparkplug"); ///< also of its files in the data folder
    QString group;
    QString node;        ///< this gateway; each PLC is a device of it
    QString primaryHost; ///< id of the host that must be online; empty: none is waited for
    UInt32As uint32 = UInt32As::LongValue;
    QStringList tags;                                   ///< names and patterns; empty: all
    bool commands = false;                              ///< DCMD writes
    int drainRate = 2000;                               ///< stored rows a second
    kvlink::Duration keep = std::chrono::hours(7 * 24); ///< of a stored row; 0: forever
    qint64 size = 1'000'000'000;                        ///< of the file in the data folder; 0: no limit

    bool operator==(const SparkplugConfig &other) const = default;
};

} // namespace kvgateway
