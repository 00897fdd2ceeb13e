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
    return QString::number(seconds * 1000.0, 'g', 3) + QStringLiteral(" ms");
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

// \param group a copy: asking for the plan changes nothing
void addRows(ReadPlan &plan, Duration period, ReadGroup group, const PlanLimits &limits)
{
    const Device &device = group.device();
    group.replan(limits);
    for (const ReadBlock &block : group.blocks()) {
        plan.requests.push_back(
            {period, QLatin1String(deviceOfFrame(device).name), unitName(device, block.first),
             unitName(device, block.first + block.count - 1), block.count, block.usedUnits,
             int(block.end - block.begin), frameText(device, block), whyOf(block, limits)});
    }
}

LinkStatistics::Period rowOf(const PassClock &clock, const ReadGroups &groups)
{
    LinkStatistics::Period row;
    row.asked = clock.period();
    row.reached = clock.reached();
    row.passes = clock.passes();
    row.missed = clock.missed();
    for (const auto &[area, group] : groups) {
        row.tags += group.tagCount();
        row.requests += int(group.blocks().size());
    }
    return row;
}

} // namespace

ReadPlan Reader::plan() const
{
    ReadPlan plan;
    plan.measured = m_costs.isMeasured();
    plan.requestCost = durationOf(m_costs.requestSeconds());
    plan.unitCost = durationOf(m_costs.unitSeconds(bytesOfWord));
    for (const auto &[period, pass] : m_passes) {
        for (const auto &[area, group] : pass.groups)
            addRows(plan, period, group, m_costs.limitsOf(group.device()));
    }
    return plan;
}

void Reader::fill(LinkStatistics &statistics) const
{
    statistics.missedPasses = m_missedOfGone;
    for (const auto &[period, pass] : m_passes) {
        statistics.periods.push_back(rowOf(pass.clock, pass.groups));
        statistics.missedPasses += pass.clock.missed();
    }
}

} // namespace kvlink
