#include "serial_line.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

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

SerialLine::SerialLine(Exchange &exchange, std::uint32_t baud) : exchange_(exchange), baud_(baud) {}

SerialLine::~SerialLine()
{
    notifier_.reset();
    if (linked_ && QFile::symLinkTarget(path_) == QString::fromLocal8Bit(terminal_))
        QFile::remove(path_);
    for (const int descriptor : {slave_, master_})
        if (descriptor >= 0)
            ::close(descriptor);
}

QString SerialLine::open(const QString &path)
{
    path_ = path;
    QString wrong = makeTerminal();
    if (wrong.isEmpty())
        wrong = linkTo(QString::fromLocal8Bit(terminal_));
    if (!wrong.isEmpty())
        return wrong;
    Wire wire;
    wire.send = [this](const QByteArray &bytes) { send(bytes); };
    conversation_ = std::make_unique<Conversation>(exchange_, ++exchange_.connections,
                                                   Conversation::Speech::Lines, wire, baud_);
    notifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { readAll(); });
    return {};
}

QString SerialLine::makeTerminal()
{
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0)
        return systemError(QStringLiteral("make a pseudo-terminal"));
    std::array<char, 128> name{};
    if (::ptsname_r(master_, name.data(), name.size()) != 0)
        return systemError(QStringLiteral("name a pseudo-terminal"));
    terminal_ = name.data();
    slave_ = ::open(terminal_.constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave_ < 0)
        return systemError(QStringLiteral("open %1").arg(QString::fromLocal8Bit(terminal_)));
    makeRaw(slave_);
    return {};
}

QString SerialLine::linkTo(const QString &terminal)
{
    const QFileInfo old(path_);
    if (old.isSymLink())
        QFile::remove(path_);
    else if (old.exists())
        return QStringLiteral(
                   "cannot make a serial line at %1: something is there already; take another path")
            .arg(path_);
    if (::symlink(terminal.toLocal8Bit().constData(), QFile::encodeName(path_).constData()) != 0)
        return systemError(QStringLiteral("make a serial line at %1").arg(path_));
    linked_ = true;
    return {};
}

void SerialLine::readAll()
{
    std::array<char, 4096> buffer;
    const auto count = ::read(master_, buffer.data(), buffer.size());
    if (count > 0)
        conversation_->receive(QByteArray(buffer.data(), static_cast<int>(count)));
}

// What does not fit is lost, as on a line that nobody reads.
void SerialLine::send(const QByteArray &bytes)
{
    qint64 sent = 0;
    while (sent < bytes.size()) {
        const auto count =
            ::write(master_, bytes.constData() + sent, static_cast<std::size_t>(bytes.size() - sent));
        if (count <= 0)
            return;
        sent += count;
    }
}
