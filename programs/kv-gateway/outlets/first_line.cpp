// SPDX-License-Identifier: MIT
#include "first_line.h"

#include <QFile>

namespace kvgateway
{

QByteArray firstLine(const QString &path)
{
    QFile file(path);
    QByteArray line = file.open(QIODevice::ReadOnly) ? file.readLine() : QByteArray();
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace kvgateway
