// SPDX-License-Identifier: MIT
#include "fault_dice.h"

#include <iterator>

namespace soak
{
namespace
{
// On purpose without "foreign": an answer of exactly the right shape that belongs to another
// request is beyond what any host can notice.
const char *const faults[] = {
    "silent",       "late:5",    "late:60",     "late:400",     "error:E0", "error:E1",    "error:E4",
    "error:E5",     "short",     "short:2",     "long",         "long:7",   "torn",        "torn:3",
    "garbled",      "garbled:1", "doubled",     "split",        "split:2",  "slow:1",      "slow:3",
    "close:before", "close:in",  "close:after", "reset:before", "reset:in", "reset:after", "forget",
};

// Rarer: a host waits ever longer, up to 5 s, while it finds nobody.
const char *const connectionFaults[] = {"refuse", "blackhole", "second"};

const char *const commands[] = {"", "", "", " cmd WRS", " cmd RDS", " cmd ST,RS", " cmd CR"};

bool delays(const QByteArray &fault)
{
    return fault.startsWith("late") || fault.startsWith("slow") || fault.startsWith("split");
}

} // namespace

// On purpose no delays beside doubled answers: a copy that comes only after the next request was
// sent cannot be told from its answer.
std::vector<QByteArray> FaultDice::draw()
{
    std::vector<QByteArray> all;
    bool delayed = false, doubled = false;
    for (int count = between(1, 3); count > 0; --count) {
        QByteArray fault = faults[between(0, int(std::size(faults)) - 1)];
        if ((delays(fault) && doubled) || (fault == "doubled" && delayed))
            continue;
        delayed = delayed || delays(fault);
        doubled = doubled || fault == "doubled";
        fault += when();
        fault += commands[between(0, int(std::size(commands)) - 1)];
        all.push_back(fault);
    }
    if (between(0, 4) == 0) {
        const QByteArray fault = connectionFaults[between(0, int(std::size(connectionFaults)) - 1)];
        all.push_back(fault + " next " + QByteArray::number(between(1, 2)));
    }
    return all;
}

QByteArray FaultDice::when()
{
    switch (between(0, 3)) {
    case 0:
        return " next " + QByteArray::number(between(1, 6));
    case 1:
        return " every " + QByteArray::number(between(2, 12)) + " times " +
               QByteArray::number(between(1, 10));
    default:
        return " prob 0." + QByteArray::number(between(1, 4)) + " seed " +
               QByteArray::number(between(1, 1000000)) + " times " + QByteArray::number(between(1, 12));
    }
}
} // namespace soak
