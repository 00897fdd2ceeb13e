// The tag file: variables with names, as an engineer exports them from a table.
//
//   name, address, type, station, scale, offset, unit, rw, deadband, comment
//
// Only the first two columns are needed. A first line that begins with "name" names the columns and may put
// them in another order. Comma or semicolon; quoted fields; UTF-8 with or without mark; LF or CRLF; lines
// that begin with # and empty lines are passed over. Nothing in the file can stop the reader: each bad line
// is told with its number, the others are taken.
#pragma once

#include "variable.h"

#include <vector>

namespace kvhost
{

struct TagFault {
    int line = 0;
    QString why;
};

struct TagFile {
    std::vector<Variable> tags;
    QVector<TagFault> faults;
    QString problem; ///< the file itself cannot be read
};

TagFile parseTags(const QByteArray &bytes);
TagFile readTagFile(const QString &path);

} // namespace kvhost
