// SPDX-License-Identifier: MIT
// Values of tags as metrics, and those that may go together in one message.
#pragma once

#include "sparkplug_devices.h"

namespace kvgateway
{

/// With its alias, without its name and type. A value that the type of the tag cannot hold is none.
/// \param now the time of a sample without one, ms since 1970
/// \param fits false: the type cannot hold it
SparkplugMetric metricOf(const SparkplugTag &tag, const kvlink::Sample &sample, UInt32As as, quint64 now,
                         bool &fits);

/// Messages on their way, in the order of their first values. Each has values of one device, live
/// or historical ones, no metric twice with one time, and live ones in the order of their times.
class SparkplugBatches
{
public:
    struct One {
        QString device;
        bool isHistorical = false;
        SparkplugPayload payload;
        QHash<quint64, quint64> times; ///< the newest one of each alias
        quint64 newest = 0;

        bool takes(const SparkplugMetric &metric) const;
    };

    /// \param metric with alias and time
    void add(const QString &device, SparkplugMetric metric);
    std::vector<One> &all() { return m_all; }

private:
    std::vector<One> m_all;
};

} // namespace kvgateway
