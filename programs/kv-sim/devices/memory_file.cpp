// SPDX-License-Identifier: MIT
// The memory of the PLC as a JSON text.
#include "devices/memory_file.h"

#include "text/regular_file.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cmath>

namespace kvsim
{
namespace
{

constexpr double largest16 = 65535;
constexpr double largest32 = 4294967295;

QString text(std::string_view view)
{
    return QString::fromUtf8(view.data(), int(view.size()));
}

// A cell is a channel of relays, a word, a 32-bit register, or the three values of a timer.
Format cellFormat(const Device &device)
{
    return device.kind == Kind::DWord ? Format::D : Format::U;
}

std::uint32_t cellStep(const Device &device)
{
    return device.kind == Kind::Relay ? bitsPerChannel : 1;
}

QJsonObject timerToJson(const TimerCells &timer)
{
    return {
        {"contact", timer.contact ? 1 : 0}, {"current", qint64(timer.current)}, {"set", qint64(timer.set)}};
}

QJsonObject deviceToJson(const Device &device, const Range &range, const DeviceMemory &memory)
{
    QJsonObject cells;
    const auto key = [&device](std::uint32_t at) { return text(elementToText(device.notation, at)); };
    for (std::uint32_t at = range.first; at <= range.last; at += cellStep(device)) {
        if (device.kind == Kind::Triple) {
            if (const TimerCells timer = memory.timer(device, at); timer != TimerCells{})
                cells.insert(key(at), timerToJson(timer));
        } else if (const std::uint32_t value = memory.value(device, at, cellFormat(device)); value != 0) {
            cells.insert(key(at), qint64(value));
        }
    }
    return cells;
}

std::optional<std::uint32_t> numberFrom(const QJsonValue &json, double largest)
{
    const double number = json.toDouble(-1);
    if (number < 0 || number > largest || number != std::floor(number))
        return std::nullopt;
    return std::uint32_t(number);
}

std::optional<TimerCells> timerFromJson(const QJsonValue &json)
{
    const QJsonObject object = json.toObject();
    const auto contact = numberFrom(object.value("contact"), 1);
    const auto current = numberFrom(object.value("current"), largest32);
    const auto set = numberFrom(object.value("set"), largest32);
    if (object.size() != 3 || !contact || !current || !set)
        return std::nullopt;
    return TimerCells{*contact != 0, *current, *set};
}

std::optional<std::uint32_t> elementFrom(const QString &key, const Device &device, const Range &range)
{
    const auto [error, element] = elementFromText(device.notation, key.toStdString());
    const bool good = error == NumberError::None && element >= range.first && element <= range.last &&
                      element % cellStep(device) == 0;
    return good ? std::optional(element) : std::nullopt;
}

bool setCell(const QJsonValue &json, const Device &device, std::uint32_t element, DeviceMemory &memory)
{
    if (device.kind == Kind::Triple) {
        const auto timer = timerFromJson(json);
        if (timer)
            memory.setTimer(device, element, *timer);
        return timer.has_value();
    }
    const auto value = numberFrom(json, device.kind == Kind::DWord ? largest32 : largest16);
    if (value)
        memory.setValue(device, element, cellFormat(device), *value);
    return value.has_value();
}

QString setDevice(const QString &name, const QJsonObject &cells, DeviceMemory &memory)
{
    const Device *device = deviceNamed(name.toStdString());
    const auto range = device ? rangeOf(*device, memory.family()) : std::nullopt;
    if (!range || device->kind == Kind::SetValue)
        return QStringLiteral("\"%1\" is not a device that this model keeps").arg(name);
    for (auto cell = cells.begin(); cell != cells.end(); ++cell) {
        const auto element = elementFrom(cell.key(), *device, *range);
        if (!element)
            return QStringLiteral("\"%1\" is not a number of %2").arg(cell.key(), name);
        if (!setCell(cell.value(), *device, *element, memory))
            return QStringLiteral("the value of %1%2 does not fit").arg(name, cell.key());
    }
    return {};
}

} // namespace

QByteArray memoryToJson(const DeviceMemory &memory, const std::string &model)
{
    QJsonObject all;
    for (const Device &device : devices()) {
        const auto range = rangeOf(device, memory.family());
        if (!range || device.kind == Kind::SetValue)
            continue;
        const QJsonObject cells = deviceToJson(device, *range, memory);
        if (!cells.isEmpty())
            all.insert(device.name, cells);
    }
    return QJsonDocument(QJsonObject{{"model", text(model)}, {"devices", all}}).toJson();
}

std::optional<DeviceMemory> memoryFromJson(const QByteArray &json, Family family, QString &problem)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    const QJsonValue all = document.object().value("devices");
    if (document.isNull())
        problem = QStringLiteral("not JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset);
    else if (!all.isObject())
        problem = QStringLiteral("there is no \"devices\" object in it");
    else
        problem.clear();
    DeviceMemory loaded(family);
    const QJsonObject named = all.toObject();
    for (auto device = named.begin(); device != named.end() && problem.isEmpty(); ++device)
        problem = device.value().isObject()
                      ? setDevice(device.key(), device.value().toObject(), loaded)
                      : QStringLiteral("\"%1\" is not an object of cells").arg(device.key());
    return problem.isEmpty() ? std::optional(std::move(loaded)) : std::nullopt;
}

QString saveMemory(const QString &path, const DeviceMemory &memory, const std::string &model)
{
    const QFileInfo old(path);
    if (old.exists() && !old.isFile())
        return QStringLiteral("cannot save to %1: it is not a regular file").arg(path);
    QSaveFile file(path);
    const bool written =
        file.open(QIODevice::WriteOnly) && file.write(memoryToJson(memory, model)) >= 0 && file.commit();
    return written ? QString() : QStringLiteral("cannot save to %1: %2").arg(path, file.errorString());
}

QString loadMemory(const QString &path, DeviceMemory &memory)
{
    QString problem;
    const auto json = readRegularFile(path, largestMemoryFile, problem);
    auto loaded = json ? memoryFromJson(*json, memory.family(), problem) : std::nullopt;
    if (!loaded)
        return QStringLiteral("cannot load %1: %2").arg(path, problem);
    memory = std::move(*loaded);
    return {};
}

} // namespace kvsim
