// SPDX-License-Identifier: MIT
// A complete host: reads DM 100 to 102 and writes DM 200 of one PLC. Use: small_host ADDRESS PORT
//
// For the bench only: it never reconnects, checks no answer for itself, and cannot say how old a
// value is. Do not run a machine with it; docs/host-guide.md lists what a product needs.
#include <Communication_Protocol.h>

#include <QTcpSocket>

#include <cstdio>
#include <cstdlib>

static bool writeFinished = false;

static int onFinished(int, int, int ownerId, int status)
{
    std::printf("write of owner %d: %s\n", ownerId, status == 1 ? "done" : "failed");
    writeFinished = true;
    return 0;
}

static int onGivenUp(QList<RW_VAR> *, int, int)
{
    std::printf("a request was given up\n");
    return 0;
}

// One exchange: ask the driver what to send, send it, hand back what came.
static void exchange(QTcpSocket &plc)
{
    const auto *request = reinterpret_cast<const Protocol *>(ComCommunication());
    if (request == nullptr)
        return;    // nothing to do just now
    plc.readAll(); // discard the receive buffer: a late answer must not be taken for the next one
    plc.write(request->frame.constData(), request->frameLength);
    QByteArray reply;
    while (reply.size() < request->replyLength && !reply.endsWith("\r\n") && plc.waitForReadyRead(1000))
        reply += plc.readAll();
    DataCom(&reply, int(reply.size()));
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "use: small_host ADDRESS PORT\n");
        return 2;
    }
    QTcpSocket plc;
    plc.connectToHost(QString::fromLatin1(argv[1]), quint16(std::atoi(argv[2])));
    if (!plc.waitForConnected(3000)) {
        std::fprintf(stderr, "no link to %s:%s\n", argv[1], argv[2]);
        return 3;
    }

    ComInfo settings;
    settings.maxBlockLength = 64; // at most 64 words in one request
    settings.maxRetries = 3;
    settings.defaultStation = 1;
    settings.commMode = 2; // writes go to the PLC
    SetComInfo(&settings);
    RegistCallBackFuncIntf(onFinished, onGivenUp);

    HOSTVAR words;
    words.area = AREA_DM;
    words.addressText = QLatin1String("100");
    words.count = 3;
    QList<HOSTVAR> wanted;
    wanted.append(words);
    ReCreatReadVarList(&wanted);
    SetRegisterData(QString(), AREA_DM, QLatin1String("200"), 1, QByteArray("\x39\x05", 2), 1, 0, 7);

    for (int exchanges = 0; exchanges < 100 && !(writeFinished && settings.cycleDone); ++exchanges)
        exchange(plc);

    QByteArray values;
    GetRegisterData(0, AREA_DM, QLatin1String("100"), 1, &values, 3);
    for (int i = 0; i < 3; ++i)
        std::printf("DM%d = %d\n", 100 + i, quint8(values[2 * i]) | quint8(values[2 * i + 1]) << 8);
    return settings.cycleDone ? 0 : 4;
}
