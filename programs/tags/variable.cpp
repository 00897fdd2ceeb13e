// SPDX-License-Identifier: MIT
// Names and shown values of a variable, and the station in front of a typed address.
#include "variable.h"

namespace kvtags
{

namespace
{

constexpr int highestStation = 255;

// Takes the station from the text in front of '/'. \return false with a problem if it is none
bool takeStation(const QString &text, Variable &variable, QString &problem)
{
    bool ok = false;
    variable.station = text.trimmed().toInt(&ok);
    if (!ok || variable.station < 0 || variable.station > highestStation) {
        problem = QStringLiteral("'%1' is not a station: write a number from 0 to %2 before '/', as in 2/DM0")
                      .arg(text)
                      .arg(highestStation);
        return false;
    }
    variable.stationShown = true;
    return true;
}

} // namespace

QString Variable::place() const
{
    return stationShown ? QStringLiteral("%1/%2").arg(station).arg(address.name()) : address.name();
}

QString Variable::name() const
{
    return settings.name.isEmpty() ? place() : settings.name;
}

QString Variable::nameOf(int i) const
{
    if (settings.name.isEmpty()) {
        const QString value = address.nameOfValue(i);
        return stationShown ? QStringLiteral("%1/%2").arg(station).arg(value) : value;
    }
    return address.values() > 1 ? QStringLiteral("%1[%2]").arg(settings.name).arg(i) : settings.name;
}

QString Variable::shown(const kvlink::Value &value, int i) const
{
    return address.shown(kvlink::valueAt(value, i));
}

bool Variable::isNumeric() const
{
    if (address.kind() == kvlink::ValueKind::Text)
        return false;
    return isScaled() || address.kind() != kvlink::ValueKind::Hex;
}

std::optional<Variable> parseVariable(const QString &typed, QString &problem)
{
    QString why;
    const auto slash = typed.indexOf('/');
    const auto address = kvlink::AddressInfo::parse(slash < 0 ? typed : typed.mid(slash + 1), why);
    if (!address) {
        // The library names the address in front of what is wrong with it: the station is
        // put before it.
        problem = slash < 0 ? why : typed.left(slash + 1) + why;
        return std::nullopt;
    }
    Variable variable(*address);
    if (slash >= 0 && !takeStation(typed.left(slash), variable, why)) {
        problem = QStringLiteral("%1: %2").arg(typed, why);
        return std::nullopt;
    }
    variable.settings.address = address->name();
    return variable;
}

} // namespace kvtags
