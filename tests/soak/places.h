// SPDX-License-Identifier: MIT
// What a soak writes: places in a PLC by kinds of devices, in slots that do not overlap, and what
// each of them may hold after a round, by how each write ended.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

namespace soak
{
/// A kind of place: how kv-host and the simulated PLC write it.
struct Kind {
    const char *host;    ///< address for kv-host; %1 becomes the number
    const char *plc;     ///< device for the PLC's control connection
    bool hexadecimal;    ///< the number
    int first;           ///< number of the first slot
    int count;           ///< how many there are
    int most;            ///< elements of one write
    unsigned highest;    ///< value
    int field;           ///< of a triple in the PLC's answer; -1: plain values
    bool single = false; ///< bits of one word, each in a write of its own
};

/// One element of the PLC.
struct Element {
    int station = 0;
    int kind = 0;
    int number = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it compares with is no pointer
    auto operator<=>(const Element &) const = default;
};

/// One write: "1/DM100:2=5,6", and what it sets.
struct Write {
    struct Set {
        Element element;
        unsigned mask, value;
    };
    QString text;
    int station = 0;
    std::vector<Set> sets;

    /// "DM100:2"
    QString address() const { return text.section('/', 1).section('=', 0, 0); }
    /// "5,6"
    QString typed() const { return text.section('=', 1); }
};

/// How a write ended, as it was reported.
enum class End {
    Done,     ///< it is there
    NotThere, ///< refused or not sent: it is not
    Unknown,  ///< it may be there
};

class Places
{
public:
    /// Answers "get DEVICE COUNT" of a station's PLC.
    using Get = std::function<QByteArray(int station, const QByteArray &devices)>;

    Places(std::vector<int> stations, unsigned seed);

    /// Writes to all slots, each in its full length: a host keeps something for each place that it
    /// has ever written, and is not to be blamed for that later.
    std::vector<Write> drawAll();

    /// Writes to some slots, each at most once but for now and then one that is written twice
    /// in a row.
    std::vector<Write> draw(int writes);

    /// Looks into the PLCs. \return what is not as it must be, one line each
    QStringList check(const std::vector<Write> &writes, const std::vector<End> &ends, const Get &get);

    /// Elements that were compared since the beginning.
    long compared() const { return m_compared; }

    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_dice); }

private:
    struct Slot {
        int station, kind, number; ///< of its first element; one element on either side belongs to it
    };

    static Slot slotOf(int station, int kind, int slot);
    void drawInto(const Slot &slot, std::vector<Write> &writes);
    Write words(const Slot &slot, int count);
    Write bit(const Slot &slot, int bitNumber);
    unsigned held(const Element &element) const { return m_held.at(element); }
    std::vector<unsigned> read(const Slot &slot, const Get &get) const;

    std::vector<int> m_stations;
    std::mt19937 m_dice;
    std::vector<Slot> m_slots; ///< of this round
    /// At the end of the last round. All places from the beginning: what watches for growth
    /// must not grow.
    std::map<Element, unsigned> m_held;
    long m_compared = 0;
};
} // namespace soak
