// SPDX-License-Identifier: MIT
// Option values that need more than a number: addresses, delays, counts, first values for one PLC.
#pragma once

#include "shell/options.h"

#include <string>
#include <vector>

namespace kvsim
{

/// Options as they were typed.
struct OptionTexts {
    std::vector<std::string> tcp, udp, remote, control, controlAll, mostValues;
    std::string opening = "required";
    std::string negative = "refuse";
    std::string atWrite = "refuse";
    std::string triple = "comma";
    std::string delay;
    std::string clients;
    std::string cpuProgram = "present";
    int modelCode = -1;
};

/// \return empty, or what is wrong and with which option
std::string readOptionTexts(OptionTexts &texts, Options &options);

} // namespace kvsim
