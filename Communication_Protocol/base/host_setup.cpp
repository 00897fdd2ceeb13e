// SPDX-License-Identifier: MIT
// What a host calls once, before its exchange loop starts.
#include "Communication_Protocol.h"

void SetComInfo(ComInfo *block)
{
    if (block == nullptr)
        return;
    block->stateWord13 = 0;
    block->stateWord10 = 0;
    PLC_driver.comInfo = block;
}

void RegistCallBackFuncIntf(NotifyCallback notify, ErrorCallback error)
{
    PLC_driver.notifyCallback = notify;
    PLC_driver.errorCallback = error;
}

void FlashLocalRegister(void *lb, void *lw, void *rwi)
{
    LB = lb;
    LW = lw;
    RWI = rwi;
}

int QueryFinishFlag()
{
    return 1;
}

int getOffsetAddress(int /*address*/)
{
    return 0;
}
