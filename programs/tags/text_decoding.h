// SPDX-License-Identifier: MIT
// The bytes of a file as text. What is not text is refused with its line: a name that was mangled
// in silence would be written to the wrong tag one day.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace kvtags
{

/// How a file without a byte order mark is written. A mark at the beginning decides whatever
/// is given here.
enum class FileEncoding { Utf8, Utf16, Windows1252, Latin1, ShiftJis };

/// \param line    of the first byte that is no text; set on failure only
/// \param problem what is wrong and what to do; set on failure only
/// \return the text without its mark, with '\n' as the only line end
std::optional<QString> decodeText(const QByteArray &bytes, FileEncoding encoding, int &line,
                                  QString &problem);

} // namespace kvtags
