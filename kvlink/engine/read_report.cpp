// SPDX-License-Identifier: MIT
// What the reader says about itself: the plan with its reasons, and the periods.
#include "engine/reader.h"

#include <cmath>

namespace kvlink
{

namespace
{

// Device whose letters stand in the frame: all values of a timer come with T.
const Device &deviceOfFrame(const Device &device)
{
    for (const Device &one : devices()) {
        if (one.area == device.readArea)
            return one;
    }
    return device;
}

QString unitName(const Device &device, int unit)
{
    const Device &read = deviceOfFrame(device);
    const int area = read.element == Element::Bit ? read.wordArea : read.area;
    return QLatin1String(read.name) + driverText(read, area, unit);
}

QString frameText(const Device &device, const PlannedBlock &block)
{
    const bool isDouble = device.element == Element::DoubleWord || device.field != Field::Whole;
    return QStringLiteral("RDS %1.%2 %3")
        .arg(unitName(device, block.first), isDouble ? QStringLiteral("D") : QStringLiteral("U"))
        .arg(block.count);
}

QString milliseconds(double seconds)
{
    return QStringLiteral("%1 ms").arg(seconds * 1000.0, 0, 'g', 3);
}

QString counted(int number, const char *what)
{
    return QStringLiteral("%1 %2%3").arg(number).arg(QLatin1String(what),
                                                     QLatin1String(number == 1 ? "" : "s"));
}

QString whyOf(const ReadBlock &block, const PlanLimits &limits)
{
    if (block.isRefused())
        return QStringLiteral("alone, since the PLC refuses it (E%1); asked again every minute")
            .arg(block.plcError);
    if (block.isPiece)
        return QStringLiteral("a piece of a tag that is larger than the largest request, %1")
            .arg(counted(limits.mostUnits, "unit"));
    const int across = block.count - block.usedUnits;
    if (across == 0)
        return QStringLiteral("no gaps");
    return QStringLiteral("reads across %1 of together %2: they cost %3, a request %4")
        .arg(counted(block.gaps, "gap"), counted(across, "unit"), milliseconds(across * limits.unitSeconds),
             milliseconds(limits.requestSeconds));
}

Duration durationOf(double seconds)
{
    return Duration(std::llround(seconds * 1e6));
}

} // namespace

ReadPlan Reader::plan() const
{
    ReadPlan plan;
    plan.measured = m_cost.isMeasured();
    plan.requestCost = durationOf(m_plannedCost + bytesOfFrame * m_cost.perByte());
    plan.unitCost = durationOf(bytesOfWord * m_cost.perByte());
    for (const auto &[period, pass] : m_passes) {
        for (const auto &[area, group] : pass.groups) {
            ReadGroup planned = group; // a copy: asking for the plan changes nothing
            const PlanLimits limits = limitsOf(group.device());
            planned.replan(limits);
            for (const ReadBlock &block : planned.blocks()) {
                plan.requests.push_back({period, QLatin1String(deviceOfFrame(group.device()).name),
                                         unitName(group.device(), block.first),
                                         unitName(group.device(), block.first + block.count - 1), block.count,
                                         block.usedUnits, int(block.end - block.begin),
                                         frameText(group.device(), block), whyOf(block, limits)});
            }
        }
    }
    return plan;
}

void Reader::fill(LinkStatistics &statistics) const
{
    statistics.periods.clear();
    statistics.missedPasses = m_missedOfGone;
    for (const auto &[period, pass] : m_passes) {
        LinkStatistics::Period row;
        row.asked = period;
        row.reached = pass.clock.reached();
        row.passes = pass.clock.passes();
        row.missed = pass.clock.missed();
        for (const auto &[area, group] : pass.groups) {
            row.tags += group.tagCount();
            row.requests += int(group.blocks().size());
        }
        statistics.missedPasses += row.missed;
        statistics.periods.push_back(row);
    }
}

} // namespace kvlink
