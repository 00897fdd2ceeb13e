// SPDX-License-Identifier: MIT
#include "sparkplug_devices.h"

#include "sparkplug_types.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

bool isSame(const SparkplugDevice &one, const SparkplugDevice &other)
{
    return std::equal(
        one.tags.begin(), one.tags.end(), other.tags.begin(), other.tags.end(),
        [](const SparkplugTag &a, const SparkplugTag &b) { return a.name == b.name && a.type == b.type; });
}

} // namespace

// With aliases of its own, so that none changes its meaning; what was known of a tag stays.
SparkplugDevice SparkplugDevices::renewed(SparkplugDevice device, SparkplugDevice *before)
{
    QHash<QString, const SparkplugTag *> known;
    if (before != nullptr) {
        for (const SparkplugTag &tag : before->tags)
            known.insert(tag.name, &tag);
    }
    for (SparkplugTag &tag : device.tags) {
        tag.alias = m_nextAlias++;
        const SparkplugTag *old = known.value(tag.name);
        if (old == nullptr || old->type != tag.type)
            continue;
        tag.newest = old->newest;
        tag.newestSeq = old->newestSeq;
    }
    return device;
}

void SparkplugDevices::setTags(const std::vector<TagConfig> &tags,
                               const std::function<void(SparkplugDevice &)> &leaves)
{
    std::map<QString, SparkplugDevice> next;
    for (const TagConfig &tag : tags) {
        SparkplugTag made;
        made.tag = tag.name;
        made.name = tag.name.section('.', 1);
        made.type = sparkplugTypeOf(tag, m_uint32);
        SparkplugDevice &device = next[tag.name.section('.', 0, 0)];
        device.name = tag.name.section('.', 0, 0);
        device.tags.push_back(std::move(made));
    }
    for (auto &[name, device] : m_devices) {
        const auto same = next.find(name);
        if (same == next.end() || !isSame(device, same->second))
            leaves(device);
    }
    for (auto &[name, device] : next) {
        SparkplugDevice *before = find(name);
        if (before != nullptr && isSame(*before, device))
            device = std::move(*before);
        else
            device = renewed(std::move(device), before);
    }
    m_devices = std::move(next);
    index();
}

void SparkplugDevices::index()
{
    m_places.clear();
    for (auto &[name, device] : m_devices) {
        for (std::size_t i = 0; i < device.tags.size(); ++i)
            m_places.insert(device.tags[i].tag, Place{&device, i});
    }
}

void SparkplugDevices::note(const OutletRow &row)
{
    SparkplugDevice *device = nullptr;
    SparkplugTag *tag = findTag(row.tag, device);
    if (tag == nullptr)
        return;
    tag->newest = row.sample;
    tag->newestSeq = row.seq;
}

SparkplugDevice *SparkplugDevices::find(const QString &plc)
{
    const auto found = m_devices.find(plc);
    return found == m_devices.end() ? nullptr : &found->second;
}

SparkplugTag *SparkplugDevices::findTag(const QString &tag, SparkplugDevice *&device)
{
    const Place place = m_places.value(tag);
    device = place.device;
    return device == nullptr ? nullptr : &device->tags[place.index];
}

const SparkplugTag *SparkplugDevices::findMetric(const QString &plc, const SparkplugMetric &metric) const
{
    const auto device = m_devices.find(plc);
    if (device == m_devices.end())
        return nullptr;
    const auto &tags = device->second.tags;
    const auto isMeant = [&metric](const SparkplugTag &tag) {
        return metric.name.isEmpty() ? metric.alias == tag.alias : metric.name == tag.name;
    };
    const auto found = std::find_if(tags.begin(), tags.end(), isMeant);
    return found == tags.end() ? nullptr : &*found;
}

} // namespace kvgateway
