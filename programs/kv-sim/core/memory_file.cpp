#include "memory_file.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cmath>

namespace kvsim
{
namespace
{

constexpr qint64 largestFile = 256 * 1024 * 1024;

QString text(std::string_view view)
{
    return QString::fromUtf8(view.data(), static_cast<int>(view.size()));
}

// A cell is a channel of relays, a word, a 32-bit register, or the three values of a timer.
Format cellFormat(const Device &device)
{
    return device.kind == Kind::DWord ? Format::D : Format::U;
}

std::uint32_t cellStep(const Device &device)
{
    return device.kind == Kind::Relay ? 16 : 1;
}

QJsonObject timerToJson(const TimerCells &timer)
{
    return {{"contact", timer.contact ? 1 : 0},
            {"current", static_cast<qint64>(timer.current)},
            {"set", static_cast<qint64>(timer.set)}};
}

QJsonObject deviceToJson(const Device &device, const Range &range, const DeviceMemory &memory)
{
    QJsonObject cells;
    for (std::uint32_t at = range.first; at <= range.last; at += cellStep(device)) {
        const QString key = text(elementToText(device.notation, at));
        if (device.kind == Kind::Triple) {
            if (const TimerCells &timer = memory.timer(device, at); timer != TimerCells{})
                cells.insert(key, timerToJson(timer));
        } else if (const std::uint32_t value = memory.value(device, at, cellFormat(device)); value != 0) {
            cells.insert(key, static_cast<qint64>(value));
        }
    }
    return cells;
}

bool numberFrom(const QJsonValue &json, double largest, std::uint32_t &value)
{
    const double number = json.toDouble(-1);
    if (number < 0 || number > largest || number != std::floor(number))
        return false;
    value = static_cast<std::uint32_t>(number);
    return true;
}

bool timerFromJson(const QJsonValue &json, TimerCells &timer)
{
    const QJsonObject object = json.toObject();
    std::uint32_t contact = 0;
    const bool good = object.size() == 3 && numberFrom(object.value("contact"), 1, contact) &&
                      numberFrom(object.value("current"), 4294967295.0, timer.current) &&
                      numberFrom(object.value("set"), 4294967295.0, timer.set);
    timer.contact = contact != 0;
    return good;
}

bool elementFrom(const QString &key, const Device &device, const Range &range, std::uint32_t &element)
{
    const std::string number = key.toStdString();
    return elementFromText(device.notation, number, false, element) == NumberFault::None &&
           element >= range.first && element <= range.last && element % cellStep(device) == 0;
}

bool cellFromJson(const QJsonValue &json, const Device &device, std::uint32_t element, DeviceMemory &memory)
{
    if (device.kind == Kind::Triple)
        return timerFromJson(json, memory.timer(device, element));
    std::uint32_t value = 0;
    if (!numberFrom(json, device.kind == Kind::DWord ? 4294967295.0 : 65535.0, value))
        return false;
    memory.setValue(device, element, cellFormat(device), value);
    return true;
}

QString deviceFromJson(const QString &name, const QJsonObject &cells, DeviceMemory &memory)
{
    const Device *device = deviceNamed(name.toStdString());
    const auto range = device ? rangeOf(*device, memory.family()) : std::nullopt;
    if (!range || device->kind == Kind::SetValue)
        return QStringLiteral("\"%1\" is no device that this model keeps").arg(name);
    for (auto cell = cells.begin(); cell != cells.end(); ++cell) {
        std::uint32_t element = 0;
        if (!elementFrom(cell.key(), *device, *range, element))
            return QStringLiteral("\"%1\" is no number of %2").arg(cell.key(), name);
        if (!cellFromJson(cell.value(), *device, element, memory))
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

QString memoryFromJson(const QByteArray &json, DeviceMemory &memory)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (document.isNull())
        return QStringLiteral("no JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset);
    const QJsonValue all = document.object().value("devices");
    if (!all.isObject())
        return QStringLiteral("there is no \"devices\" object in it");
    DeviceMemory loaded(memory.family());
    const QJsonObject named = all.toObject();
    for (auto device = named.begin(); device != named.end(); ++device) {
        if (!device.value().isObject())
            return QStringLiteral("\"%1\" is no object of cells").arg(device.key());
        QString wrong = deviceFromJson(device.key(), device.value().toObject(), loaded);
        if (!wrong.isEmpty())
            return wrong;
    }
    memory = loaded;
    return {};
}

QString saveMemory(const QString &path, const DeviceMemory &memory, const std::string &model)
{
    QSaveFile file(path);
    const bool written =
        file.open(QIODevice::WriteOnly) && file.write(memoryToJson(memory, model)) >= 0 && file.commit();
    return written ? QString() : QStringLiteral("cannot save to %1: %2").arg(path, file.errorString());
}

QString loadMemory(const QString &path, DeviceMemory &memory)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot load %1: %2").arg(path, file.errorString());
    if (file.size() > largestFile)
        return QStringLiteral("cannot load %1: it is larger than 256 MiB").arg(path);
    const QString wrong = memoryFromJson(file.readAll(), memory);
    return wrong.isEmpty() ? wrong : QStringLiteral("cannot load %1: %2").arg(path, wrong);
}

} // namespace kvsim
