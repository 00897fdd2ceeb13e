#include "fault_plan.h"

#include "fault_text.h"
#include "remote_area.h"
#include "vices.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::size_t mostFaults = 1000;

bool overlap(const DeviceSpan &a, const DeviceSpan &b)
{
    return a.device == b.device && a.first <= b.last && b.first <= a.last;
}

} // namespace

std::string Fault::parse(std::string_view text, Fault &fault)
{
    return FaultText(text).into(fault);
}

bool Fault::onConnections() const
{
    return viceRow(strike_.vice).onConnections;
}

bool Fault::matches(const Asked &asked) const
{
    const bool remote = asked.word == remoteReadWord || asked.word == remoteWriteWord;
    if (remote && strike_.vice == Vice::Forget)
        return false; // remote-area requests know no opening
    if (!words_.empty() && std::find(words_.begin(), words_.end(), asked.word) == words_.end())
        return false;
    return !span_ || (asked.span && overlap(*span_, *asked.span));
}

bool Fault::due()
{
    switch (when_) {
    case When::Always:
    case When::Next: // wears off after N strikes
        return true;
    case When::Every:
        return seen_ % period_ == 0;
    case When::Probability:
        // Compared by hand: distributions differ between standard libraries, a seed must not.
        return static_cast<double>(random_()) / 4294967296.0 < probability_;
    }
    return false;
}

bool Fault::strikes()
{
    if (wornOff())
        return false;
    ++seen_;
    if (!due())
        return false;
    ++done_;
    return true;
}

bool Fault::wornOff() const
{
    return (when_ == When::Next && done_ >= period_) || (times_ && done_ >= *times_);
}

std::string FaultPlan::add(std::string_view text, int &id)
{
    Fault fault;
    std::string wrong = Fault::parse(text, fault);
    if (!wrong.empty())
        return wrong;
    std::erase_if(entries_, [this](const Entry &entry) {
        return entries_.size() >= mostFaults && entry.fault.wornOff();
    });
    if (entries_.size() >= mostFaults)
        return "there are " + std::to_string(mostFaults) + " faults already; clear some first";
    id = ++lastId_;
    entries_.push_back({id, std::move(fault)});
    return {};
}

bool FaultPlan::remove(int id)
{
    return std::erase_if(entries_, [id](const Entry &entry) { return entry.id == id; }) > 0;
}

void FaultPlan::strikeWith(Fault &fault, std::vector<Strike> &strikes)
{
    if (!fault.strikes())
        return;
    strikes.push_back(fault.strike());
    ++done_[viceName(fault.strike().vice)];
}

std::vector<Strike> FaultPlan::strike(const Asked &asked)
{
    std::vector<Strike> strikes;
    for (Entry &entry : entries_)
        if (!entry.fault.onConnections() && entry.fault.matches(asked))
            strikeWith(entry.fault, strikes);
    return strikes;
}

std::vector<Strike> FaultPlan::strikeConnection(bool othersOpen)
{
    std::vector<Strike> strikes;
    for (Entry &entry : entries_) {
        const bool second = entry.fault.strike().vice == Vice::Second;
        if (entry.fault.onConnections() && (othersOpen || !second))
            strikeWith(entry.fault, strikes);
    }
    return strikes;
}

} // namespace kvsim
