// SPDX-License-Identifier: MIT
// Diagnostic lines: one message of Qt's debug level each, the same text on every Qt.
#pragma once

#include <QByteArray>
#include <QtGlobal>

/// Writes the text and the numbers, separated by single spaces: debugLine("read default", 9).
template <typename... Numbers>
void debugLine(const char *text, Numbers... numbers)
{
    QByteArray line(text);
    ((line += ' ', line += QByteArray::number(numbers)), ...);
    qDebug("%s", line.constData());
}
