// SPDX-License-Identifier: MIT
// A serial line: a pseudo-terminal.
#include "shell/serial_line.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace kvsim
{
namespace
{

constexpr int mostUnsent = 1024 * 1024;

QString systemError(const QString &what)
{
    return QStringLiteral("cannot %1: %2").arg(what, qt_error_string(errno));
}

// Raw: no echo, no line editing, no translation of CR and LF.
void makeRaw(int terminal)
{
    termios settings{};
    if (::tcgetattr(terminal, &settings) != 0)
        return;
    ::cfmakeraw(&settings);
    ::tcsetattr(terminal, TCSANOW, &settings);
}

} // namespace

SerialLine::SerialLine(LineContext &context, std::uint32_t baud) : m_context(context), m_baud(baud) {}

SerialLine::~SerialLine()
{
    m_readable.reset();
    m_writable.reset();
    if (m_linked && QFile::symLinkTarget(m_path) == QString::fromLocal8Bit(m_terminal))
        QFile::remove(m_path);
    for (const int descriptor : {m_slave, m_master})
        if (descriptor >= 0)
            ::close(descriptor);
}

QString SerialLine::open(const QString &path)
{
    m_path = path;
    QString wrong = makeTerminal();
    if (wrong.isEmpty())
        wrong = linkTo(QString::fromLocal8Bit(m_terminal));
    if (!wrong.isEmpty())
        return wrong;
    Wire wire;
    wire.send = [this](const QByteArray &bytes) { send(bytes); };
    m_conversation = std::make_unique<Conversation>(m_context, ++m_context.connections,
                                                    Conversation::Speech::Lines, wire, m_baud);
    m_readable = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, [this] { readAll(); });
    m_writable = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Write);
    m_writable->setEnabled(false);
    m_conversation->onReady([this] { readWhileWelcome(); });
    connect(m_writable.get(), &QSocketNotifier::activated, this, [this] { sendWaiting(); });
    return {};
}

QString SerialLine::makeTerminal()
{
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return systemError(QStringLiteral("make a pseudo-terminal"));
    std::array<char, 128> name{};
    if (::ptsname_r(m_master, name.data(), name.size()) != 0)
        return systemError(QStringLiteral("name a pseudo-terminal"));
    m_terminal = name.data();
    m_slave = ::open(m_terminal.constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0)
        return systemError(QStringLiteral("open %1").arg(QString::fromLocal8Bit(m_terminal)));
    makeRaw(m_slave);
    return {};
}

QString SerialLine::linkTo(const QString &terminal)
{
    const QFileInfo old(m_path);
    if (old.isSymLink())
        QFile::remove(m_path);
    else if (old.exists())
        return QStringLiteral(
                   "cannot make a serial line at %1: something is there already; take another path")
            .arg(m_path);
    if (::symlink(terminal.toLocal8Bit().constData(), QFile::encodeName(m_path).constData()) != 0)
        return systemError(QStringLiteral("make a serial line at %1").arg(m_path));
    m_linked = true;
    return {};
}

void SerialLine::readAll()
{
    std::array<char, 4096> buffer;
    const auto count = ::read(m_master, buffer.data(), buffer.size());
    if (count > 0)
        m_conversation->receive(QByteArray(buffer.data(), int(count)));
    readWhileWelcome();
}

// A client that does not read, or sends more than is worked off, has to wait.
void SerialLine::readWhileWelcome()
{
    m_readable->setEnabled(m_unsent.size() < mostUnsent && !m_conversation->busy());
}

void SerialLine::send(const QByteArray &bytes)
{
    m_unsent += bytes;
    sendWaiting();
}

// What the terminal does not take waits.
void SerialLine::sendWaiting()
{
    const auto taken = ::write(m_master, m_unsent.constData(), std::size_t(m_unsent.size()));
    if (taken > 0)
        m_unsent.remove(0, int(taken));
    m_writable->setEnabled(!m_unsent.isEmpty());
    readWhileWelcome();
}

} // namespace kvsim
