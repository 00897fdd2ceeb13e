// SPDX-License-Identifier: MIT
// Where logged rows go: CSV or JSON files, an SQLite database, stdout. A sink takes rows from the
// front of a batch, so that what it could not write can be offered again.
#pragma once

#include "log_format.h"

#include <kvlink/times.h>

#include <memory>
#include <vector>

namespace kvhost
{

/// One thread at a time.
class LogSink
{
public:
    virtual ~LogSink() = default;

    /// Whether the target can work, before anything is read. \return false with what is wrong and
    /// what to do
    virtual bool open(QString &problem) = 0;
    /// \return how many rows were taken, from the first on; problem says why not all
    virtual std::size_t write(const std::vector<LogRow> &batch, QString &problem) = 0;
    /// The next write opens the target again: it may have been moved away.
    virtual void reopen() {}
    /// Nobody reads any more: the log is to end.
    virtual bool isGone() const { return false; }
};

struct FileSettings {
    QString path;
    LogFormat format;
    kvlink::Duration rotate{0}; ///< 0: one file for all
    kvlink::Duration keep{0};   ///< files that began longer ago are removed; 0: none is
};

/// \param stop see FdWriter
std::unique_ptr<LogSink> fileSink(const FileSettings &settings, int stop);
/// \param keep rows that are older are removed; 0: none is
std::unique_ptr<LogSink> sqliteSink(const QString &path, kvlink::Duration keep);
std::unique_ptr<LogSink> stdoutSink(const LogFormat &format, int stop);

} // namespace kvhost
