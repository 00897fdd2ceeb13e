// SPDX-License-Identifier: MIT
#include "sparkplug_batches.h"

#include "sparkplug_types.h"

#include "store/codes.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

std::optional<SparkplugQuality> qualityOf(kvlink::Quality quality)
{
    switch (quality) {
    case kvlink::Quality::Good:
        return std::nullopt;
    case kvlink::Quality::Stale:
    case kvlink::Quality::Pending:
        return SparkplugQuality::Stale;
    case kvlink::Quality::Bad:
    case kvlink::Quality::Never:
        break;
    }
    return SparkplugQuality::Bad;
}

} // namespace

SparkplugMetric metricOf(const SparkplugTag &tag, const kvlink::Sample &sample, UInt32As as, quint64 now,
                         bool &fits)
{
    SparkplugMetric metric;
    metric.alias = tag.alias;
    metric.timestamp = sample.time == kvlink::WallTime{} ? now : quint64(toMs(sample.time));
    metric.quality = qualityOf(sample.quality);
    fits = setSparkplugValue(metric, sample.value, tag.type, as);
    metric.isNull = metric.isNull || !fits;
    metric.type.reset();
    return metric;
}

bool SparkplugBatches::One::takes(const SparkplugMetric &metric) const
{
    const bool goesBack = !isHistorical && *metric.timestamp < newest;
    const auto own = times.constFind(*metric.alias);
    return !goesBack && (own == times.constEnd() || *own < *metric.timestamp);
}

void SparkplugBatches::add(const QString &device, SparkplugMetric metric)
{
    const auto last = std::find_if(m_all.rbegin(), m_all.rend(), [&](const One &one) {
        return one.device == device && one.isHistorical == metric.isHistorical;
    });
    const bool isNew = last == m_all.rend() || !last->takes(metric);
    if (isNew)
        m_all.push_back({device, metric.isHistorical, {}, {}, 0});
    One &batch = isNew ? m_all.back() : *last;
    batch.newest = *metric.timestamp;
    batch.times.insert(*metric.alias, *metric.timestamp);
    batch.payload.metrics.push_back(std::move(metric));
}

} // namespace kvgateway
