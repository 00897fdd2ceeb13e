// SPDX-License-Identifier: MIT
#include "near_name.h"

#include <kvlink/text.h>

namespace kvgateway
{

QString didYouMean(const QString &given, const QStringList &names)
{
    if (names.size() > mostNamesForNear)
        return {};
    const QString near = kvlink::nearestName(given, names);
    return near.isEmpty() ? QString() : QStringLiteral("; did you mean \"%1\"?").arg(near);
}

} // namespace kvgateway
