// SPDX-License-Identifier: MIT
// One address being read, step by step; shared by the steps of the parser.
#pragma once

#include "model/place.h"
#include "model/place_text.h"

namespace kvlink
{

struct Reading {
    PlaceText text;
    Place place;
    int first = 0;   ///< number of the first element, in elements of the device, then of the area
    int last = 0;    ///< with a range
    QString problem; ///< a sentence without the address in front
};

/// Always false, for a step that ends with it.
inline bool fail(Reading &r, const QString &problem)
{
    r.problem = problem;
    return false;
}

inline QString deviceName(const Reading &r)
{
    return QString::fromLatin1(r.place.device->name);
}

/// What the letters or digits after the dot make of the device: sets area, element,
/// format and number.
bool readFormat(Reading &r);

} // namespace kvlink
