// SPDX-License-Identifier: MIT
// What came from the PLC, judged before the driver sees it: it takes any four bytes as the
// confirmation of a write, and a field that is not a number as 0.
#pragma once

#include <QByteArray>

struct Protocol;

enum class Shape {
    Expected, ///< what the request calls for
    Error,    ///< "E0", "E1", ...: the PLC refuses
    Wrong,    ///< anything else; the connection is out of step
};

Shape shapeOf(const QByteArray &answer, const Protocol &request);
