// SPDX-License-Identifier: MIT
// Fuzzes the control connection of kv-sim: commands, faults, assignments and device ranges, one
// command a line.
#include "desk/control_desk.h"
#include "faults/fault_text.h"
#include "require.h"

namespace
{

kvsim::ControlHooks hooks()
{
    kvsim::ControlHooks hooks;
    hooks.save = [](const std::string &) { return std::string(); };
    hooks.load = [](const std::string &) { return std::string("nothing there"); };
    hooks.program = [](const std::string &) { return std::string(); };
    hooks.setScan = [](std::uint32_t) {};
    hooks.restart = [](std::uint32_t) { return std::string(); };
    hooks.listen = [](bool) { return std::string(); };
    hooks.disconnect = [] {};
    hooks.stop = [] {};
    return hooks;
}

// What a fault calls itself asks for the same fault again.
void requireFaultsReadable(kvsim::Simulator &simulator)
{
    for (const auto &entry : simulator.faults().entries()) {
        const std::string text = entry.fault.text();
        std::string problem;
        const auto again = kvsim::faultFromText(text, simulator.plc().rules().family, problem);
        require(again.has_value(), "a fault's own text is a fault");
        require(again->text == text, "a fault's own text is the same fault");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    kvsim::Rules rules;
    rules.family = kvsim::Family::Kv700; // the small memory is fast
    kvsim::Simulator simulator(rules);
    kvsim::ControlDesk desk(simulator, hooks());
    std::string_view text(reinterpret_cast<const char *>(data), size);
    for (int lines = 0; lines < 20 && !text.empty(); ++lines) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string answer = desk.run(text.substr(0, end));
        require(answer.substr(0, 2) == "ok" || answer.substr(0, 7) == "error: ",
                "an answer is ok or an error");
        require(answer.find_first_of("\r\n") == std::string::npos, "an answer is one line");
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    requireFaultsReadable(simulator);
    return 0;
}
