// SPDX-License-Identifier: MIT
// The two streams of the program, written without being held up when it is to end.
#include "output.h"

#include "shown_text.h"

#include <QDateTime>

#include <unistd.h>

namespace kvhost
{

Output::Output(OutputFormat format, bool isQuiet, int stop)
    : m_format(format), m_isQuiet(isQuiet), m_out(STDOUT_FILENO, stop), m_err(STDERR_FILENO, stop)
{
}

void Output::header(const char *text)
{
    if (!m_isHeaderDone)
        line(QString::fromLatin1(text));
    m_isHeaderDone = true;
}

QString Output::timed(qint64 timeMs, const QString &line) const
{
    if (!m_isTimeShown)
        return line;
    return QDateTime::fromMSecsSinceEpoch(timeMs).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz  ")) +
           line;
}

void Output::row(const Row &row)
{
    switch (m_format) {
    case OutputFormat::Text:
        if (m_isQuiet)
            line(row.hasValue ? printable(row.value) : QStringLiteral("-"));
        else
            line(timed(row.timeMs, textLine(row, m_nameWidth)));
        break;
    case OutputFormat::Json:
        line(jsonLine(row));
        break;
    case OutputFormat::Csv:
        header(csvHeader);
        line(csvLine(row));
        break;
    }
}

void Output::row(const WriteRow &row)
{
    switch (m_format) {
    case OutputFormat::Text:
        if (m_isQuiet)
            line(row.row.hasValue ? printable(row.row.value) : QStringLiteral("-"));
        else
            line(textLine(row, m_nameWidth));
        break;
    case OutputFormat::Json:
        line(jsonLine(row));
        break;
    case OutputFormat::Csv:
        header(csvWriteHeader);
        line(csvLine(row));
        break;
    }
}

void Output::line(const QString &text)
{
    raw(text.toUtf8() + '\n');
}

void Output::raw(const QByteArray &bytes)
{
    if (isBroken())
        return;
    QString why;
    m_state = m_out.write(bytes, why);
    if (m_state == Written::Failed)
        problem(QStringLiteral("kv-host: stdout: %1").arg(why));
}

void Output::note(const QString &text)
{
    if (!m_isQuiet)
        problem(text);
}

void Output::problem(const QString &text)
{
    prompt(text + '\n');
}

void Output::prompt(const QString &text)
{
    if (m_isErrGone)
        return;
    QString nowhereElseToSay;
    m_isErrGone = m_err.write(text.toUtf8(), nowhereElseToSay) != Written::All;
}

bool stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

bool stdinIsTerminal()
{
    return ::isatty(STDIN_FILENO) == 1;
}

} // namespace kvhost
