// SPDX-License-Identifier: MIT
// Fuzzes the memory file of kv-sim: a text is taken or refused as a whole, and what was taken is
// written and read back the same.
#include "devices/memory_file.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QByteArray json(reinterpret_cast<const char *>(data), int(size));
    const kvsim::Family family = kvsim::Family::Kv700; // the small memory is fast
    QString problem;
    const auto memory = kvsim::memoryFromJson(json, family, problem);
    require(memory.has_value() == problem.isEmpty(), "a refused text has a reason");
    if (!memory)
        return 0;
    const auto again = kvsim::memoryFromJson(kvsim::memoryToJson(*memory, "KV-700"), family, problem);
    require(again.has_value(), "what was written can be read");
    require(*again == *memory, "what was written is read back the same");
    return 0;
}
