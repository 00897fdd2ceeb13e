// SPDX-License-Identifier: MIT
// The command line of kv-sim.
#pragma once

#include "plc/simulator.h"
#include "requests/rules.h"
#include "shell/address.h"
#include "shell/conversation.h"

#include <optional>
#include <string>
#include <vector>

namespace kvsim
{

constexpr int exitBadFile = 1; ///< --check found something wrong
constexpr int exitUsage = 2;
constexpr int exitLine = 3; ///< a port, a serial line or a file is not available

struct Options {
    std::vector<Address> tcp;
    std::vector<Address> udp;
    std::vector<Address> remote;
    std::vector<Address> control;
    std::vector<Address> controlAll;
    std::vector<std::string> serial;
    std::uint32_t baud = 0;
    Rules rules;
    std::string model = "KV-8000";
    std::vector<std::string> set;
    std::vector<std::string> faults;
    std::string load;
    std::string program;
    std::vector<std::string> check;
    std::string record;
    std::string replay;
    std::string save;
    std::uint32_t scanMs = 0;
    std::uint32_t cpuError = 0;
    int remoteSilenceMs = 300;
    DelaySettings delay;
    ClientLimit clients;
    int idleCloseMs = 0;
    bool writeProtected = false;
    bool programMissing = false;
    bool lfEndsLine = false;
    bool trace = false;
    bool exitWithStdin = false;
    int plcs = 1;
};

/// What the PLC of this number, counted from 0, is given: its own ports and its own first values.
Options optionsOf(const Options &all, int plc);

/// \param[out] exitCode  if nothing is returned; help, version, or what is wrong has
/// been printed then
std::optional<Options> parseOptions(int argc, char **argv, int &exitCode);

} // namespace kvsim
