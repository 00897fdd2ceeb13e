// SPDX-License-Identifier: MIT
// Links and table of the plant; what goes through them.
#include "plant.h"

#include <QUuid>

#include <algorithm>

namespace kvgateway
{

namespace
{

QString newRun()
{
    constexpr int length = 8;
    return QUuid::createUuid().toString(QUuid::Id128).left(length);
}

} // namespace

Plant::Plant(PlantObserver &observer)
    : m_observer(observer),
      m_table(std::make_shared<LiveTable>(newRun(), std::vector<QString>(), std::vector<TableTag>()))
{
}

Plant::~Plant()
{
    stop();
}

bool Plant::apply(const Config &config, QString &problem)
{
    auto links = buildLinks(config, problem);
    if (!links)
        return false;
    const Links oldLinks = std::exchange(m_links, std::move(*links));
    for (const auto &link : m_links)
        link->commit();
    replaceTable(oldLinks, config);
    for (const auto &link : m_links) {
        if (std::find(oldLinks.begin(), oldLinks.end(), link) == oldLinks.end())
            watch(*link);
    }
    for (const auto &link : oldLinks) {
        if (std::find(m_links.begin(), m_links.end(), link) == m_links.end())
            retire(link);
    }
    return true;
}

std::shared_ptr<PlcLink> Plant::sameLink(const PlcConfig &config) const
{
    const auto found = std::find_if(m_links.begin(), m_links.end(),
                                    [&](const auto &link) { return link->config().hasLinkOf(config); });
    return found == m_links.end() ? nullptr : *found;
}

std::optional<Plant::Links> Plant::buildLinks(const Config &config, QString &problem)
{
    Links links;
    for (const PlcConfig &plc : config.plcs) {
        std::shared_ptr<PlcLink> link = sameLink(plc);
        if (link && !link->prepare(plc, *m_table, problem))
            break;
        if (!link)
            link = PlcLink::build(plc, *m_table, problem);
        if (!link)
            break;
        links.push_back(std::move(link));
    }
    if (problem.isEmpty())
        return links;
    for (const auto &link : links)
        link->rollBack();
    return std::nullopt;
}

void Plant::watch(PlcLink &link)
{
    kvlink::Plc &plc = link.plc();
    connect(&plc, &kvlink::Plc::changed, this,
            [this, &link](kvlink::Tag tag, const kvlink::Sample &sample) { onChanged(link, tag, sample); });
    connect(&plc, &kvlink::Plc::linkChanged, this,
            [this, &link](const kvlink::LinkStatus &status) { onLink(link, status); });
    connect(&plc, &kvlink::Plc::writeFinished, this,
            [this, &link](const kvlink::WriteResult &result) { onWritten(link, result); });
    plc.start();
}

void Plant::replaceTable(const Links &oldLinks, const Config &config)
{
    std::vector<QString> plcs;
    std::vector<TableTag> tags;
    tags.reserve(std::size_t(config.tagCount()));
    for (std::size_t i = 0; i < m_links.size(); ++i) {
        m_links[i]->setFirstIndex(int(tags.size()));
        for (const TagConfig &tag : config.plcs[i].tags)
            tags.push_back({tag, int(i)});
        plcs.push_back(config.plcs[i].name);
    }
    auto table = std::make_shared<LiveTable>(newRun(), std::move(plcs), std::move(tags));
    for (std::size_t i = 0; i < table->tags().size(); ++i) {
        const TableTag &tag = table->tags()[i];
        const kvlink::Sample known = knownSample(*m_links[std::size_t(tag.plc)], oldLinks, tag.config);
        if (known.quality != kvlink::Quality::Never)
            table->update(int(i), known);
    }
    for (std::size_t i = 0; i < m_links.size(); ++i)
        table->setLink(int(i), m_links[i]->plc().link());
    m_lastSamples.clear();
    const std::lock_guard lock(m_mutex);
    m_table.swap(table);
    table->close();
}

// On purpose nothing for a tag or a link that was changed: it may be another place, or another PLC.
kvlink::Sample Plant::knownSample(const PlcLink &link, const Links &oldLinks, const TagConfig &tag) const
{
    const bool isKept = std::any_of(oldLinks.begin(), oldLinks.end(),
                                    [&link](const auto &old) { return old.get() == &link; });
    const int old = isKept ? m_table->find(tag.name) : -1;
    if (old >= 0 && m_table->tags()[std::size_t(old)].config.readsLike(tag))
        return m_table->sample(old);
    return m_lastSamples.value(tag.name);
}

std::shared_ptr<LiveTable> Plant::table() const
{
    const std::lock_guard lock(m_mutex);
    return m_table;
}

const kvlink::Plc *Plant::plc(int index) const
{
    const bool isThere = index >= 0 && index < int(m_links.size());
    return isThere ? &m_links[std::size_t(index)]->plc() : nullptr;
}

PlcIdentity Plant::identity(int index, kvlink::SteadyTime now) const
{
    const bool isThere = index >= 0 && index < int(m_links.size());
    return isThere ? m_links[std::size_t(index)]->identity(now) : PlcIdentity();
}

void Plant::onChanged(const PlcLink &link, kvlink::Tag tag, const kvlink::Sample &sample)
{
    const int index = link.indexOf(tag);
    if (index < 0)
        return;
    m_table->update(index, sample);
    m_observer.sampleChanged(m_table->tags()[std::size_t(index)].config, sample);
}

void Plant::onLink(const PlcLink &link, const kvlink::LinkStatus &status)
{
    m_table->setLink(m_table->findPlc(link.config().name), status);
    m_observer.linkChanged(link.config().name, status);
}

void Plant::retire(const std::shared_ptr<PlcLink> &link)
{
    disconnect(&link->plc(), &kvlink::Plc::changed, this, nullptr);
    disconnect(&link->plc(), &kvlink::Plc::linkChanged, this, nullptr);
    m_retiring.push_back(link);
    link->beginStop([this, gone = link.get()] {
        QMetaObject::invokeMethod(
            this, [this, gone] { forget(gone); }, Qt::QueuedConnection);
    });
}

void Plant::forget(const PlcLink *link)
{
    const auto found = std::find_if(m_retiring.begin(), m_retiring.end(),
                                    [link](const auto &one) { return one.get() == link; });
    if (found == m_retiring.end())
        return;
    finishStop(**found);
    m_retiring.erase(found);
}

// On purpose only with open writes: a link with 10,000 tags has as many samples that nobody wants.
void Plant::finishStop(PlcLink &link)
{
    link.endStop();
    const auto first = m_writes.lower_bound(WriteKey(&link, 0));
    if (first != m_writes.end() && first->first.first == &link)
        link.giveLastSignals();
}

void Plant::stop()
{
    for (const auto &link : std::exchange(m_links, {}))
        retire(link);
    for (const auto &link : m_retiring)
        finishStop(*link);
    m_retiring.clear();
    m_buttons.clear();
    table()->close();
}

} // namespace kvgateway
