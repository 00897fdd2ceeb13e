// SPDX-License-Identifier: MIT
// Plain escape sequences that every terminal of today has.
#include "live_screen.h"

#include <QStringList>

#include <sys/ioctl.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

constexpr char enterScreen[] = "\x1b[?1049h\x1b[?25l";
constexpr char leaveScreen[] = "\x1b[?25h\x1b[?1049l";
constexpr int leastColumns = 20, leastLines = 5;

winsize terminalSize()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < leastColumns ||
        size.ws_row < leastLines) {
        size.ws_col = 80;
        size.ws_row = 24;
    }
    return size;
}

int lengthOfKey(const QByteArray &bytes, int at)
{
    const auto first = uchar(bytes[at]);
    int length = 1;
    if (first == 0x1B && at + 1 < bytes.size() && (bytes[at + 1] == '[' || bytes[at + 1] == 'O')) {
        length = 2;
        while (at + length < bytes.size() && (bytes[at + length] < '@' || bytes[at + length] > '~'))
            ++length;
        return length + 1;
    }
    while (first >= 0xC0 && at + length < bytes.size() && (uchar(bytes[at + length]) & 0xC0U) == 0x80U)
        ++length;
    return length;
}

} // namespace

QList<QByteArray> keysOf(const QByteArray &bytes)
{
    QList<QByteArray> keys;
    for (int at = 0; at < bytes.size();) {
        const int length = lengthOfKey(bytes, at);
        keys << bytes.mid(at, length);
        at += length;
    }
    return keys;
}

LiveScreen::LiveScreen(Output &out, std::function<void(const QByteArray &)> onKey)
    : m_out(out), m_onKey(std::move(onKey))
{
    if (stdinIsTerminal() && ::tcgetattr(STDIN_FILENO, &m_before) == 0) {
        termios keys = m_before;
        keys.c_lflag &= ~tcflag_t(ICANON | ECHO);
        m_hasKeys = ::tcsetattr(STDIN_FILENO, TCSADRAIN, &keys) == 0;
    }
    if (m_hasKeys) {
        m_keys = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(m_keys.get(), &QSocketNotifier::activated, m_keys.get(), [this] { takeKeys(); });
    }
    m_out.raw(enterScreen);
}

LiveScreen::~LiveScreen()
{
    finish();
}

int LiveScreen::width() const
{
    return terminalSize().ws_col;
}

int LiveScreen::height() const
{
    return terminalSize().ws_row;
}

bool LiveScreen::hasColours() const
{
    return qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

void LiveScreen::takeKeys()
{
    char buffer[256];
    const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (size <= 0)
        m_keys->setEnabled(false);
    for (const QByteArray &key : keysOf(QByteArray(buffer, int(size > 0 ? size : 0))))
        m_onKey(key);
}

void LiveScreen::draw(const QStringList &lines)
{
    m_last = lines;
    m_out.raw("\x1b[H" + lines.join(QStringLiteral("\x1b[K\r\n")).toUtf8() + "\x1b[K\x1b[J");
}

void LiveScreen::finish()
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_keys.reset();
    m_out.raw(leaveScreen + m_last.join('\n').toUtf8() + '\n');
    if (m_hasKeys)
        ::tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
}

} // namespace kvhost
