// SPDX-License-Identifier: MIT
// What a drawing may have in a browser: lists of elements, attributes and properties.
#pragma once

#include <QString>

namespace kvgateway
{

enum class ElementKind : quint8 {
    Kept,
    Text,    ///< kept with the text in it
    Dropped, ///< with all that is in it, and without a word: of use to drawing programs only
    Refused,
};

/// \param name of an element of SVG: "rect"
ElementKind elementKind(const QString &name);

/// Geometry and references: "x", "viewBox".
bool isAllowedAttribute(const QString &name);
/// How it looks, as an attribute or in a style: "fill".
bool isAllowedProperty(const QString &name);
/// May refer to another element by href: "use".
bool mayRefer(const QString &element);

} // namespace kvgateway
