// SPDX-License-Identifier: MIT
// The tag file: variables with names, as an engineer exports them from a table.
//
//   name, address, type, station, scale, offset, unit, rw, deadband, comment, command
//
// Only the first two columns are needed. A first line with these names may put them in another
// order. Comma, semicolon or tab; quoted fields; lines that begin with # and empty lines are
// skipped. Nothing in the file can stop the reader: each bad line is named with its number, the
// others are taken.
#pragma once

#include "text_decoding.h"
#include "variable.h"

#include <QVector>

#include <vector>

namespace kvtags
{

struct TagFault {
    int line = 0;
    QString why;
};

struct TagFile {
    std::vector<Variable> tags;
    QVector<TagFault> faults; ///< in the order of their lines
    QString problem;          ///< the file itself cannot be read
};

/// \param extras further columns that a header may name; their cells are handed on as text
TagFile parseTags(const QByteArray &bytes, FileEncoding encoding = FileEncoding::Utf8,
                  const QStringList &extras = {});
TagFile readTagFile(const QString &path, FileEncoding encoding, const QStringList &extras = {});

} // namespace kvtags
