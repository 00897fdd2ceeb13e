// SPDX-License-Identifier: MIT
// Files that are read whole.
#include "text/regular_file.h"

#include <QFile>
#include <QFileInfo>

namespace kvsim
{
namespace
{

constexpr qint64 mebibyte = 1024 * 1024;

} // namespace

std::optional<QByteArray> readRegularFile(const QString &path, qint64 mostBytes, QString &problem)
{
    // Opening a named pipe would wait for a writer, and a device may have no end.
    const QFileInfo info(path);
    QFile file(path);
    if (info.exists() && !info.isFile())
        problem = QStringLiteral("it is not a regular file");
    else if (!file.open(QIODevice::ReadOnly))
        problem = file.errorString();
    else if (file.size() > mostBytes)
        problem = QStringLiteral("it is larger than %1 MiB").arg(mostBytes / mebibyte);
    else
        return file.read(mostBytes);
    return std::nullopt;
}

} // namespace kvsim
