// SPDX-License-Identifier: MIT
// Writes to a descriptor that may be a full pipe, without being held up by it when the program
// is to end.
#pragma once

#include <QByteArray>
#include <QString>

namespace kvhost
{

enum class Written {
    All,
    ReaderGone, ///< nobody reads the pipe any more
    Failed,     ///< see the problem
    Stopped,    ///< the program is to end, and the reader did not take it in time
};

/// One thread at a time.
class FdWriter
{
public:
    /// \param stop a descriptor that becomes readable, and stays so, when the program is to end;
    ///   below 0: none
    FdWriter(int fd, int stop) : m_fd(fd), m_stop(stop) {}

    /// Waits for as long as the reader takes. Once the program is to end, what the reader does not
    /// take within 0.3 s in all is dropped.
    Written write(const QByteArray &bytes, QString &problem);

private:
    bool waitForRoom();

    int m_fd;
    int m_stop;
    bool m_isStopping = false;
    qint64 m_giveUpMs = 0; ///< on the steady clock, once it is stopping
};

} // namespace kvhost
