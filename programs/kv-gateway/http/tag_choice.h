// SPDX-License-Identifier: MIT
// Which tags a request is about: by names, patterns, PLC and group.
#pragma once

#include "message.h"

#include "plant/live_table.h"

namespace kvgateway
{

class TagChoice
{
public:
    /// From ?tags=line1.*,line2.run&plc=line1&group=drive; without these, all tags.
    static TagChoice of(const Request &request);

    bool takes(const LiveTable &table, int tag) const;
    /// Indexes in the table, in its order.
    std::vector<int> indexes(const LiveTable &table) const;
    /// A name that is not a pattern and that no tag has. \return empty: all are known
    QString unknownName(const LiveTable &table) const;

private:
    QStringList m_names;
    QString m_plc;
    QString m_group;
};

/// "; did you mean "line1.speed"?", or empty.
QString nearTag(const LiveTable &table, const QString &name);

} // namespace kvgateway
