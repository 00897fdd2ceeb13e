// SPDX-License-Identifier: MIT
// The memory of the PLC as a JSON text:
//   {"devices": {"DM": {"100": 5}, "T": {"0": {"contact": 1, "current": 50, "set": 100}}}}
//
// Only cells that are not 0 are written. Relays are written by channels under the number of their
// first relay ("1000": 5 is R1000 and R1002), words and 32-bit registers one by one, timers and
// counters by their three values.
#pragma once

#include "devices/device_memory.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace kvsim
{

constexpr qint64 largestMemoryFile = 64 * 1024 * 1024; // a full memory takes about 20 MiB

QByteArray memoryToJson(const DeviceMemory &memory, const std::string &model);

/// \param[out] problem  what is wrong with the text, if nothing is returned
std::optional<DeviceMemory> memoryFromJson(const QByteArray &json, Family family, QString &problem);

/// Writes through a temporary file, so that a failure leaves the old file as it was.
/// \return empty, or why it cannot be saved
QString saveMemory(const QString &path, const DeviceMemory &memory, const std::string &model);

/// Replaces the whole memory, or nothing of it. \return empty, or why it cannot be loaded
QString loadMemory(const QString &path, DeviceMemory &memory);

} // namespace kvsim
