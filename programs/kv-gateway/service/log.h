// SPDX-License-Identifier: MIT
// Messages of the service: to the journal with fields by which they are found, where there is no
// journal as lines on stderr.
//
//     journalctl -u kv-gateway PLC=line1
//     journalctl -u kv-gateway TAG=line1.speed
#pragma once

#include <QString>

namespace kvgateway
{

enum class LogLevel : quint8 { Error = 3, Warning = 4, Info = 6 };

/// Any thread. To the journal if stderr leads there, otherwise the text alone to stderr.
/// \param plc, tag what it is about; empty: no PLC, no tag
void logLine(LogLevel level, const QString &text, const QString &plc = {}, const QString &tag = {});

/// A message with its fields, as the journal takes it:
/// "PRIORITY=6\nSYSLOG_IDENTIFIER=kv-gateway\nPLC=line1\nMESSAGE=line1: link ready\n"
QByteArray journalEntry(LogLevel level, const QString &text, const QString &plc, const QString &tag);

/// One datagram, without waiting. \return false: nobody takes it there, or it is too long
bool sendToJournal(const QByteArray &socketPath, const QByteArray &entry);

/// \param stream what systemd says in JOURNAL_STREAM: "DEVICE:INODE" of the stream to the journal
bool isJournal(const QByteArray &stream, int descriptor);

} // namespace kvgateway
