// SPDX-License-Identifier: MIT
#include "exit_code.h"

#include <algorithm>

namespace kvhost
{

int exitCodeOf(kvlink::Reason reason)
{
    switch (reason) {
    case kvlink::Reason::None:
        return ExitGood;
    case kvlink::Reason::NoLink:
    case kvlink::Reason::Offline:
    case kvlink::Reason::LinkLost:
    case kvlink::Reason::Stopped:
        return ExitNoLink;
    case kvlink::Reason::NoAnswer:
    case kvlink::Reason::Corrupted:
        return ExitNoAnswer;
    case kvlink::Reason::PlcError:
        return ExitRefused;
    default:
        return ExitSomeBad;
    }
}

int exitCodeOf(kvlink::Outcome outcome)
{
    switch (outcome) {
    case kvlink::Outcome::Done:
        return ExitGood;
    case kvlink::Outcome::Refused:
        return ExitRefused;
    case kvlink::Outcome::NotSent:
        return ExitNoLink;
    case kvlink::Outcome::Unknown:
        return ExitNoAnswer;
    }
    return ExitSomeBad;
}

int exitCodeOf(const std::vector<int> &parts)
{
    if (parts.empty())
        return ExitGood;
    const bool areAlike =
        std::all_of(parts.begin(), parts.end(), [&](int part) { return part == parts.front(); });
    return areAlike ? parts.front() : int(ExitSomeBad);
}

} // namespace kvhost
