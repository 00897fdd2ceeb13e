// SPDX-License-Identifier: MIT
#include "write_guard.h"

#include <algorithm>

namespace kvhost
{

namespace
{

bool isReadOnly(const kvtags::Variable &tag)
{
    return tag.settings.access == kvlink::Access::ReadOnly;
}

const kvtags::Variable *readOnlyTagOf(const kvtags::Variable &variable,
                                      const std::vector<kvtags::Variable> &tags)
{
    const auto tag = std::find_if(tags.begin(), tags.end(), [&](const kvtags::Variable &one) {
        // A tag without a station means the first PLC, whose number is not known here: it guards
        // all of them.
        const bool isSamePlc = one.station < 0 || one.station == variable.station;
        return isReadOnly(one) && isSamePlc && one.address.overlaps(variable.address);
    });
    return tag == tags.end() ? nullptr : &*tag;
}

} // namespace

bool isGuarded(const QString &device)
{
    return device == QLatin1String("AT") || device == QLatin1String("CR") || device == QLatin1String("CM");
}

QString guardedBecause(const kvtags::Variable &variable, const std::vector<kvtags::Variable> &tags,
                       bool isForced)
{
    const QString name = variable.nameOf(0);
    const QString device = variable.address.device();
    if (!variable.address.isWritable())
        return QStringLiteral("%1 is a contact, which follows its timer or counter and cannot be written")
            .arg(name);
    if (isReadOnly(variable))
        return QStringLiteral("%1 is read-only in the tag file (column rw)").arg(name);
    if (const kvtags::Variable *tag =
            variable.settings.name.isEmpty() ? readOnlyTagOf(variable, tags) : nullptr)
        return QStringLiteral("%1 belongs to the tag %2, which is read-only in the tag file (column rw)")
            .arg(name, tag->settings.name);
    if (isForced || !isGuarded(device))
        return {};
    if (device == QLatin1String("AT"))
        return QStringLiteral(
                   "%1 is a trimmer, which PLCs refuse to have written; --force tries all the same")
            .arg(name);
    return QStringLiteral("%1 belongs to the PLC's own control devices; --force writes it all the same")
        .arg(name);
}

} // namespace kvhost
