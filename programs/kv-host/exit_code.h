// How kv-host ends.
#pragma once

#include "station_watch.h"

namespace kvhost
{

enum ExitCode {
    EXIT_GOOD = 0,
    EXIT_SOME_BAD = 1,
    EXIT_USAGE = 2,
    EXIT_NO_LINK = 3, ///< no connection to the PLC; also: no driver library, no simulated PLC
    EXIT_NO_ANSWER = 4,
    EXIT_REFUSED = 5,     ///< by the PLC or by the write guard
    EXIT_BY_SIGNAL = 128, ///< plus the signal's number: 130 after Ctrl-C
};

/// Exit code when nothing at all came back, for this reason.
inline int exitCodeOf(Trouble trouble)
{
    switch (trouble) {
    case Trouble::None:
        return EXIT_GOOD;
    case Trouble::NoLink:
        return EXIT_NO_LINK;
    case Trouble::NoAnswer:
        return EXIT_NO_ANSWER;
    case Trouble::Refused:
        return EXIT_REFUSED;
    }
    return EXIT_SOME_BAD;
}

} // namespace kvhost
