// SPDX-License-Identifier: MIT
// The PLCs as devices of an edge node, their tags as metrics, and what is known of each.
#pragma once

#include "outlet.h"
#include "sparkplug_payload.h"

#include <functional>
#include <map>

namespace kvgateway
{

struct SparkplugTag {
    QString tag;  ///< "line1.speed"
    QString name; ///< of the metric: "speed"
    SparkplugType type = SparkplugType::Unknown;
    quint64 alias = 0; ///< in the whole node; another one when the device has other tags
    kvlink::Sample newest;
    quint64 newestSeq = 0; ///< of the row that brought it; 0: nothing came yet
    quint64 saidSeq = 0;   ///< the newest row that went out as a live value, or in a birth
};

struct SparkplugDevice {
    QString name;        ///< of the PLC
    bool isBorn = false; ///< its birth is out in this session, and no death since
    std::vector<SparkplugTag> tags;
};

/// One thread at a time.
class SparkplugDevices
{
public:
    /// \param firstAlias of the first tag
    SparkplugDevices(UInt32As uint32, quint64 firstAlias) : m_uint32(uint32), m_nextAlias(firstAlias) {}

    /// A device without a change stays as it is.
    /// \param leaves called with each device that goes or changes, before it does
    void setTags(const std::vector<TagConfig> &tags, const std::function<void(SparkplugDevice &)> &leaves);
    void setLink(const QString &plc, bool isReady) { m_links.insert(plc, isReady); }
    void removeLink(const QString &plc) { m_links.remove(plc); }
    bool isReady(const SparkplugDevice &device) const { return m_links.value(device.name); }
    /// The newest value of its tag.
    void note(const OutletRow &row);

    std::map<QString, SparkplugDevice> &all() { return m_devices; }
    const std::map<QString, SparkplugDevice> &all() const { return m_devices; }
    /// nullptr: there is none
    SparkplugDevice *find(const QString &plc);
    /// \param device that it belongs to. \return nullptr: there is no such tag
    SparkplugTag *findTag(const QString &tag, SparkplugDevice *&device);
    /// By its alias or its name. \return nullptr: the device has no such metric
    const SparkplugTag *findMetric(const QString &plc, const SparkplugMetric &metric) const;

private:
    struct Place {
        SparkplugDevice *device = nullptr;
        std::size_t index = 0;
    };
    SparkplugDevice renewed(SparkplugDevice device, SparkplugDevice *before);
    void index();

    const UInt32As m_uint32;
    quint64 m_nextAlias;
    std::map<QString, SparkplugDevice> m_devices;
    QHash<QString, Place> m_places; ///< by tag
    QHash<QString, bool> m_links;   ///< by PLC
};

} // namespace kvgateway
