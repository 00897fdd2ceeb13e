// SPDX-License-Identifier: MIT
// Prints why a link cannot be made, or "made": the driver is found, loaded and asked who it is.
#include <kvlink/plc.h>

#include <cstdio>

int main()
{
    const kvlink::Plc plc("tcp://127.0.0.1");
    std::puts(plc.problem().isEmpty() ? "made" : qPrintable(plc.problem()));
}
