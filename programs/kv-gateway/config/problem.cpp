// SPDX-License-Identifier: MIT
#include "problem.h"

namespace kvgateway
{

QString Problem::shown() const
{
    QString where = file;
    if (line > 0)
        where += QStringLiteral(":%1").arg(line);
    if (line > 0 && column > 0)
        where += QStringLiteral(":%1").arg(column);
    return where + ": " + text;
}

} // namespace kvgateway
