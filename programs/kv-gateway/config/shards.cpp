// SPDX-License-Identifier: MIT
#include "shards.h"

#include "text/near_name.h"

#include <tags/pattern.h>

#include <QRegularExpression>

#include <algorithm>

namespace kvgateway
{

namespace
{

QStringList shardNames(const Config &config)
{
    QStringList names;
    for (const ShardConfig &shard : config.shards)
        names << shard.name;
    return names;
}

QStringList plcNames(const Config &config)
{
    QStringList names;
    for (const PlcConfig &plc : config.plcs)
        names << plc.name;
    return names;
}

QString readName(TomlSection &from, const Config &sofar)
{
    static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9_-]{1,40}$"));
    // Not empty: its PLCs have a shard all the same.
    QString name = from.text("name", QStringLiteral("?"));
    if (!from.has("name"))
        from.refuse("name", QStringLiteral("a [[shard]] has no name: add name = \"hall-a\""));
    else if (!shape.match(name).hasMatch())
        from.refuse("name", QStringLiteral("the name \"%1\" may have letters, digits, '-' and '_' only, and "
                                           "at most 40 of them")
                                .arg(name));
    else if (shardNames(sofar).contains(name))
        from.refuse("name", QStringLiteral("two shards are called \"%1\"").arg(name));
    return name;
}

// \return how many there were
int takePlcs(TomlSection &from, const QString &pattern, const QString &shard, Config &sofar)
{
    int found = 0;
    for (PlcConfig &plc : sofar.plcs) {
        if (!kvtags::matchesPattern(pattern, plc.name))
            continue;
        ++found;
        if (!plc.shard.isEmpty() && plc.shard != shard)
            from.refuse("plcs", QStringLiteral("plc \"%1\" is in two shards, \"%2\" and \"%3\": two machines "
                                               "would write to it")
                                    .arg(plc.name, plc.shard, shard));
        else
            plc.shard = shard;
    }
    return found;
}

} // namespace

void readShard(TomlSection from, Config &sofar)
{
    ShardConfig shard{readName(from, sofar), from.texts("plcs")};
    if (!from.has("plcs"))
        from.refuse("plcs", QStringLiteral("the shard \"%1\" has no PLCs: add plcs = [\"line1\", \"press*\"]")
                                .arg(shard.name));
    for (const QString &pattern : shard.plcs) {
        if (takePlcs(from, pattern, shard.name, sofar) == 0)
            from.refuse("plcs", QStringLiteral("no PLC is called \"%1\"%2")
                                    .arg(pattern, didYouMean(pattern, plcNames(sofar))));
    }
    const auto count = std::count_if(sofar.plcs.begin(), sofar.plcs.end(),
                                     [&](const PlcConfig &plc) { return plc.shard == shard.name; });
    if (count > mostPlcs)
        from.refuse("plcs", QStringLiteral("%1 PLCs are too many for one shard: %2 fit one service")
                                .arg(count)
                                .arg(mostPlcs));
    from.refuseOthers();
    sofar.shards.push_back(std::move(shard));
}

void refuseLonePlcs(TomlSection &top, const Config &config)
{
    for (const PlcConfig &plc : config.plcs) {
        if (!config.shards.empty() && plc.shard.isEmpty())
            top.refuse("shard", QStringLiteral("plc \"%1\" is in no shard: no machine would read it; add it "
                                               "to the plcs of a [[shard]]")
                                    .arg(plc.name));
    }
}

void checkShard(TomlSection &from, const char *key, const QString &pattern, bool hasShards)
{
    const QString name = QString::fromLatin1(key);
    const bool isOfShard = pattern.contains(QLatin1String("{shard}"));
    if (hasShards && !isOfShard)
        from.refuse(key, QStringLiteral("%1 \"%2\": the gateways of all shards would have the same one; "
                                        "put {shard} into it")
                             .arg(name, pattern));
    else if (!hasShards && isOfShard)
        from.refuse(key, QStringLiteral("%1 \"%2\": {shard} needs [[shard]]").arg(name, pattern));
}

bool chooseShard(Config &config, const QString &name, QString &problem)
{
    const QStringList names = shardNames(config);
    if (names.isEmpty() && name.isEmpty())
        return true;
    if (names.isEmpty())
        problem = QStringLiteral("%1 has no [[shard]]: leave out the shard \"%2\"").arg(config.file, name);
    else if (name.isEmpty())
        problem = QStringLiteral("%1 is for several machines: say which PLCs are for this one, by --shard "
                                 "with one of %2")
                      .arg(config.file, names.join(QStringLiteral(", ")));
    else if (!names.contains(name))
        problem = QStringLiteral("%1 has no shard \"%2\"%3").arg(config.file, name, didYouMean(name, names));
    if (!problem.isEmpty())
        return false;
    auto &plcs = config.plcs;
    plcs.erase(
        std::remove_if(plcs.begin(), plcs.end(), [&name](const PlcConfig &plc) { return plc.shard != name; }),
        plcs.end());
    for (MqttConfig &mqtt : config.mqtt) {
        mqtt.client = filledShard(mqtt.client, name);
        mqtt.statusTopic = filledShard(mqtt.statusTopic, name);
    }
    for (SparkplugConfig &node : config.sparkplug) {
        node.client = filledShard(node.client, name);
        node.node = filledShard(node.node, name);
    }
    config.shard = name;
    return true;
}

QString filledShard(QString pattern, const QString &shard)
{
    return pattern.replace(QLatin1String("{shard}"), shard);
}

} // namespace kvgateway
