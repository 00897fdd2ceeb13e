// SPDX-License-Identifier: MIT
// What goes to stdout: values as text, CSV or JSON. Notes and problems go to stderr.
#pragma once

#include "fd_writer.h"
#include "row.h"

namespace kvhost
{

enum class OutputFormat { Text, Csv, Json };

class Output
{
public:
    /// \param stop see FdWriter
    Output(OutputFormat format, bool isQuiet, int stop);

    void setNameWidth(int width) { m_nameWidth = width; }
    /// Text lines begin with the local time of their value.
    void setTimeShown(bool isShown) { m_isTimeShown = isShown; }
    void row(const Row &row);
    void row(const WriteRow &row);
    void line(const QString &text);
    /// As it is, without a line end: the live table.
    void raw(const QByteArray &bytes);
    /// A note for people, on stderr; nothing with -q.
    void note(const QString &text);
    /// A question, on stderr, without a line end.
    void prompt(const QString &text);
    /// An error, on stderr.
    void problem(const QString &text);

    /// Nothing more can be written: the reader has gone, the disk is full, or the program
    /// is to end.
    bool isBroken() const { return m_state != Written::All; }
    /// Something was not written, and that is nobody's wish: a full disk. The reason has
    /// gone to stderr.
    bool hasFailed() const { return m_state == Written::Failed; }
    OutputFormat format() const { return m_format; }
    bool isQuiet() const { return m_isQuiet; }

private:
    void header(const char *text);
    QString timed(qint64 timeMs, const QString &line) const;

    OutputFormat m_format;
    bool m_isQuiet;
    FdWriter m_out;
    FdWriter m_err;
    Written m_state = Written::All;
    bool m_isErrGone = false;
    bool m_isHeaderDone = false;
    bool m_isTimeShown = false;
    int m_nameWidth = 0;
};

bool stdoutIsTerminal();
bool stdinIsTerminal();

} // namespace kvhost
