// SPDX-License-Identifier: MIT
// The commands. Each returns the exit code of the program.
#pragma once

#include "app/app.h"

namespace kvhost
{

int runRead(App &app);
int runWrite(App &app);
int runWatch(App &app);
int runLog(App &app);
int runInfo(App &app);
int runPlan(App &app);
int runCheck(App &app);
int runStats(App &app);
int runBench(App &app);
int runAreas(App &app);

} // namespace kvhost
