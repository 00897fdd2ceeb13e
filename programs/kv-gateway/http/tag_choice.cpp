// SPDX-License-Identifier: MIT
#include "tag_choice.h"

#include "text/near_name.h"

#include <tags/pattern.h>

#include <algorithm>

namespace kvgateway
{

TagChoice TagChoice::of(const Request &request)
{
    TagChoice choice;
    for (const QString &name : request.query.value(QStringLiteral("tags")).split(',')) {
        if (!name.trimmed().isEmpty())
            choice.m_names << name.trimmed();
    }
    choice.m_plc = request.query.value(QStringLiteral("plc"));
    choice.m_group = request.query.value(QStringLiteral("group"));
    return choice;
}

bool TagChoice::takes(const LiveTable &table, int tag) const
{
    const TableTag &one = table.tags()[std::size_t(tag)];
    if (!m_plc.isEmpty() && table.plcs()[std::size_t(one.plc)] != m_plc)
        return false;
    if (!m_group.isEmpty() && one.config.group != m_group)
        return false;
    return kvtags::matchesAny(m_names, one.config.name);
}

std::vector<int> TagChoice::indexes(const LiveTable &table) const
{
    std::vector<int> found;
    for (int i = 0; i < int(table.tags().size()); ++i) {
        if (takes(table, i))
            found.push_back(i);
    }
    return found;
}

QString TagChoice::unknownName(const LiveTable &table) const
{
    const auto unknown = std::find_if(m_names.begin(), m_names.end(), [&table](const QString &name) {
        return !kvtags::isPattern(name) && table.find(name) < 0;
    });
    return unknown == m_names.end() ? QString() : *unknown;
}

QString nearTag(const LiveTable &table, const QString &name)
{
    if (int(table.tags().size()) > mostNamesForNear)
        return {};
    QStringList names;
    for (const TableTag &tag : table.tags())
        names << tag.config.name;
    return didYouMean(name, names);
}

} // namespace kvgateway
