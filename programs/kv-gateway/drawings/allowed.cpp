// SPDX-License-Identifier: MIT
#include "allowed.h"

#include <QHash>
#include <QSet>

namespace kvgateway
{

namespace
{

// clang-format off
constexpr const char *keptElements =
    "svg g defs symbol use path rect circle ellipse line polyline polygon "
    "linearGradient radialGradient stop pattern clipPath mask marker "
    "filter feGaussianBlur feOffset feBlend feMerge feMergeNode feFlood feComposite feColorMatrix";
constexpr const char *textElements = "text tspan textPath title desc";
constexpr const char *droppedElements = "metadata";

constexpr const char *attributes =
    "x y x1 y1 x2 y2 cx cy r rx ry fx fy fr dx dy d points width height viewBox preserveAspectRatio transform "
    "gradientUnits gradientTransform spreadMethod offset patternUnits patternContentUnits patternTransform "
    "clipPathUnits maskUnits maskContentUnits markerUnits markerWidth markerHeight refX refY orient "
    "pathLength rotate textLength lengthAdjust startOffset method spacing side "
    "filterUnits primitiveUnits in in2 result stdDeviation mode operator k1 k2 k3 k4 type values";

constexpr const char *properties =
    "fill fill-opacity fill-rule stroke stroke-width stroke-opacity stroke-linecap stroke-linejoin stroke-miterlimit "
    "stroke-dasharray stroke-dashoffset opacity display visibility color paint-order vector-effect overflow "
    "font-family font-size font-style font-weight font-variant font-stretch letter-spacing word-spacing "
    "text-anchor text-decoration dominant-baseline alignment-baseline baseline-shift writing-mode direction "
    "stop-color stop-opacity flood-color flood-opacity color-interpolation-filters shape-rendering text-rendering "
    "clip-path clip-rule mask filter marker-start marker-mid marker-end";

constexpr const char *referringElements = "use linearGradient radialGradient pattern textPath";
// clang-format on

QSet<QString> setOf(const char *words)
{
    const QStringList list = QString::fromLatin1(words).split(' ');
    return {list.begin(), list.end()};
}

} // namespace

ElementKind elementKind(const QString &name)
{
    static const QSet<QString> kept = setOf(keptElements), text = setOf(textElements),
                               dropped = setOf(droppedElements);
    if (kept.contains(name))
        return ElementKind::Kept;
    if (text.contains(name))
        return ElementKind::Text;
    return dropped.contains(name) ? ElementKind::Dropped : ElementKind::Refused;
}

bool isAllowedAttribute(const QString &name)
{
    static const QSet<QString> allowed = setOf(attributes);
    return allowed.contains(name);
}

bool isAllowedProperty(const QString &name)
{
    static const QSet<QString> allowed = setOf(properties);
    return allowed.contains(name);
}

bool mayRefer(const QString &element)
{
    static const QSet<QString> allowed = setOf(referringElements);
    return allowed.contains(element);
}

} // namespace kvgateway
