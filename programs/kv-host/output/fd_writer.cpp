// SPDX-License-Identifier: MIT
// A pipe that poll() calls writable takes this much at once, so no write ever blocks. On purpose
// not O_NONBLOCK: that would be set for everybody who shares the terminal or the pipe.
#include "fd_writer.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

constexpr qint64 graceMs = 300;

qint64 steadyMs()
{
    QElapsedTimer now;
    now.start();
    return now.msecsSinceReference();
}

} // namespace

bool FdWriter::waitForRoom()
{
    for (;;) {
        pollfd both[] = {{m_fd, POLLOUT, 0}, {m_isStopping ? -1 : m_stop, POLLIN, 0}};
        const qint64 left = m_isStopping ? std::max<qint64>(m_giveUpMs - steadyMs(), 0) : -1;
        const int ready = ::poll(both, 2, int(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (both[0].revents != 0 || ready < 0)
            return true; // also with an error: the write itself says which
        if (m_isStopping)
            return false;
        m_isStopping = true;
        m_giveUpMs = steadyMs() + graceMs;
    }
}

Written FdWriter::write(const QByteArray &bytes, QString &problem)
{
    qint64 done = 0;
    while (done < bytes.size()) {
        if (!waitForRoom())
            return Written::Stopped;
        const auto size = std::min<qint64>(bytes.size() - done, PIPE_BUF);
        const ssize_t taken = ::write(m_fd, bytes.constData() + done, std::size_t(size));
        if (taken >= 0) {
            done += taken;
        } else if (errno == EPIPE) {
            return Written::ReaderGone;
        } else if (errno != EINTR && errno != EAGAIN) {
            problem = qt_error_string(errno);
            return Written::Failed;
        }
    }
    return Written::All;
}

} // namespace kvhost
