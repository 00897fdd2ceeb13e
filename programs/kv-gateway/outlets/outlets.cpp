// SPDX-License-Identifier: MIT
#include "outlets.h"

#include "database_outlet.h"
#include "mosquitto_client.h"
#include "postgresql_writer.h"
#include "sparkplug_outlet.h"

#include <tags/pattern.h>

#include <algorithm>

namespace kvgateway
{

namespace
{

std::vector<TagConfig> tagsFor(const QStringList &patterns, const Config &config)
{
    std::vector<TagConfig> tags;
    for (const PlcConfig &plc : config.plcs) {
        std::copy_if(plc.tags.begin(), plc.tags.end(), std::back_inserter(tags),
                     [&](const TagConfig &tag) { return kvtags::matchesAny(patterns, tag.name); });
    }
    return tags;
}

} // namespace

Outlets::Outlets(QString folder, const Clock &clock, OutletSinks sinks)
    : m_folder(std::move(folder)), m_clock(clock), m_sinks(std::move(sinks))
{
}

Outlets::~Outlets()
{
    stop();
}

RefusalSink Outlets::refusalSink() const
{
    return [notice = m_sinks.notice](const WriteOrder &order, const QString &why) {
        notice(QStringLiteral("command for %1 refused").arg(order.tag),
               QStringLiteral("%1 from %2: %3").arg(order.who, order.from, why));
    };
}

// With commands a clean session: the broker must not keep one for us. Without, that it knows us
// says that the newest values need not go out again.
std::unique_ptr<Outlet> Outlets::makeOutlet(const MqttConfig &config) const
{
    auto client = std::make_shared<MosquittoClient>(config, MosquittoOptions{config.commands, false});
    return std::make_unique<MqttOutlet>(config, std::move(client), m_clock, m_sinks.command, refusalSink());
}

std::unique_ptr<Outlet> Outlets::makeOutlet(const SparkplugConfig &config) const
{
    const QString countPath = QStringLiteral("%1/outlet-%2.bdseq").arg(m_folder, config.name);
    auto client = std::make_shared<MosquittoClient>(config, MosquittoOptions{true, true});
    return std::make_unique<SparkplugOutlet>(config, countPath, std::move(client), m_clock, m_sinks.command,
                                             refusalSink());
}

std::unique_ptr<Outlet> Outlets::makeOutlet(const PostgresqlConfig &config) const
{
    return std::make_unique<DatabaseOutlet>(std::make_shared<PostgresqlWriter>(config));
}

Outlets::One Outlets::make(const Settings &settings) const
{
    One one;
    one.settings = settings;
    std::visit(
        [&](const auto &config) {
            FeederSettings feeder;
            feeder.path = QStringLiteral("%1/outlet-%2.sqlite").arg(m_folder, config.name);
            feeder.limits = {config.size, config.keep};
            feeder.drainRate = config.drainRate;
            one.runner = std::make_unique<OutletRunner>(config.name, feeder, makeOutlet(config), m_clock,
                                                        m_sinks.notice);
        },
        settings);
    return one;
}

void Outlets::stopOthers(const std::vector<Settings> &wanted)
{
    const auto stays = [&wanted](const One &one) {
        return std::find(wanted.begin(), wanted.end(), one.settings) != wanted.end();
    };
    const auto firstOther = std::stable_partition(m_all.begin(), m_all.end(), stays);
    for (auto one = firstOther; one != m_all.end(); ++one)
        one->runner->beginStop();
    for (auto one = firstOther; one != m_all.end(); ++one)
        one->runner->stop();
    m_all.erase(firstOther, m_all.end());
}

// What is retained of a PLC that is gone would look alive forever.
void Outlets::forgetLinks(const Config &config)
{
    for (auto link = m_links.begin(); link != m_links.end();) {
        const bool isThere = std::any_of(config.plcs.begin(), config.plcs.end(),
                                         [&](const PlcConfig &plc) { return plc.name == link.key(); });
        if (isThere) {
            ++link;
            continue;
        }
        for (const One &one : m_all)
            one.runner->outlet().removeLink(link.key());
        link = m_links.erase(link);
    }
}

// Those that never change would never come otherwise.
void Outlets::offerPresent(const One &one, const LiveTable &present)
{
    for (std::size_t i = 0; i < present.tags().size(); ++i) {
        const QString &tag = present.tags()[i].config.name;
        const kvlink::Sample sample = present.sample(int(i));
        if (one.tags.contains(tag) && sample.quality != kvlink::Quality::Never)
            one.runner->offer(tag, sample);
    }
}

void Outlets::apply(const Config &config, const LiveTable *present)
{
    std::vector<Settings> wanted(config.mqtt.begin(), config.mqtt.end());
    wanted.insert(wanted.end(), config.sparkplug.begin(), config.sparkplug.end());
    wanted.insert(wanted.end(), config.postgresql.begin(), config.postgresql.end());
    stopOthers(wanted);
    forgetLinks(config);
    for (const Settings &settings : wanted) {
        auto found = std::find_if(m_all.begin(), m_all.end(),
                                  [&](const One &one) { return one.settings == settings; });
        const bool isNew = found == m_all.end();
        if (isNew)
            found = m_all.insert(m_all.end(), make(settings));
        const QStringList patterns = std::visit([](const auto &one) { return one.tags; }, settings);
        const std::vector<TagConfig> tags = tagsFor(patterns, config);
        found->tags.clear();
        for (const TagConfig &tag : tags)
            found->tags.insert(tag.name);
        Outlet &outlet = found->runner->outlet();
        outlet.setTags(tags);
        for (auto link = m_links.constBegin(); link != m_links.constEnd(); ++link)
            outlet.setLink(link.key(), link.value());
        if (!isNew)
            continue;
        if (present != nullptr)
            offerPresent(*found, *present);
        found->runner->start();
    }
}

void Outlets::stop()
{
    stopOthers({});
}

void Outlets::offer(const QString &tag, const kvlink::Sample &sample)
{
    for (const One &one : m_all) {
        if (one.tags.contains(tag))
            one.runner->offer(tag, sample);
    }
}

void Outlets::setLink(const QString &plc, bool isReady)
{
    m_links.insert(plc, isReady);
    for (const One &one : m_all)
        one.runner->outlet().setLink(plc, isReady);
}

std::vector<OutletStatus> Outlets::status() const
{
    std::vector<OutletStatus> all;
    all.reserve(m_all.size());
    for (const One &one : m_all)
        all.push_back(one.runner->status());
    return all;
}

} // namespace kvgateway
