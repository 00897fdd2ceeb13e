// SPDX-License-Identifier: MIT
// What the library says of itself before anything else is asked of it.
//
// Runs: on any thread, at any time, in a host with any Qt: nothing here touches Qt or the state of
//       the driver.
#include "Communication_Protocol.h"

static_assert(kvDriverAbi == 1, "the identity below ends in this number");

const char *KvDriverIdentity()
{
    return "Communication_Protocol " KV_DRIVER_VERSION " qt" QT_STRINGIFY(QT_VERSION_MAJOR) " abi1";
}

int KvDriverQtMajor()
{
    return QT_VERSION_MAJOR;
}

int KvDriverAbi()
{
    return kvDriverAbi;
}
