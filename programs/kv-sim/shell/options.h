// The command line of kv-sim.
#pragma once

#include "address.h"
#include "rules.h"
#include "simulator.h"

#include <string>
#include <vector>

constexpr int exitUsage = 2;
constexpr int exitLine = 3; // a port or a serial line cannot be had, or a file not be read or written

struct Options {
    std::vector<Address> tcp;
    std::vector<Address> udp;
    std::vector<Address> remote;
    std::vector<Address> control;
    std::vector<std::string> serial;
    std::uint32_t baud = 0;
    kvsim::Rules rules;
    std::string model = "KV-8000";
    std::vector<std::string> set;
    std::vector<std::string> faults;
    std::string load;
    std::string save;
    std::uint32_t scanMs = 0;
    std::uint32_t cpuError = 0;
    int remoteSilenceMs = 300;
    kvsim::AnswerDelay delay;
    bool lfEndsLine = false;
    bool trace = false;
    bool exitWithStdin = false;
    int plcs = 1;
};

/// What the PLC of this number, counted from 0, is given: its own ports and its own first values.
Options optionsOf(const Options &all, int plc);

/// \return -1 to go on, else the exit code: help and version were printed, or a message about what was wrong
int parseOptions(int argc, char **argv, Options &options);
