// SPDX-License-Identifier: MIT
// What every transport does, the fake one as well: what is proved with the fake holds for real
// wires.
#include "wire.h"

#include <poll.h>

namespace kvlink
{
namespace
{

using State = Transport::State;

struct WireKind {
    const char *name;
    std::unique_ptr<Wire> (*make)();
};

class EveryTransport : public testing::TestWithParam<WireKind>
{
protected:
    std::unique_ptr<Wire> wire = GetParam().make();
    Transport &transport = wire->transport();

    size_t descriptors() const
    {
        std::vector<pollfd> all;
        transport.addDescriptors(all);
        return all.size();
    }
};

TEST_P(EveryTransport, isClosedAtFirst)
{
    EXPECT_EQ(transport.state(), State::Closed);
    EXPECT_EQ(transport.problem(), "");
    EXPECT_EQ(transport.takeReceived(), "");
    EXPECT_EQ(descriptors(), 0U);
    transport.work();
    transport.close();
    EXPECT_EQ(transport.state(), State::Closed);
}

TEST_P(EveryTransport, carriesBytesBothWays)
{
    wire->open();
    ASSERT_EQ(transport.state(), State::Open) << transport.problem().toStdString();
    EXPECT_EQ(transport.problem(), "");
    transport.send("RDS DM0.U 1\r");
    EXPECT_EQ(wire->plcHears(12), "RDS DM0.U 1\r");
    wire->plcSends("00001\r\n");
    EXPECT_EQ(take(transport, 7), "00001\r\n");
    EXPECT_EQ(transport.takeReceived(), "");
}

TEST_P(EveryTransport, bringsAnAnswerInPieces)
{
    wire->open();
    wire->plcSends("000");
    EXPECT_EQ(take(transport, 3), "000");
    wire->plcSends("01");
    wire->plcSends("\r\n");
    EXPECT_EQ(take(transport, 4), "01\r\n");
}

TEST_P(EveryTransport, changesNoByte)
{
    QByteArray all;
    for (int byte = 0; byte < 256; ++byte)
        all += char(byte);
    wire->open();
    transport.send(all);
    EXPECT_EQ(wire->plcHears(256), all);
    wire->plcSends(all);
    EXPECT_EQ(take(transport, 256), all);
}

TEST_P(EveryTransport, bringsTheLongestAnswer)
{
    const QByteArray answer = QByteArray("0000000001 ").repeated(1000) + "\r\n";
    wire->open();
    // On lines in two halves: a pseudo-terminal keeps no more than 4096 bytes for a reader.
    const int half = transport.isSerial() ? 4000 : int(answer.size());
    QByteArray all;
    for (int at = 0; at < answer.size(); at += half) {
        const QByteArray part = answer.mid(at, half);
        wire->plcSends(part);
        all += take(transport, int(part.size()));
    }
    EXPECT_EQ(all, answer);
}

TEST_P(EveryTransport, dropsWhatCameWhenItIsClosed)
{
    wire->open();
    wire->plcSends("late\r\n");
    workUntil(transport, [] { return true; });
    transport.close();
    EXPECT_EQ(transport.state(), State::Closed);
    EXPECT_EQ(transport.takeReceived(), "");
    EXPECT_EQ(descriptors(), 0U);
}

TEST_P(EveryTransport, sendsNothingWhileItIsClosed)
{
    transport.send("CR\r\n");
    EXPECT_EQ(transport.state(), State::Closed);
    wire->open();
    transport.send("OK");
    EXPECT_EQ(wire->plcHears(2), "OK");
}

TEST_P(EveryTransport, bringsNothingOfBeforeWhenItIsOpenedAgain)
{
    wire->open();
    wire->plcSends("late\r\n");
    wire->open();
    ASSERT_EQ(transport.state(), State::Open);
    transport.work();
    EXPECT_EQ(transport.takeReceived(), "");
}

TEST_P(EveryTransport, sendsNothingOfBeforeWhenItIsOpenedAgain)
{
    wire->open();
    transport.close();
    wire->open();
    transport.send("RDS");
    EXPECT_EQ(wire->plcHears(3), "RDS");
}

TEST_P(EveryTransport, saysWhenThePlcIsGone)
{
    wire->open();
    wire->plcGoes();
    ASSERT_TRUE(workUntil(transport, [this] { return transport.state() == State::Failed; }));
    EXPECT_NE(transport.problem(), "");
    EXPECT_EQ(descriptors(), 0U); // nothing that would wake the thread again and again
    transport.send("RDS DM0.U 1\r");
    transport.work();
    EXPECT_EQ(transport.state(), State::Failed);
    transport.close();
    EXPECT_EQ(transport.state(), State::Closed);
    EXPECT_EQ(transport.problem(), "");
}

TEST_P(EveryTransport, keepsWhatCameBeforeThePlcWent)
{
    wire->open();
    wire->plcSends("00001\r\n");
    std::vector<pollfd> wanted;
    transport.addDescriptors(wanted);
    if (!wanted.empty())
        ::poll(wanted.data(), nfds_t(wanted.size()), 5000);
    transport.work(); // has it now
    wire->plcGoes();
    ASSERT_TRUE(workUntil(transport, [this] { return transport.state() == State::Failed; }));
    EXPECT_EQ(transport.takeReceived(), "00001\r\n");
}

INSTANTIATE_TEST_SUITE_P(Wires, EveryTransport,
                         testing::Values(WireKind{"fake", fakeWire}, WireKind{"tcp", tcpWire},
                                         WireKind{"udp", udpWire}, WireKind{"serial", serialWire}),
                         [](const auto &row) { return row.param.name; });

} // namespace
} // namespace kvlink
