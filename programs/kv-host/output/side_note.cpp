// SPDX-License-Identifier: MIT
#include "side_note.h"

#include "shown_text.h"

#include <QTime>

#include <climits>
#include <poll.h>
#include <unistd.h>

namespace kvhost
{

void sideNote(const QString &text)
{
    const QString now = QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz "));
    const QByteArray line = (now + text).toUtf8().left(PIPE_BUF - 1) + '\n';
    pollfd err = {STDERR_FILENO, POLLOUT, 0};
    if (::poll(&err, 1, 0) == 1)
        (void)!::write(STDERR_FILENO, line.constData(), std::size_t(line.size()));
}

QString frameText(const QByteArray &bytes)
{
    QString text = QString::fromLatin1(bytes);
    text.replace('\r', QLatin1String("\\r")).replace('\n', QLatin1String("\\n"));
    return printable(text);
}

} // namespace kvhost
