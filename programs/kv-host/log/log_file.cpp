// SPDX-License-Identifier: MIT
// System calls round one file.
#include "log_file.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

constexpr int fileMode = 0644;

bool endsWithoutLineEnd(int fd, qint64 size)
{
    char last = '\n';
    return size > 0 && ::pread(fd, &last, 1, size - 1) == 1 && last != '\n';
}

} // namespace

bool LogFile::open(const QString &path, QString &problem)
{
    close();
    m_path = path;
    // Without waiting: a pipe that nobody reads would hold up the program before its first value.
    const int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const bool isPipe = isWaitingPipe(path);
    m_fd = ::open(QFile::encodeName(path).constData(), isPipe ? (flags & ~O_ACCMODE) | O_WRONLY : flags,
                  fileMode);
    struct stat found = {};
    if (m_fd < 0 || ::fstat(m_fd, &found) != 0) {
        problem = errno == ENXIO ? QStringLiteral("%1: nobody reads this pipe yet").arg(path)
                                 : QStringLiteral("%1: %2").arg(path, qt_error_string(errno));
        close();
        return false;
    }
    m_isRegular = S_ISREG(found.st_mode);
    m_isHeadDone = false;
    return !m_isRegular || lock(problem);
}

bool LogFile::lock(QString &problem)
{
    if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0)
        return true;
    problem =
        errno == EWOULDBLOCK
            ? QStringLiteral("%1: another kv-host logs to this file already; take another name").arg(m_path)
            : QStringLiteral("%1: %2").arg(m_path, qt_error_string(errno));
    close();
    return false;
}

void LogFile::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

bool LogFile::isInPlace() const
{
    struct stat ours = {}, named = {};
    return m_fd >= 0 && ::fstat(m_fd, &ours) == 0 &&
           ::stat(QFile::encodeName(m_path).constData(), &named) == 0 && ours.st_dev == named.st_dev &&
           ours.st_ino == named.st_ino;
}

bool LogFile::append(const QByteArray &header, const QByteArray &lines, QString &problem)
{
    if (!m_isRegular) {
        const bool done = appendToPipe(m_isHeadDone ? lines : header + lines, problem);
        m_isHeadDone = m_isHeadDone || done;
        return done;
    }
    struct stat found = {};
    if (::fstat(m_fd, &found) != 0)
        return false;
    const qint64 end = found.st_size;
    if (end == 0)
        return appendToFile(header + lines, end, problem);
    // A line that was cut when the power failed keeps its line; ours begins on the next.
    return appendToFile(endsWithoutLineEnd(m_fd, end) ? "\n" + lines : lines, end, problem);
}

// A disk that is full may take a part; what it took of the batch is cut off again, so that no line
// is torn and none comes twice.
bool LogFile::appendToFile(const QByteArray &text, qint64 end, QString &problem)
{
    qint64 done = 0;
    while (done < text.size()) {
        const ssize_t size = ::write(m_fd, text.constData() + done, std::size_t(text.size() - done));
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0) {
            problem = QStringLiteral("%1: %2").arg(m_path, qt_error_string(size < 0 ? errno : ENOSPC));
            if (::ftruncate(m_fd, end) != 0)
                close();
            return false;
        }
        done += size;
    }
    return true;
}

bool LogFile::appendToPipe(const QByteArray &text, QString &problem)
{
    const Written written = FdWriter(m_fd, m_stop).write(text, problem);
    if (written == Written::All)
        return true;
    if (written == Written::ReaderGone)
        problem = QStringLiteral("its reader has gone");
    else if (written == Written::Stopped)
        problem = QStringLiteral("its reader does not take any more");
    problem = QStringLiteral("%1: %2").arg(m_path, problem);
    close();
    return false;
}

bool isWaitingPipe(const QString &path)
{
    struct stat found = {};
    return ::stat(QFile::encodeName(path).constData(), &found) == 0 && S_ISFIFO(found.st_mode);
}

} // namespace kvhost
