// SPDX-License-Identifier: MIT
// The variables and functions of the host. The program exports them all, as a host with plug-ins
// does, so that the loader finds them before those of the driver.
#include "host_names.h"

#include <cstring>

// NOLINTBEGIN(readability-identifier-naming)
// The driver's objects, by name.
int handshake = 7;
void *LB = &handshake;
void *LW = &LB;
void *RWI = &LW;
char PLC_driver[8] = "PLC 1";
int DataStorage = 9;

namespace
{
int taken = 0;
} // namespace

// The driver's functions, by name and argument types.
int getPlcReg(int area)
{
    ++taken;
    return area;
}

int Ethernetcontains(int /*station*/)
{
    return ++taken;
}

int SwitchErrorReturn(int /*base*/)
{
    return ++taken;
}

extern "C" {
int PLCAddressChangeIntef()
{
    return ++taken;
}

int EnableEthernet()
{
    return ++taken;
}
}
// NOLINTEND(readability-identifier-naming)

bool hostnames::areUntouched()
{
    return handshake == 7 && LB == &handshake && LW == &LB && RWI == &LW &&
           std::strcmp(PLC_driver, "PLC 1") == 0 && DataStorage == 9;
}

int hostnames::callsTaken()
{
    return taken;
}
