// SPDX-License-Identifier: MIT
// Where a PLC is: what is understood, and in which words the rest is refused.
#include "transport/plc_url.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

std::string problemOf(const char *text)
{
    QString problem;
    const auto url = parsePlcUrl(QString::fromUtf8(text), problem);
    return url ? "taken as " + url->text().toStdString() : problem.toStdString();
}

struct GoodRow {
    const char *given;
    const char *inFull;
    bool isName;
};

class GoodUrl : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodUrl, isTaken)
{
    QString problem;
    const auto url = parsePlcUrl(QString::fromUtf8(GetParam().given), problem);
    ASSERT_TRUE(url) << problem.toStdString();
    EXPECT_EQ(url->text().toStdString(), GetParam().inFull);
    EXPECT_EQ(url->isName, GetParam().isName);
    const auto again = parsePlcUrl(url->text(), problem);
    ASSERT_TRUE(again) << problem.toStdString();
    EXPECT_EQ(again->text(), url->text());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Urls, GoodUrl, testing::Values(
    GoodRow{"tcp://192.168.0.10",          "tcp://192.168.0.10:8501",      false},
    GoodRow{"tcp://192.168.0.10:8500",     "tcp://192.168.0.10:8500",      false},
    GoodRow{"udp://10.0.0.255:1",          "udp://10.0.0.255:1",           false},
    GoodRow{"TCP://0.0.0.0:65535",         "tcp://0.0.0.0:65535",          false},
    GoodRow{"192.168.0.10",                "tcp://192.168.0.10:8501",      false},
    GoodRow{" 192.168.0.10:9000 ",         "tcp://192.168.0.10:9000",      false},
    GoodRow{"tcp://192.168.0.10/",         "tcp://192.168.0.10:8501",      false},
    GoodRow{"plc1",                        "tcp://plc1:8501",              true},
    GoodRow{"plc-1.line_2.example:8501",   "tcp://plc-1.line_2.example:8501", true},
    GoodRow{"udp://3com.example",          "udp://3com.example:8501",      true},
    GoodRow{"tcp://10.plc",                "tcp://10.plc:8501",            true},
    GoodRow{"[::1]",                       "tcp://[::1]:8501",             false},
    GoodRow{"udp://[fe80::1%eth0]:9000",   "udp://[fe80::1%eth0]:9000",    false},
    GoodRow{"serial:///dev/ttyUSB0",       "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1", false},
    GoodRow{"serial:///dev/ttyS1?baud=115200&data=7&parity=odd&stop=2",
            "serial:///dev/ttyS1?baud=115200&data=7&parity=odd&stop=2", false},
    GoodRow{"serial:///dev/serial/by-path/pci-0:1?parity=none",
            "serial:///dev/serial/by-path/pci-0:1?baud=9600&data=8&parity=none&stop=1", false}));
// clang-format on

struct BadRow {
    const char *given;
    const char *why;
};

class BadUrl : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadUrl, isRefused)
{
    EXPECT_EQ(problemOf(GetParam().given),
              "PLC address '" + std::string(GetParam().given) + "': " + GetParam().why);
}

constexpr const char *fourNumbers =
    "' is not an address: write four decimal numbers from 0 to 255, as in 192.168.0.10";
constexpr const char *allForms = "tcp://HOST[:8501], udp://HOST[:8501] or serial:///dev/ttyUSB0?baud=9600";

class NoAddress : public testing::TestWithParam<const char *>
{
};

TEST_P(NoAddress, isNotMadeIntoAnother)
{
    const std::string host = GetParam();
    EXPECT_EQ(problemOf(("tcp://" + host).c_str()),
              "PLC address 'tcp://" + host + "': '" + host + fourNumbers);
}

INSTANTIATE_TEST_SUITE_P(Hosts, NoAddress,
                         testing::Values("192.168.1", "0x7f.1", "0x7f000001", "2130706433", "1.2.3.0x4",
                                         "256.1.1.1", "1.2.3.4.5", "1..2.3", "1.2.3.999", "010", "plc.1",
                                         "1.2.3.0x"));

TEST(PlcUrl, leadingZerosAreRefusedWithWhatWasMeant)
{
    EXPECT_EQ(problemOf("tcp://127.0.0.010"), "PLC address 'tcp://127.0.0.010': '127.0.0.010' has a number "
                                              "with a leading zero, which some programs "
                                              "read as octal; write 127.0.0.10");
    EXPECT_EQ(
        problemOf("192.168.000.001:8501"),
        "PLC address '192.168.000.001:8501': '192.168.000.001' has a number with a leading zero, which some "
        "programs read as octal; write 192.168.0.1");
}

TEST(PlcUrl, nothingIsRefusedWithAllForms)
{
    EXPECT_EQ(problemOf(" "), std::string("PLC address ' ': it is empty; write ") + allForms);
    EXPECT_EQ(problemOf("tcp://"),
              std::string("PLC address 'tcp://': the address or name of the PLC is missing; write ") +
                  allForms);
    EXPECT_EQ(problemOf("http://plc"),
              std::string("PLC address 'http://plc': 'http' is not understood; write ") + allForms);
}

TEST(PlcUrl, namesThatAreTooLongAreRefused)
{
    const QString label = QString(63, QLatin1Char('a'));
    QString problem;
    EXPECT_TRUE(parsePlcUrl(label, problem));
    EXPECT_FALSE(parsePlcUrl(label + 'a', problem));
    const QString name = (label + '.').repeated(3) + QString(61, QLatin1Char('a'));
    EXPECT_TRUE(parsePlcUrl(name, problem));
    EXPECT_FALSE(parsePlcUrl(name + 'a', problem));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Urls, BadUrl, testing::Values(
    BadRow{"plc 1",           "'plc 1' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"tcp://-plc",      "'-plc' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"tcp://a..b",      "'a..b' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"tcp://me@plc",    "'me@plc' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"tcp://plc/x",     "'plc/x' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"tcp://plc?baud=1", "'plc?baud=1' is not a host name: letters, digits, hyphens and dots between them are expected"},
    BadRow{"plc:",            "'' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"plc:0",           "'0' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"plc:65536",       "'65536' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"plc:+1",          "'+1' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"plc:4294967297",  "'4294967297' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"fe80::1",         "an IPv6 address needs brackets: [fe80::1]"},
    BadRow{"[fe80::1",        "'[fe80::1' is not an IPv6 address in brackets, such as [fe80::1]"},
    BadRow{"[fe80::1%]",      "'[fe80::1%]' is not an IPv6 address in brackets, such as [fe80::1]"},
    BadRow{"[192.168.0.1]",   "'[192.168.0.1]' is not an IPv6 address in brackets, such as [fe80::1]"},
    BadRow{"[::1]8501",       "'8501' after ']' is not understood: only a port may follow, as in [fe80::1]:8501"},
    BadRow{"[::1]:x",         "'x' is not a port: a number from 1 to 65535 is expected"},
    BadRow{"/dev/ttyUSB0",    "a serial line is written serial:///dev/ttyUSB0"},
    BadRow{"serial://dev/ttyUSB0", "a serial line needs three slashes and the path of its device: serial:///dev/ttyUSB0"},
    BadRow{"serial:///",      "a serial line needs three slashes and the path of its device: serial:///dev/ttyUSB0"},
    BadRow{"serial:///dev/a?baud=12345", "baud=12345: one of 300, 600, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600 is expected"},
    BadRow{"serial:///dev/a?data=9",     "data=9: 7 or 8 is expected"},
    BadRow{"serial:///dev/a?stop=1.5",   "stop=1.5: 1 or 2 is expected"},
    BadRow{"serial:///dev/a?parity=mark", "parity=mark: none, even or odd is expected"},
    BadRow{"serial:///dev/a?buad=9600",  "'buad' is not a setting of a serial line: baud, data, parity and stop are"},
    BadRow{"serial:///dev/a?baud",       "baud=: one of 300, 600, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600 is expected"},
    BadRow{"serial:///dev/a?",           "'' is not a setting of a serial line: baud, data, parity and stop are"},
    BadRow{"serial:///dev/a?stop=1&stop=2", "'stop' is given twice"}));
// clang-format on

TEST(PlcUrl, timeOfAByteFollowsFromTheSettingsOfTheLine)
{
    QString problem;
    const auto secondsPerByte = [&problem](const char *text) {
        return parsePlcUrl(QString::fromLatin1(text), problem)->secondsPerByte();
    };
    EXPECT_DOUBLE_EQ(secondsPerByte("serial:///dev/a?baud=9600&data=8&parity=none&stop=1"), 10.0 / 9600);
    EXPECT_DOUBLE_EQ(secondsPerByte("serial:///dev/a?baud=9600&data=8&parity=even&stop=2"), 12.0 / 9600);
    EXPECT_DOUBLE_EQ(secondsPerByte("serial:///dev/a?baud=19200&data=7&parity=odd&stop=1"), 10.0 / 19200);
    EXPECT_EQ(secondsPerByte("tcp://plc"), 0.0);
}

} // namespace
} // namespace kvlink
