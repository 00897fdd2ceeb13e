// SPDX-License-Identifier: MIT
#include "exchange_fixture.h"

#include <array>
#include <ostream>
#include <utility>

std::string nameOf(Wire wire)
{
    static constexpr std::array<const char *, 3> names{"Tcp", "Terminal", "Remote"};
    return names[std::size_t(wire)];
}

void PrintTo(Wire wire, std::ostream *out)
{
    *out << nameOf(wire);
}

namespace
{
bool endsWithLineEnd(const QByteArray &answer)
{
    return answer.endsWith("\r\n");
}

std::string shownAnswer(const QByteArray &answer)
{
    if (answer.isEmpty())
        return "(nothing)";
    if (!endsWithLineEnd(answer))
        return answer.toStdString() + " (no end)";
    return answer.left(answer.size() - 2).toStdString();
}
} // namespace

ExchangeTest::ExchangeTest() : m_terminal(folder.filePath(QStringLiteral("plc"))) {}

void ExchangeTest::TearDown()
{
    hearLines();
    EXPECT_EQ(m_otherLines, Lines()) << "debug lines that the test did not expect";
    DriverTest::TearDown();
}

void ExchangeTest::begin(Wire wire, const QStringList &switches)
{
    const QStringList lines{"--tcp",       "127.0.0.1:0", "--serial",    m_terminal,         "--remote",
                            "127.0.0.1:0", "--control",   "127.0.0.1:0", "--remote-silence", "20"};
    m_plc = std::make_unique<SimProcess>(lines + switches);
    ASSERT_TRUE(m_plc->isReady()) << m_plc->errors();
    m_control = std::make_unique<Client>(m_plc->port("control"));
    ASSERT_TRUE(m_control->isConnected());
    m_wire = wire;
    reopen();
    ASSERT_TRUE(line->isOpen());
}

void ExchangeTest::reopen()
{
    line.reset();
    if (m_wire == Wire::Terminal)
        line = std::make_unique<Line>(openedTerminal(m_terminal));
    else
        line = std::make_unique<Line>(connectedSocket(m_plc->port(m_wire == Wire::Tcp ? "tcp" : "remote")));
}

void ExchangeTest::expectOpening()
{
    EXPECT_EQ(exchange(), "CR -> CC = 1");
}

void ExchangeTest::plcSet(const std::string &assignment)
{
    EXPECT_EQ(plcAsk("set " + assignment), "ok") << assignment;
}

std::string ExchangeTest::plcGet(const std::string &devices)
{
    const std::string answer = plcAsk("get " + devices);
    return answer.rfind("ok ", 0) == 0 ? answer.substr(3) : answer;
}

void ExchangeTest::plcFault(const std::string &fault)
{
    EXPECT_EQ(plcAsk("fault " + fault).rfind("ok ", 0), 0U) << fault;
}

std::string ExchangeTest::plcAsk(const std::string &command)
{
    return m_control ? m_control->ask(command) : "no PLC";
}

void ExchangeTest::read(int area, int address, int count, int station)
{
    RW_VAR var = variable(area, address, count, station);
    AddListReadVar(&var);
}

int ExchangeTest::readOnce(int area, const char *address, int count, int ownerId)
{
    RW_VAR var = variable(area, 0, count);
    var.addressText = QString::fromLatin1(address);
    var.ownerId = ownerId;
    return AddListOnceReadVar(&var, 0);
}

int ExchangeTest::writeValue(int area, const char *address, const char *dataHex, int count, int ownerId)
{
    return SetRegisterData(QString(), area, QString::fromLatin1(address), 1, bytes(dataHex), count, 5,
                           ownerId);
}

int ExchangeTest::showScreen(QList<HOSTVAR> variables)
{
    const int blocks = ReCreatReadVarList(&variables);
    EXPECT_EQ(takeLines().size(), std::size_t(blocks) + 1) << "a headline and a line for each block";
    return blocks;
}

HOSTVAR ExchangeTest::shown(int area, const char *address, int count)
{
    return HOSTVAR{0, quint8(area), 1, 0, 0, QString::fromLatin1(address), QString(), count};
}

std::string ExchangeTest::get(int area, const char *address, int count, int station)
{
    QByteArray out;
    EXPECT_EQ(GetRegisterData(0, area, QString::fromLatin1(address), station, &out, count), 1) << address;
    return hex(out);
}

std::string ExchangeTest::exchange(int timeoutMs, int awaited)
{
    const quintptr head = ComCommunication();
    hearLines();
    if (head == 0)
        return "idle";
    if (!line)
        return "no line";
    const Protocol &frame = *reinterpret_cast<const Protocol *>(head);
    const std::string sent = shownFrame(frame.frame.left(frame.frameLength));
    const bool answered = frame.replyLength != 0;
    if (!keepsStaleBytes)
        line->discard();
    line->send(frame.frame.left(frame.frameLength));
    // Where no answer is due, the host hands in a text of its own, with length 0.
    QByteArray reply = answered ? line->receive(timeoutMs, awaited) : QByteArray("OK");
    const std::string received = answered ? shownAnswer(reply) : "(not waited for)";
    const quintptr done = DataCom(&reply, answered ? int(reply.size()) : 0);
    hearLines();
    const int result = reinterpret_cast<const RW_VAR *>(done)->result;
    if (result == 1 || result == 100)
        settings.retryCount = 0; // this host gives each request all its retries
    return sent + " -> " + received + " = " + std::to_string(result);
}

void ExchangeTest::expectExchanges(const std::vector<std::string> &expected)
{
    for (const std::string &turn : expected)
        EXPECT_EQ(exchange(), turn);
}

std::vector<std::string> ExchangeTest::takeOtherLines()
{
    return std::exchange(m_otherLines, {});
}

void ExchangeTest::hearLines()
{
    for (const std::string &text : takeLines())
        if (text != "init handshake" && text != "Handshake(RW_Var)")
            m_otherLines.push_back(text);
}

std::string ExchangeTest::shownFrame(const QByteArray &frame) const
{
    if (frame.isEmpty())
        return "(empty)";
    if (m_wire == Wire::Remote)
        return hex(frame);
    EXPECT_TRUE(frame.endsWith('\r') || frame.endsWith("\r\n")) << "a frame without CR";
    const int end = frame.endsWith('\n') ? 2 : 1;
    return frame.left(frame.size() - end).toStdString();
}
