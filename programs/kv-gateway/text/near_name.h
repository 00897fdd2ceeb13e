// SPDX-License-Identifier: MIT
// What somebody probably meant who mistyped a name.
#pragma once

#include <QString>
#include <QStringList>

namespace kvgateway
{

/// Among more names, looking for a near one would take too long.
constexpr int mostNamesForNear = 5000;

/// "; did you mean "line1.speed"?", to be put behind a problem. Empty: none is near, or there are
/// too many names.
QString didYouMean(const QString &given, const QStringList &names);

} // namespace kvgateway
