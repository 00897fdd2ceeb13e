// SPDX-License-Identifier: MIT
// What one answered read brought, as raw units; and what one write hands to the driver.
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace kvlink
{

/// The answer to one read request. Little-endian: 2 bytes a word, 4 a double word; contacts 1 byte.
struct UnitBlock {
    int readArea = 0;
    int firstUnit = 0;
    int unitCount = 0;
    QByteArray whole;   ///< words, double words
    QByteArray contact; ///< timers and counters only, as are the next two
    QByteArray current;
    QByteArray set;
};

/// One request of a write, ready for SetRegisterData: exactly one entry of the driver's list.
struct WriteUnits {
    int area = 0;
    QString addressText;
    QByteArray data;   ///< 1 byte a bit, 2 a word, 4 a double word, low byte first
    int hostCount = 0; ///< bits, words, or 16-bit registers (two for each double word)
};

} // namespace kvlink
