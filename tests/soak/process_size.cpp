// SPDX-License-Identifier: MIT
#include "process_size.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <unistd.h>

namespace soak
{
namespace
{
bool readsAsSocket(const QString &path)
{
    char target[64] = "";
    const ssize_t size = readlink(path.toLocal8Bit().constData(), target, sizeof target - 1);
    return QByteArray(target, int(size > 0 ? size : 0)).startsWith("socket:");
}
} // namespace

std::string ProcessSize::text() const
{
    return std::to_string(residentKiB) + " KiB, " + std::to_string(descriptors) + " descriptors, " +
           std::to_string(threads) + " threads";
}

ProcessSize sizeOf(qint64 process)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(process);
    ProcessSize size;
    QFile status(folder + "status");
    if (!status.open(QIODevice::ReadOnly))
        return size;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            size.residentKiB = line.mid(6).simplified().split(' ').value(0).toLong();
        if (line.startsWith("Threads:"))
            size.threads = line.mid(8).trimmed().toInt();
    }
    const QDir descriptors(folder + "fd");
    const auto entries = descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    size.descriptors = int(entries.size());
    for (const QString &entry : entries)
        size.sockets += readsAsSocket(descriptors.filePath(entry)) ? 1 : 0;
    return size;
}
} // namespace soak
