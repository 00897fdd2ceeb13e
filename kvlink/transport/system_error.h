// SPDX-License-Identifier: MIT
// What the system says of an error.
#pragma once

#include <QString>

namespace kvlink
{

/// In the middle of a sentence: ECONNREFUSED -> "connection refused".
inline QString systemErrorText(int error)
{
    QString text = qt_error_string(error);
    if (!text.isEmpty())
        text[0] = text.at(0).toLower();
    return text;
}

} // namespace kvlink
