// SPDX-License-Identifier: MIT
// On purpose the journal's own datagrams and no library of systemd: they are a few lines, which
// tests can read on a socket of their own.
#include "log.h"

#include "unix_datagram.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace kvgateway
{

namespace
{

constexpr char journalSocket[] = "/run/systemd/journal/socket";

// One line for one message, whatever stands in a name or an answer: no field can be forged.
QByteArray lineOf(const QString &text)
{
    return QString(text).replace('\n', ' ').toUtf8() + "\n";
}

} // namespace

void logLine(LogLevel level, const QString &text, const QString &plc, const QString &tag)
{
    static const bool hasJournal = isJournal(qgetenv("JOURNAL_STREAM"), STDERR_FILENO);
    if (hasJournal && sendToJournal(journalSocket, journalEntry(level, text, plc, tag)))
        return;
    // The journal reads the priority in front of a line.
    QByteArray line = hasJournal ? "<" + QByteArray::number(int(level)) + ">" : QByteArray();
    line += lineOf(text);
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stderr);
}

QByteArray journalEntry(LogLevel level, const QString &text, const QString &plc, const QString &tag)
{
    QByteArray entry = "PRIORITY=" + QByteArray::number(int(level)) + "\nSYSLOG_IDENTIFIER=kv-gateway\n";
    if (!plc.isEmpty())
        entry += "PLC=" + lineOf(plc);
    if (!tag.isEmpty())
        entry += "TAG=" + lineOf(tag);
    return entry + "MESSAGE=" + lineOf(text);
}

bool sendToJournal(const QByteArray &socketPath, const QByteArray &entry)
{
    return sendDatagram(socketPath, entry, IfFull::GiveUp);
}

bool isJournal(const QByteArray &stream, int descriptor)
{
    struct stat status {
    };
    return !stream.isEmpty() && ::fstat(descriptor, &status) == 0 &&
           stream ==
               QByteArray::number(quint64(status.st_dev)) + ":" + QByteArray::number(quint64(status.st_ino));
}

} // namespace kvgateway
