// SPDX-License-Identifier: MIT
// Shared by all fuzz targets of the driver: a fresh driver for each input, and a record of its
// lines and callbacks.
#pragma once

#include "input.h"
#include "require.h"

#include <Communication_Protocol.h>

#include <memory>
#include <string>
#include <vector>

/// Debug lines and callbacks since the driver was freshly made, or since someone took them.
struct Heard {
    std::vector<std::string> lines, callbacks;
};

inline Heard heard;

inline int hearNotify(int context, int ownerType, int ownerId, int status)
{
    heard.callbacks.push_back("notify " + std::to_string(context) + " " + std::to_string(ownerType) + " " +
                              std::to_string(ownerId) + " " + std::to_string(status));
    return 0;
}

inline int hearError(QList<RW_VAR> *list, int ownerType, int flag)
{
    require(list != nullptr && list->isEmpty(), "the error callback gets an empty list");
    heard.callbacks.push_back("error " + std::to_string(ownerType) + " " + std::to_string(flag) + " empty");
    return 0;
}

/// A driver as it is after loading, with the given settings block and callbacks that record.
inline void freshDriver(ComInfo *settings)
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        require(type == QtDebugMsg, "the driver writes debug lines only");
        heard.lines.push_back(text.toStdString());
    });
    heard = Heard();
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.frameQueue.clear();
    PLC_driver.stationMap.clear();
    PLC_driver.currentVar = RW_VAR();
    PLC_driver.opKind = 100;
    PLC_driver.writeTurns = PLC_driver.onceReadTurns = PLC_driver.readsThisCycle = 0;
    PLC_driver.lastFailed = 0;
    DataStorage.clear();
    handshake.clear();
    SetComInfo(settings);
    RegistCallBackFuncIntf(hearNotify, hearError);
}

/// No image may pass its ceiling, whatever came in.
inline void requireBoundedImages()
{
    for (const auto &images : std::as_const(DataStorage)) {
        for (const QByteArray &image : images)
            require(image.size() <= 64 * 1024 * 1024, "no image passes its ceiling");
    }
}

/// Byte arrays whose bytes end where their memory ends, so that one byte read too many is seen. The
/// driver's lists may share them, so they live as long as this object: for a whole input.
class ExactMemory
{
public:
    QByteArray array(const std::string &bytes)
    {
        m_blocks.emplace_back(new char[bytes.size()]);
        std::copy(bytes.begin(), bytes.end(), m_blocks.back().get());
        return QByteArray::fromRawData(m_blocks.back().get(), int(bytes.size()));
    }

private:
    std::vector<std::unique_ptr<char[]>> m_blocks;
};

/// An int that is often small, sometimes anything.
inline int someInt(Input &input, int low, int high)
{
    return input.below(8) != 0 ? input.between(low, high) : input.number();
}

/// Any settings, absurd ones included.
inline ComInfo someSettings(Input &input)
{
    ComInfo settings;
    settings.maxBlockLength = someInt(input, -2, 300);
    settings.defaultStation = input.between(0, 2);
    settings.maxRetries = input.between(-1, 3);
    const int switches = input.byte();
    settings.multiStation = switches & 1;
    settings.remoteMode = (switches >> 1) & 1;
    settings.localLinkId = (switches >> 2) & 1;
    settings.commMode = (switches & 8) != 0 ? 1 : 2;
    settings.framesPerRequest = (switches >> 4) & 3;
    settings.framesDone = (switches >> 6) & 3;
    return settings;
}

/// An address text: a number, or whatever an operator may type.
inline QString someAddressText(Input &input, int highest)
{
    if (input.flag())
        return QString::number(input.between(0, highest));
    return QString::fromUtf8(QByteArray::fromStdString(input.bytes(12)));
}
