// SPDX-License-Identifier: MIT
// The check of the order of locks, in builds with assertions: what would be a deadlock ends the
// program with a line.
#include "in_flight.h"

#include <csignal>

namespace
{
#ifndef NDEBUG
using LockOrderDeathTest = Intake;

int notifyThatWrites(int, int, int, int)
{
    RW_VAR var;
    return AddListWriteVar(&var, 0); // callbacks run with listMutex held
}

TEST_F(LockOrderDeathTest, aLockWantedTwiceEndsTheProgram)
{
    RegistCallBackFuncIntf(notifyThatWrites, nullptr);
    writeInFlight();
    EXPECT_EXIT(answer("OK\r\n"), testing::KilledBySignal(SIGABRT),
                "lock order: rank 1 wanted while ranks 0x2 are held\n$");
}
#endif

using LockOrder = Intake;

int read = 0;

int notifyThatReads(int, int, int, int)
{
    QByteArray out;
    read = GetRegisterData(0, AREA_DM, QStringLiteral("0"), 1, &out, 1) + Ethernetcontains(1);
    return 0;
}

TEST_F(LockOrder, callbacksMayTakeTheLocksBehindTheLists)
{
    read = 0;
    RegistCallBackFuncIntf(notifyThatReads, nullptr);
    writeInFlight();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(read, 1);
}
} // namespace
