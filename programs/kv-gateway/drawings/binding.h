// SPDX-License-Identifier: MIT
// What ties an element of a drawing to a tag:
//
//   data-tag="tanks.level1"
//   data-format="0.0 %"                        or "0=closed|1=open"; in a text
//   data-when="> 90: fill red; off: hide"
//   data-level="0 100 up"                      in a rectangle
//   data-button="press"                        or "set 5", "ask"
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace kvgateway
{

/// "data-tag", "data-format", ...
QStringList bindingNames();

/// What is wrong with the bindings of an element.
/// \param element  "rect"
/// \param bindings by name; empty if the element has none
/// \return one sentence for each; empty: all is well
QStringList bindingProblems(const QString &element, const QMap<QString, QString> &bindings);

} // namespace kvgateway
