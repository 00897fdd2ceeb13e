// SPDX-License-Identifier: MIT
// A sample: the value of a tag, how far it may be trusted, and the time of the answer
// that brought it.
#pragma once

#include "export.h"
#include "times.h"

#include <QMetaType>
#include <QString>
#include <QVariant>

#include <variant>
#include <vector>

namespace kvlink
{

/// One value: nothing, a bit, a whole number, a real number (floats, and whatever has a scale),
/// or a text.
using Scalar = std::variant<std::monostate, bool, qint64, double, QString>;

/// The value of a tag: a scalar, or one scalar for each place of a tag such as "DM100:10".
using Value = std::variant<std::monostate, bool, qint64, double, QString, std::vector<Scalar>>;

/// How far a value may be trusted.
enum class Quality : quint8 {
    Never,   ///< not read yet
    Good,    ///< read, and not older than three periods of its tag
    Stale,   ///< the last good value is older than that
    Bad,     ///< see the reason; the last good value and its time are kept
    Pending, ///< written and not read since
};

/// Why a sample is bad or a write did not end as done. More may come: keep a default.
enum class Reason : quint8 {
    None,
    // samples and writes
    NoLink,           ///< no link to the PLC
    NoAnswer,         ///< asked, and no answer within the time-out
    Corrupted,        ///< the answer does not have the shape that the request calls for
    PlcError,         ///< the PLC answered an error; see the code ("E0", "E1", ...)
    OutOfRange,       ///< the place lies past the end of the device
    NotRepresentable, ///< NaN or infinity, a text that its encoding does not know
    // writes only
    Offline,      ///< no link when the write was handed out, and it did not want to wait
    Expired,      ///< too old before it could be sent
    Cancelled,    ///< cancelled before it was sent
    Replaced,     ///< a newer value of the same tag took its place before it was sent
    NotPermitted, ///< the tag is read-only, or its device cannot be written
    InvalidValue, ///< the value does not fit the tag
    LinkLost,     ///< sent, then the link was lost
    PartlyDone,   ///< several requests were needed, and a later one was not confirmed
    Stopped,      ///< the link was stopped
    QueueFull,    ///< too many writes wait already
};

/// "good", "stale", "bad", "never", "pending".
KVLINK_API QString qualityName(Quality quality);

/// A sentence's worth for people: "no link", "no answer", ... Example: Reason::OutOfRange ->
/// "out of range".
KVLINK_API QString reasonText(Reason reason);

/// A value of a tag, what it is worth, and when it was true.
struct KVLINK_API Sample {
    Value value; ///< the last good value; std::monostate while there was none
    Quality quality = Quality::Never;
    Reason reason = Reason::None; ///< with Quality::Bad
    quint8 plcError = 0;          ///< with Reason::PlcError: 0 for "E0", 1 for "E1", ...
    WallTime time{}; ///< when the answer that brought the value was complete; the epoch while there was none
    SteadyTime steadyTime{}; ///< the same moment on the steady clock

    /// Show it and act on it; with any other quality, say so beside it.
    bool isGood() const { return quality == Quality::Good; }
    /// There has been a good value at some time.
    bool hasValue() const { return value.index() != 0; }

    /// Conversions of the value, whatever its quality; a list gives its first scalar.
    /// Nothing to convert: false, 0, NaN, an empty text.
    bool toBool() const;
    qint64 toInt() const;    ///< the nearest whole number
    double toDouble() const; ///< of a bit 0 or 1
    /// As kv-host shows it: "65535", "-1", "1.5", "text"; scalars of a list are separated by
    /// commas. A float has as many digits as bring back the same float.
    QString toText() const;
    /// bool, qlonglong, double, QString or QVariantList; invalid while there is no value.
    QVariant toVariant() const;
    /// Why the sample is bad, for people: "no link", "the PLC answered E0"; empty otherwise.
    QString reasonText() const;
};

} // namespace kvlink

Q_DECLARE_METATYPE(kvlink::Sample)
