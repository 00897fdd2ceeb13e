// The vices of the simulated PLC: which of them strike which request.
//
// A fault is asked for as text:
//   NAME[:ARGUMENT] [every N | next N | prob P [seed S]] [times M] [cmd WORD[,WORD...]] [dev RANGE]
// Every fault counts the requests (or connections) that match its filters, and strikes by its own count;
// several may strike the same request. After `next N`, or after `times M` strikes, it has worn off.
#pragma once

#include "device_table.h"

#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

enum class Vice {
    Silent,
    Late,
    Error,
    Short,
    Long,
    Torn,
    Garbled,
    Doubled,
    Foreign,
    Split,
    Slow,
    Close,
    Reset,
    Forget,
    // These strike connections, not requests.
    Refuse,
    Blackhole,
    Second,
};

enum class Moment { Before, In, After }; // of an answer

/// One strike.
struct Strike {
    Vice vice = Vice::Silent;
    std::uint32_t number = 0; // milliseconds, bytes, or a position, as the vice needs it
    std::string code;         // the answer of Error
    Moment moment = Moment::Before;
};

struct DeviceSpan {
    const Device *device = nullptr;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// What a request asks for, as far as filters look at it.
struct Asked {
    std::string_view word;
    std::optional<DeviceSpan> span;
};

class Fault
{
public:
    /// \return empty, or what is wrong with the text
    static std::string parse(std::string_view text, Fault &fault);

    bool onConnections() const;
    bool matches(const Asked &asked) const;
    /// Counts one matching request; true if the fault strikes it.
    bool strikes();
    bool wornOff() const;

    const Strike &strike() const { return strike_; }
    std::uint64_t done() const { return done_; }
    /// As it was asked for, with the seed that is used: "garbled:3 prob 0.5 seed 7".
    const std::string &text() const { return text_; }

private:
    enum class When { Always, Every, Next, Probability };
    friend class FaultText;

    bool due();

    Strike strike_;
    When when_ = When::Always;
    std::uint32_t period_ = 1;
    double probability_ = 1;
    std::optional<std::uint32_t> seed_;
    std::optional<std::uint32_t> times_;
    std::vector<std::string> words_;
    std::optional<DeviceSpan> span_;
    std::string text_;
    std::mt19937 random_;
    std::uint64_t seen_ = 0;
    std::uint64_t done_ = 0;
};

class FaultPlan
{
public:
    struct Entry {
        int id;
        Fault fault;
    };

    /// \param[out] id  number of the new fault
    /// \return empty, or what is wrong with the text
    std::string add(std::string_view text, int &id);
    bool remove(int id);
    void clear() { entries_.clear(); }

    /// All that strike this request.
    std::vector<Strike> strike(const Asked &asked);
    /// All that strike a new connection; Second only strikes when others are open.
    std::vector<Strike> strikeConnection(bool othersOpen);

    const std::vector<Entry> &entries() const { return entries_; }
    /// Strikes by name since the start or the last reset, of removed faults too.
    const std::map<std::string, std::uint64_t> &done() const { return done_; }
    void resetCounts() { done_.clear(); }

private:
    void strikeWith(Fault &fault, std::vector<Strike> &strikes);

    std::vector<Entry> entries_;
    std::map<std::string, std::uint64_t> done_;
    int lastId_ = 0;
};

const char *viceName(Vice vice);

/// Names with their arguments, for help and messages.
std::string viceList();

} // namespace kvsim
