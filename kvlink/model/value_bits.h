// SPDX-License-Identifier: MIT
// One number into the bits that a place holds, range-checked.
#pragma once

#include "model/place.h"
#include "model/scaling.h"

#include <kvlink/tag.h>

#include <optional>

namespace kvlink
{

/// One write being encoded.
struct Writing {
    const Place &place;
    double scale;
    double offset;
    WordOrder wordOrder;
    QString problem;

    bool isScaled() const { return kvlink::isScaled(scale, offset); }
};

inline std::nullopt_t fail(Writing &w, const QString &problem)
{
    w.problem = problem;
    return std::nullopt;
}

/// \param name of the value, for the sentence of w.problem
/// \param number as people see it, before scale and offset are taken away
std::optional<quint32> bitsOfNumber(Writing &w, const QString &name, double number);

} // namespace kvlink
