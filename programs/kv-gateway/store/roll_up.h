// SPDX-License-Identifier: MIT
// Minimum, maximum and mean of stretches of time, from rows that say when a value changed.
//
// A value holds until the next row of its tag. The mean is weighted by the time for which each
// value held: rows come on change, so a mean by count would show the value that flickers, not the
// one that lasted. A row without a good number ends the value before it; what follows is a gap.
#pragma once

#include <QtGlobal>

#include <functional>
#include <optional>

namespace kvgateway
{

constexpr qint64 minuteMs = 60'000;
constexpr qint64 hourMs = 3'600'000;

/// One stretch. Times are milliseconds.
struct Bucket {
    double min = 0, max = 0, mean = 0; ///< only with a number, see isEmpty()
    qint64 good = 0;                   ///< for how long a number held
    qint64 count = 0;                  ///< rows with a number
    std::optional<double> last;        ///< holds at the end of the stretch

    bool isEmpty() const { return good == 0 && count == 0; }
    /// \a value held for \a ms more.
    void hold(double value, qint64 ms);
    /// A row brought \a value.
    void take(double value);
    /// Adds what another stretch knows; `last` is the other's.
    void add(const Bucket &other);

private:
    void widen(double value);
};

/// What holds since when.
struct Tip {
    qint64 time = 0;
    std::optional<double> value;
};

/// The start of the stretch around \a ms; stretches count from the epoch. Example: 61,500 with
/// a width of
/// 60,000 gives 60,000.
qint64 bucketStart(qint64 ms, qint64 width);

/// Distributes the rows of one tag, in the order in which they came, over stretches.
class RollUp
{
public:
    enum class Between : quint8 {
        Skip, ///< stretches without a row get nothing: they have the `last` of the one before
        Fill, ///< they are there
    };
    using BucketAt = std::function<Bucket &(qint64 start)>;

    /// \param at finds or makes the bucket that begins at \a start
    RollUp(qint64 width, Between between, BucketAt at, Tip tip)
        : m_width(width), m_between(between), m_at(std::move(at)), m_tip(tip)
    {
    }

    /// \param value none: not a good number
    void take(qint64 time, std::optional<double> value);
    /// Nothing new came until \a time. Nothing happens if that is not after the last row.
    void advance(qint64 time);
    /// From here on this holds, whatever came before.
    void setTip(const Tip &tip) { m_tip = tip; }
    const Tip &tip() const { return m_tip; }

private:
    void hold(qint64 from, qint64 to);

    qint64 m_width;
    Between m_between;
    BucketAt m_at;
    Tip m_tip;
};

} // namespace kvgateway
