// SPDX-License-Identifier: MIT
// A drawing of the plant, as somebody drew it in SVG, made safe to be shown in a browser.
//
// What a browser would run, fetch or mix with the page around it never gets through: elements,
// attributes and properties are those of a list. What only a drawing program needs goes without a
// word; what would be seen, or was meant to do something, is a fault with its line.
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace kvgateway
{

struct Drawing {
    QString name;   ///< "tanks", of the file tanks.svg
    QString title;  ///< of its <title>; else its name
    QByteArray svg; ///< safe: without scripts, styles, handlers and anything from elsewhere
};

struct DrawingFault {
    int line = 0; ///< where the element begins; 0: the file as a whole
    QString text; ///< what is wrong and what to do
};

/// An element that shows a tag.
struct TagUse {
    QString element; ///< "g"
    QString tag;     ///< whole name: "line1.speed"
    QString button;  ///< "press", "set 5", "ask"; empty: it only shows
    int line = 0;
};

struct CheckedDrawing {
    Drawing drawing; ///< to be used only without faults
    std::vector<TagUse> tags;
    std::vector<DrawingFault> faults;
};

/// \param bytes of the file
CheckedDrawing checkDrawing(const QString &name, const QByteArray &bytes);

} // namespace kvgateway
