// SPDX-License-Identifier: MIT
#include "sparkplug_section.h"

#include "broker_keys.h"
#include "outlet_keys.h"
#include "shards.h"

#include <tags/pattern.h>

#include <QHash>
#include <QSysInfo>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr ChoiceRow<UInt32As> uint32Ways[] = {
    {"long_value", UInt32As::LongValue}, {"int_value", UInt32As::IntValue}, {"int64", UInt32As::Int64}};

class SparkplugReader
{
public:
    SparkplugReader(TomlSection &from, const QDir &base) : m_from(from), m_base(base) {}

    SparkplugConfig read(const Config &sofar)
    {
        m_config.name = readOutletName(m_from, m_config.name, sofar);
        const bool hasShards = !sofar.shards.empty();
        readIds(hasShards);
        readBroker(m_from, m_base, QStringLiteral("[[sparkplug]]"),
                   QStringLiteral("kv-gateway-%1-%2").arg(m_config.group, m_config.node), sofar, m_config);
        checkShard(m_from, "node", m_config.node, hasShards);
        checkShard(m_from, "client", m_config.client, hasShards);
        refuseSameNode(sofar.sparkplug);
        m_config.uint32 = m_from.choice("uint32", m_config.uint32, uint32Ways);
        m_config.tags = readOutletTags(m_from, sofar.plcs);
        refuseNamesLikeAnother(sofar.plcs);
        m_config.commands = m_from.yesOrNo("commands", m_config.commands);
        readBacklogKeys(m_from, m_config);
        m_from.refuseOthers();
        return std::move(m_config);
    }

private:
    void readIds(bool hasShards)
    {
        m_config.group = m_from.text("group");
        if (!m_from.has("group"))
            m_from.refuse("group", QStringLiteral("a [[sparkplug]] has no group: add group = \"plant1\""));
        else
            checkId("group", m_config.group);
        // Its topics would be taken for those of a host.
        if (m_config.group == QLatin1String("STATE"))
            m_from.refuse("group", QStringLiteral("group \"STATE\" is the place of hosts: choose another"));
        const QString machine = QSysInfo::machineHostName();
        m_config.node = m_from.text("node", hasShards ? machine + "-{shard}" : machine);
        checkId("node", m_config.node);
        m_config.primaryHost = m_from.text("primary_host");
        if (m_from.has("primary_host"))
            checkId("primary_host", m_config.primaryHost);
    }

    void checkId(const char *key, const QString &id)
    {
        if (id.isEmpty() || hasReserved(id))
            m_from.refuse(key, QStringLiteral("%1 \"%2\": it must not be empty, nor have '+', '#' or '/'")
                                   .arg(QString::fromLatin1(key), id));
    }

    // The whole system must not have two, and what differs by case alone is mistaken for another.
    void refuseSameNode(const std::vector<SparkplugConfig> &others)
    {
        const auto isSame = [this](const SparkplugConfig &other) {
            return other.isBrokerOf(m_config) &&
                   other.group.compare(m_config.group, Qt::CaseInsensitive) == 0 &&
                   other.node.compare(m_config.node, Qt::CaseInsensitive) == 0;
        };
        if (std::any_of(others.begin(), others.end(), isSame))
            m_from.refuse("node", QStringLiteral("two [[sparkplug]] are the node \"%1\" of the group \"%2\" "
                                                 "at one broker: set node")
                                      .arg(m_config.node, m_config.group));
    }

    void refuseNamesLikeAnother(const std::vector<PlcConfig> &plcs)
    {
        QHash<QString, QString> seen;
        for (const PlcConfig &plc : plcs) {
            bool isDevice = false;
            for (const TagConfig &tag : plc.tags) {
                if (!kvtags::matchesAny(m_config.tags, tag.name))
                    continue;
                isDevice = true;
                refuseLike(seen, plc.name + tag.name.mid(plc.name.size()).toLower(), tag.name);
            }
            if (isDevice)
                refuseLike(seen, plc.name.toLower(), plc.name);
        }
    }

    void refuseLike(QHash<QString, QString> &seen, const QString &key, const QString &name)
    {
        const auto other = seen.constFind(key);
        if (other != seen.constEnd() && *other != name)
            m_from.refuse("tags", QStringLiteral("\"%1\" and \"%2\" differ by case alone, and hosts may take "
                                                 "one for the other: rename one, or choose tags without it")
                                      .arg(*other, name));
        seen.insert(key, name);
    }

    TomlSection &m_from;
    const QDir &m_base;
    SparkplugConfig m_config;
};

} // namespace

SparkplugConfig readSparkplug(TomlSection from, const QDir &base, const Config &sofar)
{
    return SparkplugReader(from, base).read(sofar);
}

} // namespace kvgateway
