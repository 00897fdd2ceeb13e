// SPDX-License-Identifier: MIT
// A serial line to a PLC. See serial_transport.h.
#include "transport/serial_transport.h"

#include "transport/serial_settings.h"
#include "transport/system_error.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace kvlink
{

namespace
{

constexpr int portionSize = 4096; // what the system keeps of a line at most

QString problemOfOpening(int error)
{
    switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
        return QStringLiteral("there is no such device; is it plugged in?");
    case EACCES:
        return QStringLiteral(
            "permission denied; is the user in the group of serial lines (often 'dialout')?");
    case EBUSY:
    case EWOULDBLOCK:
        return QStringLiteral("another program uses it");
    default:
        return systemErrorText(error);
    }
}

// It has a speed, but neither parity nor stop bits.
bool isPseudoTerminal(int line)
{
    constexpr unsigned lowest = 136; // device numbers that the system keeps for them
    constexpr unsigned highest = 143;
    struct stat facts = {};
    return ::fstat(line, &facts) == 0 && gnu_dev_major(facts.st_rdev) >= lowest &&
           gnu_dev_major(facts.st_rdev) <= highest;
}

// \return 0, or the error; EINVAL if the device does not know the settings
int setUp(int line, const PlcUrl &url)
{
    termios settings = {};
    if (::tcgetattr(line, &settings) != 0)
        return errno;
    const termios wanted = serialSettings(url, settings);
    // On purpose: what the call says is not looked at. It is content when part could be done, and
    // not when a pseudo-terminal ignores the parity; what counts is what came of it.
    ::tcsetattr(line, TCSANOW, &wanted);
    if (::tcgetattr(line, &settings) != 0)
        return errno;
    const tcflag_t character = isPseudoTerminal(line) ? 0 : CSIZE | PARENB | PARODD | CSTOPB;
    const bool isSet = ::cfgetospeed(&settings) == ::cfgetospeed(&wanted) &&
                       ((settings.c_cflag ^ wanted.c_cflag) & character) == 0;
    return isSet ? 0 : EINVAL;
}

QString problemOfSettingUp(int error, const PlcUrl &url)
{
    if (error == ENOTTY)
        return QStringLiteral("it is not a serial line");
    if (error == EINVAL)
        return QStringLiteral("the device does not know these settings: %1").arg(url.text());
    return systemErrorText(error);
}

} // namespace

SerialTransport::SerialTransport(const PlcUrl &url) : m_url(url) {}

SerialTransport::~SerialTransport()
{
    SerialTransport::close();
}

void SerialTransport::open()
{
    close();
    const QByteArray path = QFile::encodeName(m_url.host);
    m_line = Descriptor(::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    // The second lock holds for a superuser too, whom the first one lets pass.
    if (!m_line.isOpen() || ::flock(m_line.number(), LOCK_EX | LOCK_NB) != 0) {
        fail(QStringLiteral("%1: %2").arg(m_url.host, problemOfOpening(errno)));
        return;
    }
    const int error = setUp(m_line.number(), m_url);
    if (error != 0) {
        fail(QStringLiteral("%1: %2").arg(m_url.host, problemOfSettingUp(error, m_url)));
        return;
    }
    m_isExclusive = ::ioctl(m_line.number(), TIOCEXCL) == 0;
    ::tcflush(m_line.number(), TCIOFLUSH); // of an earlier time
    m_state = State::Open;
}

void SerialTransport::close()
{
    fail({});
    m_received.clear();
    m_state = State::Closed;
}

void SerialTransport::fail(const QString &problem)
{
    // What was not sent is not waited for, which could take half a minute.
    if (m_line.isOpen())
        ::tcflush(m_line.number(), TCOFLUSH);
    // A line that somebody else holds open too, as a pseudo-terminal always is, would stay
    // exclusive, and nobody but a superuser could open it again.
    if (std::exchange(m_isExclusive, false))
        ::ioctl(m_line.number(), TIOCNXCL);
    m_line.reset();
    m_unsent.clear();
    m_problem = problem;
    m_state = State::Failed;
}

void SerialTransport::send(const QByteArray &bytes)
{
    if (m_state != State::Open)
        return;
    m_unsent += bytes;
    flush();
}

QByteArray SerialTransport::takeReceived()
{
    return std::exchange(m_received, {});
}

void SerialTransport::work()
{
    if (m_state == State::Open)
        receive();
    if (m_state == State::Open && !m_unsent.isEmpty())
        flush();
}

void SerialTransport::flush()
{
    while (!m_unsent.isEmpty()) {
        const ssize_t sent = ::write(m_line.number(), m_unsent.constData(), size_t(m_unsent.size()));
        if (sent > 0) {
            m_unsent.remove(0, int(sent));
            continue;
        }
        if (sent == 0 || errno == EAGAIN)
            return; // work() goes on
        if (errno != EINTR) {
            fail(systemErrorText(errno));
            return;
        }
    }
}

void SerialTransport::receive()
{
    std::array<char, portionSize> portion{};
    const ssize_t size = ::read(m_line.number(), portion.data(), portion.size());
    if (size > 0)
        m_received.append(portion.data(), int(size));
    else if (size == 0 || errno == EIO)
        fail(QStringLiteral("the serial line is gone: unplugged, or its device switched off"));
    else if (errno != EAGAIN && errno != EINTR)
        fail(systemErrorText(errno));
}

void SerialTransport::addDescriptors(std::vector<pollfd> &to) const
{
    if (m_line.isOpen())
        to.push_back({m_line.number(), short(m_unsent.isEmpty() ? POLLIN : POLLIN | POLLOUT), 0});
}

} // namespace kvlink
