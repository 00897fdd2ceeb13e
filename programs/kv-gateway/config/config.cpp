// SPDX-License-Identifier: MIT
#include "config.h"

#include <QHostAddress>

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

} // namespace

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

qint64 Config::tagCount() const
{
    qint64 count = 0;
    for (const PlcConfig &plc : plcs)
        count += qint64(plc.tags.size());
    return count;
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
