// SPDX-License-Identifier: MIT
#include "config.h"

#include <QHostAddress>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace kvgateway
{

namespace
{

auto fieldsOf(const kvlink::TagSettings &tag)
{
    return std::tie(tag.address, tag.name, tag.period, tag.scale, tag.offset, tag.unit, tag.deadband,
                    tag.access, tag.everySample, tag.command);
}

auto fieldsOf(const kvlink::LinkSettings &link)
{
    return std::tie(link.url, link.open, link.timeout, link.maxBlock, link.gap, link.wordOrder,
                    link.textEncoding, link.driver);
}

std::optional<double> numberOf(const kvlink::Value &value)
{
    if (const auto *whole = std::get_if<qint64>(&value))
        return double(*whole);
    if (const auto *real = std::get_if<double>(&value); real != nullptr && std::isfinite(*real))
        return *real;
    return std::nullopt;
}

QString numberProblem(const TagConfig &tag, const kvlink::Value &value)
{
    const auto number = numberOf(value);
    if (!number)
        return QStringLiteral("%1 has limits: the value must be a number").arg(tag.name);
    if (tag.min && *number < *tag.min)
        return QStringLiteral("%1 is below the least value of %2, %3")
            .arg(*number)
            .arg(tag.name)
            .arg(*tag.min);
    if (tag.max && *number > *tag.max)
        return QStringLiteral("%1 is above the largest value of %2, %3")
            .arg(*number)
            .arg(tag.name)
            .arg(*tag.max);
    return {};
}

} // namespace

QString TagConfig::limitProblem(const kvlink::Value &value) const
{
    if (!min && !max)
        return {};
    const auto *list = std::get_if<std::vector<kvlink::Scalar>>(&value);
    const int values = list == nullptr ? 1 : int(list->size());
    QString problem;
    for (int i = 0; i < values && problem.isEmpty(); ++i)
        problem = numberProblem(*this, kvlink::valueAt(value, i));
    return problem;
}

bool TagConfig::isBit() const
{
    QString problem;
    const auto address = kvlink::AddressInfo::parse(settings.address, problem);
    return address && address->isBit();
}

bool TagConfig::readsLike(const TagConfig &other) const
{
    return name == other.name && fieldsOf(settings) == fieldsOf(other.settings);
}

bool PlcConfig::hasLinkOf(const PlcConfig &other) const
{
    return name == other.name && fieldsOf(link) == fieldsOf(other.link);
}

bool ListenConfig::isLocal() const
{
    return QHostAddress(address).isLoopback();
}

const PostgresqlConfig *Config::standby() const
{
    const auto found = std::find_if(postgresql.begin(), postgresql.end(),
                                    [](const PostgresqlConfig &one) { return one.standby; });
    return found == postgresql.end() ? nullptr : &*found;
}

qint64 Config::tagCount() const
{
    qint64 count = 0;
    for (const PlcConfig &plc : plcs)
        count += qint64(plc.tags.size());
    return count;
}

// On purpose not {}: that would empty the list and keep its memory.
void Config::forgetTags()
{
    for (PlcConfig &plc : plcs)
        plc.tags = std::vector<TagConfig>();
}

QString Config::sizeText() const
{
    const qint64 count = tagCount();
    return QStringLiteral("%1 %2, %3 %4")
        .arg(plcs.size())
        .arg(plcs.size() == 1 ? QStringLiteral("PLC") : QStringLiteral("PLCs"))
        .arg(count)
        .arg(count == 1 ? QStringLiteral("tag") : QStringLiteral("tags"));
}

} // namespace kvgateway
