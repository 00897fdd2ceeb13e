// SPDX-License-Identifier: MIT
// What only serial lines do: settings, one user at a time, unplugging.
#include "transport/serial_settings.h"
#include "transport/serial_transport.h"
#include "wire.h"

#include <QTemporaryFile>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace kvlink
{
namespace
{

using State = Transport::State;

PlcUrl lineAt(const QString &path)
{
    PlcUrl url;
    url.kind = PlcUrl::Kind::Serial;
    url.host = path;
    return url;
}

struct SettingsRow {
    const char *name;
    const char *query;
    tcflag_t bits; // of CSIZE, PARENB, PARODD, CSTOPB and CRTSCTS
    speed_t speed;
    bool checksParity;
};

class SerialSettings : public testing::TestWithParam<SettingsRow>
{
};

TEST_P(SerialSettings, areThoseOfTheAddress)
{
    QString problem;
    const auto url = parsePlcUrl(QStringLiteral("serial:///dev/ttyS0") + GetParam().query, problem);
    ASSERT_TRUE(url) << problem.toStdString();
    termios everything = {};
    everything.c_iflag = everything.c_oflag = everything.c_lflag = everything.c_cflag = ~tcflag_t(0);
    const termios settings = serialSettings(*url, everything);
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS), GetParam().bits);
    EXPECT_EQ(settings.c_cflag & (CLOCAL | CREAD), tcflag_t(CLOCAL | CREAD));
    EXPECT_EQ(::cfgetispeed(&settings), GetParam().speed);
    EXPECT_EQ(::cfgetospeed(&settings), GetParam().speed);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | ICRNL | ISTRIP | IGNPAR | PARMRK), 0U);
    EXPECT_EQ((settings.c_iflag & INPCK) != 0, GetParam().checksParity);
    EXPECT_EQ(settings.c_oflag & OPOST, 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, SerialSettings,
    testing::Values(SettingsRow{"usual", "", CS8 | PARENB, B9600, true},
                    SettingsRow{"odd", "?parity=odd&baud=115200", CS8 | PARENB | PARODD, B115200, true},
                    SettingsRow{"none", "?parity=none&baud=38400", CS8, B38400, false},
                    SettingsRow{"sevenBits", "?data=7&stop=2", CS7 | PARENB | CSTOPB, B9600, true}),
    [](const auto &row) { return row.param.name; });

TEST(SerialTransport, setsTheSpeedOfItsLine)
{
    const Terminal terminal = makeTerminal();
    PlcUrl url = lineAt(terminal.path);
    url.baud = 19200;
    SerialTransport transport(url);
    transport.open();
    ASSERT_EQ(transport.state(), State::Open) << transport.problem().toStdString();
    termios settings = {};
    ASSERT_EQ(::tcgetattr(terminal.plc.number(), &settings), 0);
    EXPECT_EQ(::cfgetospeed(&settings), speed_t(B19200));
    EXPECT_TRUE(transport.isSerial());
    EXPECT_DOUBLE_EQ(transport.secondsPerByte(), 11.0 / 19200);
}

TEST(SerialTransport, saysThatThereIsNoSuchDevice)
{
    SerialTransport transport(lineAt(QStringLiteral("/dev/ttyNone")));
    transport.open();
    EXPECT_EQ(transport.state(), State::Failed);
    EXPECT_EQ(transport.problem(), "/dev/ttyNone: there is no such device; is it plugged in?");
}

TEST(SerialTransport, saysThatAFileIsNotALine)
{
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    SerialTransport transport(lineAt(file.fileName()));
    transport.open();
    EXPECT_EQ(transport.state(), State::Failed);
    EXPECT_EQ(transport.problem(), file.fileName() + ": it is not a serial line");
}

// A superuser opens a line whose exclusive mode keeps everybody else out.
bool isExclusive(const QString &path)
{
    const Descriptor line(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    int isOn = 0;
    return !line.isOpen() || (::ioctl(line.number(), TIOCGEXCL, &isOn) == 0 && isOn != 0);
}

TEST(SerialTransport, hasItsLineAlone)
{
    const Terminal terminal = makeTerminal();
    SerialTransport first(lineAt(terminal.path));
    SerialTransport second(lineAt(terminal.path));
    first.open();
    second.open();
    EXPECT_EQ(first.state(), State::Open);
    EXPECT_EQ(second.state(), State::Failed);
    EXPECT_EQ(second.problem(), terminal.path + ": another program uses it");
    EXPECT_TRUE(isExclusive(terminal.path)) << "the second one has taken nothing from the first";
    first.close();
    EXPECT_FALSE(isExclusive(terminal.path)) << "only a superuser could open it again";
    second.open();
    EXPECT_EQ(second.state(), State::Open) << second.problem().toStdString();
}

TEST(SerialTransport, saysThatItsLineIsGone)
{
    Terminal terminal = makeTerminal();
    SerialTransport transport(lineAt(terminal.path));
    transport.open();
    terminal.plc.reset();
    EXPECT_TRUE(workUntil(transport, [&] { return transport.state() == State::Failed; }));
    EXPECT_EQ(transport.problem(), "the serial line is gone: unplugged, or its device switched off");
}

TEST(SerialTransport, dropsWhatTheLineHeldBeforeItWasOpened)
{
    const Terminal terminal = makeTerminal();
    SerialTransport transport(lineAt(terminal.path));
    transport.open();
    writeTo(terminal.plc.number(), "late\r\n");
    transport.open();
    writeTo(terminal.plc.number(), "CC\r\n");
    EXPECT_EQ(take(transport, 4), "CC\r\n");
}

TEST(SerialTransport, goesOnSendingWhatTheLineDidNotTake)
{
    const Terminal terminal = makeTerminal();
    SerialTransport transport(lineAt(terminal.path));
    transport.open();
    QByteArray much;
    for (int i = 0; much.size() < 200 * 1024; ++i)
        much += QByteArray::number(i) + ' ';
    transport.send(much);
    std::vector<pollfd> wanted;
    transport.addDescriptors(wanted);
    ASSERT_EQ(wanted.size(), 1U);
    EXPECT_EQ(wanted.front().events, POLLIN | POLLOUT);
    QByteArray heard;
    while (heard.size() < much.size()) {
        const QByteArray part = readFrom(terminal.plc.number(), 1);
        ASSERT_FALSE(part.isEmpty());
        heard += part;
        transport.work();
    }
    EXPECT_TRUE(heard == much);
}

TEST(SerialTransport, isNotInherited)
{
    const Terminal terminal = makeTerminal();
    SerialTransport transport(lineAt(terminal.path));
    transport.open();
    std::vector<pollfd> wanted;
    transport.addDescriptors(wanted);
    ASSERT_EQ(wanted.size(), 1U);
    EXPECT_NE(::fcntl(wanted.front().fd, F_GETFD) & FD_CLOEXEC, 0);
}

} // namespace
} // namespace kvlink
