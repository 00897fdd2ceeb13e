// SPDX-License-Identifier: MIT
#include "read_password.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <sodium.h>
#include <termios.h>
#include <unistd.h>

namespace kvgateway
{

namespace
{

constexpr int mostBytes = 1024;
constexpr char ctrlC = 3;
constexpr char ctrlD = 4;
constexpr char ctrlU = 21;
constexpr char backspace = 8;
constexpr char rubout = 127;

// Nothing that is typed is shown, and each key comes by itself: Ctrl-C too, so that the terminal is
// put back before the program ends. Signals from elsewhere wait until then.
class Silence
{
public:
    explicit Silence(int fd) : m_fd(fd)
    {
        sigset_t all;
        ::sigfillset(&all);
        ::tcgetattr(m_fd, &m_before);
        termios silent = m_before;
        silent.c_lflag &= ~tcflag_t(ECHO | ICANON | ISIG);
        silent.c_cc[VMIN] = 1;
        silent.c_cc[VTIME] = 0;
        ::pthread_sigmask(SIG_BLOCK, &all, &m_mask);
        ::tcsetattr(m_fd, TCSAFLUSH, &silent);
    }
    ~Silence()
    {
        ::tcsetattr(m_fd, TCSAFLUSH, &m_before);
        ::pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

private:
    int m_fd;
    termios m_before{};
    sigset_t m_mask{};
};

void say(int fd, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    if (::write(fd, bytes.constData(), std::size_t(bytes.size())) < 0)
        return; // nobody reads it; the password may still come
}

enum class Key : quint8 { Letter, End, Interrupt };

// Byte by byte, so that nothing after the line is taken.
Key readKey(int fd, char &letter)
{
    ssize_t count = 0;
    do
        count = ::read(fd, &letter, 1);
    while (count < 0 && errno == EINTR);
    return count == 1 ? Key::Letter : Key::End;
}

// What the keys of a terminal do to the line.
Key edited(char letter, QByteArray &line)
{
    if (letter == ctrlC)
        return Key::Interrupt;
    if (letter == ctrlD)
        return Key::End;
    if (letter == ctrlU)
        line.clear();
    else if (letter != backspace && letter != rubout)
        line += letter;
    else
        while (!line.isEmpty()) { // a whole character of UTF-8
            const bool isInside = (line.back() & 0xc0) == 0x80;
            line.chop(1);
            if (!isInside)
                break;
        }
    return Key::Letter;
}

std::optional<QByteArray> readLine(int fd, bool isTerminal, QString &problem)
{
    QByteArray line;
    while (true) {
        char letter = 0;
        Key key = readKey(fd, letter);
        if (key == Key::Letter && letter == '\n')
            break;
        if (key == Key::Letter && isTerminal)
            key = edited(letter, line);
        else if (key == Key::Letter)
            line += letter;
        if (key == Key::Interrupt || (key == Key::End && line.isEmpty())) {
            problem = QStringLiteral("no password came; nothing was changed");
            return {};
        }
        if (line.size() > mostBytes) {
            problem = QStringLiteral("the password is too long: take at most %1 bytes").arg(mostBytes);
            return {};
        }
        if (key == Key::End)
            break;
    }
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

std::optional<QByteArray> ask(int inputFd, int errorFd, const QString &prompt, QString &problem)
{
    say(errorFd, prompt + QStringLiteral(": "));
    auto line = readLine(inputFd, true, problem);
    say(errorFd, QStringLiteral("\n"));
    return line;
}

std::optional<QString> textOf(QByteArray bytes, QString &problem)
{
    const QString text = QString::fromUtf8(bytes);
    const bool isUtf8 = text.toUtf8() == bytes && !bytes.contains('\0');
    ::sodium_memzero(bytes.data(), std::size_t(bytes.size()));
    if (isUtf8)
        return text;
    problem = QStringLiteral("the password is not UTF-8 text");
    return {};
}

} // namespace

std::optional<QString> readPassword(int inputFd, int errorFd, const QString &prompt, QString &problem)
{
    if (::isatty(inputFd) == 0) {
        const auto line = readLine(inputFd, false, problem);
        return line ? textOf(*line, problem) : std::nullopt;
    }
    const Silence silence(inputFd);
    const auto first = ask(inputFd, errorFd, prompt, problem);
    if (!first)
        return {};
    const auto second = ask(inputFd, errorFd, QStringLiteral("Once more"), problem);
    if (!second)
        return {};
    if (*first == *second)
        return textOf(*first, problem);
    problem = QStringLiteral("the two passwords differ; nothing was changed");
    return {};
}

} // namespace kvgateway
