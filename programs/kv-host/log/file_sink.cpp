// SPDX-License-Identifier: MIT
// Rows into files: each into the file of its own time, the oldest files removed.
#include "log_file.h"
#include "log_sink.h"
#include "rotation.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <unistd.h>

namespace kvhost
{

namespace
{

class FileSink : public LogSink
{
public:
    FileSink(const FileSettings &settings, int stop) : m_settings(settings), m_file(stop) {}

    bool open(QString &problem) override
    {
        if (isWaitingPipe(m_settings.path))
            return true; // its reader may come later
        return openFor(nowMs(), problem);
    }

    // Each stretch of rows of one file is written as a whole.
    std::size_t write(const std::vector<LogRow> &batch, QString &problem) override
    {
        auto from = batch.begin();
        while (from != batch.end()) {
            const auto to = endOfFile(from, batch.end());
            if (!openFor(from->row.timeMs, problem) ||
                !m_file.append(headerOf(m_settings.format), linesOf(from, to), problem))
                break;
            from = to;
        }
        return std::size_t(from - batch.begin());
    }

    void reopen() override { m_file.close(); }

private:
    using Rows = std::vector<LogRow>::const_iterator;

    bool isRotating() const { return m_settings.rotate.count() > 0; }

    qint64 beginOf(qint64 timeMs) const { return isRotating() ? periodBegin(timeMs, m_settings.rotate) : 0; }

    Rows endOfFile(Rows from, Rows end) const
    {
        const qint64 begin = beginOf(from->row.timeMs);
        return std::find_if(from, end, [&](const LogRow &row) { return beginOf(row.row.timeMs) != begin; });
    }

    QByteArray linesOf(Rows from, Rows to) const
    {
        QByteArray lines;
        for (; from != to; ++from)
            lines += lineOf(m_settings.format, *from);
        return lines;
    }

    bool openFor(qint64 timeMs, QString &problem)
    {
        const qint64 begin = beginOf(timeMs);
        if (m_file.isOpen() && begin == m_begin && m_file.isInPlace())
            return true;
        if (begin != m_begin)
            removeOutdated();
        m_begin = begin;
        return m_file.open(isRotating() ? rotatedName(m_settings.path, begin) : m_settings.path, problem);
    }

    void removeOutdated() const
    {
        if (m_settings.keep.count() == 0)
            return;
        const qint64 oldest =
            nowMs() - std::chrono::duration_cast<std::chrono::milliseconds>(m_settings.keep).count();
        const QDir folder = QFileInfo(m_settings.path).absoluteDir();
        for (const QString &name : outdatedFiles(m_settings.path, folder.entryList(QDir::Files), oldest))
            QFile::remove(folder.filePath(name));
    }

    FileSettings m_settings;
    LogFile m_file;
    qint64 m_begin = -1;
};

// Rows to stdout, without a file's ways.
class StdoutSink : public LogSink
{
public:
    StdoutSink(const LogFormat &format, int stop) : m_format(format), m_out(STDOUT_FILENO, stop) {}

    bool open(QString & /*problem*/) override { return true; }

    std::size_t write(const std::vector<LogRow> &batch, QString &problem) override
    {
        QByteArray lines = m_isHeadDone ? QByteArray() : headerOf(m_format);
        for (const LogRow &row : batch)
            lines += lineOf(m_format, row);
        const Written written = m_out.write(lines, problem);
        m_isHeadDone = true;
        m_isGone = written == Written::ReaderGone || written == Written::Stopped;
        if (written == Written::Failed)
            problem = QStringLiteral("stdout: %1").arg(problem);
        return written == Written::All ? batch.size() : 0;
    }

    bool isGone() const override { return m_isGone; }

private:
    LogFormat m_format;
    FdWriter m_out;
    bool m_isHeadDone = false;
    bool m_isGone = false;
};

} // namespace

std::unique_ptr<LogSink> fileSink(const FileSettings &settings, int stop)
{
    return std::make_unique<FileSink>(settings, stop);
}

std::unique_ptr<LogSink> stdoutSink(const LogFormat &format, int stop)
{
    return std::make_unique<StdoutSink>(format, stop);
}

} // namespace kvhost
