// SPDX-License-Identifier: MIT
// Texts in words of a PLC: bytes in one of three encodings.
#pragma once

#include <kvlink/tag.h>

#include <QByteArray>
#include <QString>

#include <optional>

namespace kvlink
{

/// Nothing if the bytes are not text in this encoding.
std::optional<QString> textFromBytes(const QByteArray &bytes, TextEncoding encoding);

/// Nothing if the encoding lacks a character.
std::optional<QByteArray> bytesFromText(const QString &text, TextEncoding encoding);

/// "UTF-8", "Shift-JIS", "Latin-1".
QString encodingName(TextEncoding encoding);

} // namespace kvlink
