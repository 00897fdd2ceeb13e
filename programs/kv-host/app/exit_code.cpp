// SPDX-License-Identifier: MIT
#include "exit_code.h"

#include <algorithm>

namespace kvhost
{

int exitCodeOf(kvlink::Reason reason)
{
    switch (reason) {
    case kvlink::Reason::None:
        return exitGood;
    case kvlink::Reason::NoLink:
    case kvlink::Reason::Offline:
    case kvlink::Reason::LinkLost:
    case kvlink::Reason::Stopped:
        return exitNoLink;
    case kvlink::Reason::NoAnswer:
    case kvlink::Reason::Corrupted:
        return exitNoAnswer;
    case kvlink::Reason::PlcError:
        return exitRefused;
    default:
        return exitSomeBad;
    }
}

int exitCodeOf(kvlink::Outcome outcome)
{
    switch (outcome) {
    case kvlink::Outcome::Done:
        return exitGood;
    case kvlink::Outcome::Refused:
        return exitRefused;
    case kvlink::Outcome::NotSent:
        return exitNoLink;
    case kvlink::Outcome::Unknown:
        return exitNoAnswer;
    }
    return exitSomeBad;
}

int exitCodeOf(const std::vector<int> &parts)
{
    if (parts.empty())
        return exitGood;
    const bool areAlike =
        std::all_of(parts.begin(), parts.end(), [&](int part) { return part == parts.front(); });
    return areAlike ? parts.front() : int(exitSomeBad);
}

} // namespace kvhost
