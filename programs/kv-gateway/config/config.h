// SPDX-License-Identifier: MIT
// The configuration of a service, checked: plain records.
#pragma once

#include "drawings/drawing.h"
#include "mqtt_config.h"
#include "postgresql_config.h"
#include "sparkplug_config.h"

#include <kvlink/link.h>
#include <kvlink/tag.h>
#include <kvlink/text.h>

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace kvgateway
{

struct TagConfig {
    QString name; ///< whole: "line1.speed"
    QString group;
    QString comment;
    kvlink::TagSettings settings; ///< as kvlink takes it; its name is the short one: "speed"
    kvlink::ValueKind kind = kvlink::ValueKind::Whole;
    int count = 1;             ///< of values
    int digits = 0;            ///< of a hexadecimal value, as kvlink shows it
    bool history = false;      ///< each change is kept
    std::optional<double> min; ///< a write below is refused, as shown
    std::optional<double> max;
    bool confirm = false; ///< the panel asks a person before it writes
    bool button = false;  ///< in the panel a push button: on while it is held

    /// A relay or a bit of a word, and only one: what can be pressed. A contact cannot.
    bool isBit() const;
    /// Why a value, as shown, is outside min and max. On purpose strict where there are limits: a
    /// value that is not a number cannot be compared with them. \return empty: it is within
    QString limitProblem(const kvlink::Value &value) const;
    /// kvlink would do the same with both.
    bool readsLike(const TagConfig &other) const;
};

struct PlcConfig {
    QString name; ///< "line1"
    kvlink::LinkSettings link;
    std::vector<TagConfig> tags;
    QString shard{}; ///< that has it; empty: there are none

    /// The same link: only its tags may differ.
    bool hasLinkOf(const PlcConfig &other) const;
};

struct ListenConfig {
    QString address = QStringLiteral("127.0.0.1"); ///< numeric, IPv4 or IPv6
    quint16 port = 8480;                           ///< 0: any free one
    QString certificate;                           ///< PEM file, absolute path; empty: no TLS
    QString key;
    QStringList hosts;     ///< names by which browsers may reach it, beside addresses and "localhost"
    int connections = 200; ///< most at once

    bool isLocal() const;
    bool hasTls() const { return !certificate.isEmpty(); }
};

struct HistoryConfig {
    bool isKept = true;
    kvlink::Duration rows = std::chrono::hours(30 * 24); ///< how long each change is kept; 0: forever
    kvlink::Duration minutes = std::chrono::hours(400 * 24);
    kvlink::Duration hours{0};
    kvlink::Duration events = std::chrono::hours(400 * 24);
    kvlink::Duration audit{0};
    qint64 size = 0; ///< bytes of the database; 0: no limit
};

/// A machine that has some of the PLCs: one [[shard]] of the configuration.
struct ShardConfig {
    QString name;
    QStringList plcs; ///< names and patterns
};

/// What somebody on this machine may do without a login.
enum class LocalAccess : quint8 { None, Viewer, Operator, Engineer };

struct AccessConfig {
    LocalAccess local = LocalAccess::Viewer;
    kvlink::Duration idle = std::chrono::minutes(30);  ///< a login without a request for so long ends
    kvlink::Duration longest = std::chrono::hours(12); ///< and each one after so long
};

struct Config {
    QString file;   ///< absolute path
    QString folder; ///< data folder, absolute
    ListenConfig listen;
    HistoryConfig history;
    AccessConfig access;
    std::vector<PlcConfig> plcs;
    std::vector<ShardConfig> shards; ///< empty: one machine has all PLCs
    QString shard;                   ///< that this machine has; the others' PLCs are not here then
    std::vector<Drawing> pages;      ///< by name
    std::vector<MqttConfig> mqtt;
    std::vector<SparkplugConfig> sparkplug;
    std::vector<PostgresqlConfig> postgresql;

    /// The database that says which of several gateways is on duty; nullptr: there is one.
    const PostgresqlConfig *standby() const;
    qint64 tagCount() const;
    /// Gives the memory of all tags back: the plant has them, and 100,000 need not be there twice.
    void forgetTags();
    /// "3 PLCs, 300 tags".
    QString sizeText() const;
};

} // namespace kvgateway
