// SPDX-License-Identifier: MIT
// What the system says of an error.
#pragma once

#include <QString>

#include <cstring>

namespace kvlink
{

/// In the middle of a sentence: ECONNREFUSED -> "connection refused".
inline QString systemErrorText(int error)
{
    QString text = QString::fromLocal8Bit(std::strerror(error));
    if (!text.isEmpty())
        text[0] = text.at(0).toLower();
    return text;
}

} // namespace kvlink
