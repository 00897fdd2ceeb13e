// SPDX-License-Identifier: MIT
// Fuzzes the program files of kv-sim: a text is taken, or refused with its line; what was taken
// runs the same every time.
#include "require.h"
#include "scan/program_text.h"
#include "scan/table_program.h"

namespace
{

kvsim::DeviceMemory afterScans(kvsim::TableProgram program, const kvsim::Rules &rules)
{
    kvsim::DeviceMemory memory(rules.family);
    const kvsim::Device &relays = *kvsim::deviceNamed("R");
    for (unsigned scan = 0; scan < 20; ++scan) {
        memory.setValue(relays, scan % 3, kvsim::Format::Bit, scan % 2);
        program.scan(memory);
    }
    return memory;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    kvsim::Rules rules;
    rules.family = kvsim::Family::Kv700; // the small memory is fast
    std::string problem;
    const auto rows = kvsim::programFromText({reinterpret_cast<const char *>(data), size}, rules, problem);
    require(rows.has_value() == problem.empty(), "a refused text has a reason");
    if (!rows) {
        require(problem.rfind("line ", 0) == 0 || problem.rfind("there is no row", 0) == 0,
                "a reason names its line");
        return 0;
    }
    kvsim::TableProgram program(*rows);
    const kvsim::DeviceMemory once = afterScans(program, rules);
    require(once == afterScans(program, rules), "a program runs the same every time");
    return 0;
}
