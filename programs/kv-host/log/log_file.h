// SPDX-License-Identifier: MIT
// One file of a log: appended to, locked against a second logger, noticed when it is moved away.
#pragma once

#include "output/fd_writer.h"

#include <QString>

namespace kvhost
{

class LogFile
{
public:
    explicit LogFile(int stop) : m_stop(stop) {}
    ~LogFile() { close(); }
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// \return false with what is wrong: no such folder, not permitted, locked by another kv-host,
    ///   ...
    bool open(const QString &path, QString &problem);
    void close();
    bool isOpen() const { return m_fd >= 0; }

    /// It is still what its name leads to: neither moved nor removed nor replaced.
    bool isInPlace() const;

    /// All of it or nothing. \param header goes first where the file is empty
    bool append(const QByteArray &header, const QByteArray &lines, QString &problem);

private:
    bool lock(QString &problem);
    bool appendToFile(const QByteArray &text, qint64 end, QString &problem);
    bool appendToPipe(const QByteArray &text, QString &problem);

    int m_stop;
    int m_fd = -1;
    bool m_isRegular = false;
    bool m_isHeadDone = false; ///< of a pipe or a device
    QString m_path;
};

/// A pipe that nobody reads yet: it may still work one day.
bool isWaitingPipe(const QString &path);

} // namespace kvhost
