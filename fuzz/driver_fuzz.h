// What all fuzz targets of the driver share: a fresh driver for each input, and a quiet message handler.
#pragma once

#include <Communication_Protocol.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

/// Ends the run with a crash report if a promise does not hold.
inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// A driver as it is after loading, with the given settings block.
inline void freshDriver(ComInfo *settings)
{
    static const bool quiet = [] {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        return true;
    }();
    require(quiet);
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
}

/// No image may pass its ceiling, whatever came in.
inline void requireBoundedImages()
{
    for (const auto &images : std::as_const(DataStorage)) {
        for (const QByteArray &image : images)
            require(image.size() <= 64 * 1024 * 1024);
    }
}

inline QByteArray someBytes(FuzzedDataProvider &input, size_t most)
{
    return QByteArray::fromStdString(input.ConsumeRandomLengthString(most));
}

inline QString someText(FuzzedDataProvider &input, size_t most)
{
    return QString::fromUtf8(someBytes(input, most));
}

/// Any settings, absurd ones included.
inline ComInfo someSettings(FuzzedDataProvider &input)
{
    ComInfo settings;
    settings.maxBlockLength =
        input.ConsumeBool() ? input.ConsumeIntegralInRange(-2, 300) : input.ConsumeIntegral<int>();
    settings.defaultStation = input.ConsumeIntegral<int>();
    settings.maxRetries = input.ConsumeIntegralInRange(-1, 3);
    settings.retryCount = input.ConsumeIntegralInRange(-1, 3);
    settings.multiStation = input.ConsumeIntegralInRange(0, 1);
    settings.framesPerRequest = input.ConsumeIntegralInRange(-1, 3);
    settings.framesDone = input.ConsumeIntegralInRange(-1, 3);
    settings.remoteMode = input.ConsumeIntegralInRange(0, 1);
    settings.localLinkId = input.ConsumeIntegralInRange(0, 1);
    settings.commMode = input.ConsumeIntegralInRange(1, 2);
    settings.cycleDone = input.ConsumeIntegralInRange(0, 1);
    return settings;
}

/// An int that is often small, sometimes anything.
inline int someInt(FuzzedDataProvider &input, int low, int high)
{
    return input.ConsumeIntegralInRange(0, 7) != 0 ? input.ConsumeIntegralInRange(low, high)
                                                   : input.ConsumeIntegral<int>();
}
