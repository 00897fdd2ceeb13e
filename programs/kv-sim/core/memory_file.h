// The memory of the PLC as a JSON text: {"devices": {"DM": {"100": 5}, "T": {"0": {"contact": 1, ...}}}}.
//
// Only cells that are not 0 are written. Relays stand by channels, under the number of their first relay
// ("1000": 5 is R1000 and R1002), words and 32-bit registers by themselves, timers and counters by their
// three values.
#pragma once

#include "device_memory.h"

#include <QByteArray>
#include <QString>

namespace kvsim
{

QByteArray memoryToJson(const DeviceMemory &memory, const std::string &model);

/// Replaces the whole memory, or nothing of it.
/// \return empty, or what is wrong with the text
QString memoryFromJson(const QByteArray &json, DeviceMemory &memory);

/// Through a temporary file, so that a failure leaves the old one as it was.
QString saveMemory(const QString &path, const DeviceMemory &memory, const std::string &model);
QString loadMemory(const QString &path, DeviceMemory &memory);

} // namespace kvsim
