// SPDX-License-Identifier: MIT
#include "log.h"

#include <cstdio>

namespace kvgateway
{

void logLine(LogLevel level, const QString &text)
{
    static const bool isJournal = qEnvironmentVariableIsSet("JOURNAL_STREAM");
    QByteArray line = isJournal ? "<" + QByteArray::number(int(level)) + ">" : QByteArray();
    // One line for one message, whatever stands in a name or an answer.
    line += QString(text).replace('\n', ' ').toUtf8() + "\n";
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stderr);
}

} // namespace kvgateway
