// SPDX-License-Identifier: MIT
// What programs show to people and check without a PLC: addresses, devices, typed times, names that
// are nearly right.
#pragma once

#include "export.h"
#include "link.h"
#include "sample.h"
#include "tag.h"
#include "times.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace kvlink
{

struct Place;

/// What one value of an address looks like.
enum class ValueKind : quint8 { Bit, Whole, Hex, Real, Text };

/// An address, parsed. Cheap to copy; any thread. Example: AddressInfo::parse("dm100.d:2",
/// problem)->name() is "DM100.D:2".
class KVLINK_API AddressInfo
{
public:
    /// \param problem what is wrong and what to write instead; set on failure only
    static std::optional<AddressInfo> parse(const QString &address, QString &problem);

    /// The whole address in capital letters.
    QString name() const;
    /// \param i 0 to values() - 1. Example: value 1 of "DM100.D:2" is "DM102.D"
    QString nameOfValue(int i) const;
    /// The letters alone: "DM".
    QString device() const;
    /// How many values it has: 10 of "DM100:10".
    int values() const;
    /// Read units: 16-bit words, double words, timers, counters.
    int units() const;
    /// What each value is.
    ValueKind kind() const;
    /// False for contacts, which follow their timer or counter.
    bool isWritable() const;
    /// A single bit: what can be pulsed.
    bool isBit() const;
    /// The two have at least one bit of the PLC in common: "DM100" and "DM99.D".
    bool overlaps(const AddressInfo &other) const;
    /// As kv-host shows it, in the format of the address: hexadecimal as "01A2", floats with the
    /// digits that bring them back. Empty while there is no value.
    QString shown(const Value &value) const;
    /// What the PLC will hold after a write of \a typed: range-checked, with the tag's scale,
    /// rounded as the PLC stores it. Example: "2.54" for a word with scale 0.1 is 2.5
    /// \param problem "70000 is too large for DM100 (0 to 65535)"; set on failure only
    std::optional<Value> valueFromText(const QString &typed, const TagSettings &tag, const LinkSettings &link,
                                       QString &problem) const;

private:
    explicit AddressInfo(std::shared_ptr<const Place> place) : m_place(std::move(place)) {}
    std::shared_ptr<const Place> m_place;
};

/// \return scalar \a i of a list; a single value is its own scalar 0; std::monostate if there is
///   none
KVLINK_API Value valueAt(const Value &value, int i);

/// A device for a help page: {"DM", "DM100 DM100.5 ...", "U; .S .D ...", "DM0 to DM65534",
/// "data memory", true}.
struct DeviceInfo {
    QString name;
    QString writtenAs; ///< examples
    QString formats;
    QString range; ///< of a KV-8000
    QString what;
    bool isWritable = false;
};

/// All devices that tags can have, in the order of a help page.
KVLINK_API std::vector<DeviceInfo> deviceInfos();

/// A time as typed: "500ms", "2s", "1.5m", "1h", "30d", "250us"; not below 0. A number without a
/// unit is refused: nobody knows whether seconds or milliseconds were meant.
/// \param problem "'500' has no unit: write 500ms or 500s"; set on failure only
KVLINK_API std::optional<Duration> durationFromText(const QString &typed, QString &problem);

/// The shortest of these with at most one decimal, and always exact: "1.5s", "90s" is "1.5m",
/// "1234ms". Below 0 with a minus sign.
KVLINK_API QString durationText(Duration duration);

/// The name nearest to \a given, whatever the case of its letters; of several equally near the
/// first. A letter changed, added, missing, or two neighbours swapped count 1; one for every three
/// letters is near, at least one.
/// \return empty if none is near. Example: "raed" among {"read", "write"} -> "read"
KVLINK_API QString nearestName(const QString &given, const QStringList &names);

} // namespace kvlink
