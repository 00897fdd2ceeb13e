// Fuzzes the memory file of kv-sim: a text is taken whole or refused whole, and what was taken is written and
// read back the same.
#include "memory_file.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QByteArray json(reinterpret_cast<const char *>(data), int(size));
    const kvsim::DeviceMemory empty(kvsim::Family::Kv700); // the small memory is fast
    kvsim::DeviceMemory memory = empty;
    if (!kvsim::memoryFromJson(json, memory).isEmpty()) {
        require(memory == empty, "a refused text changes nothing");
        return 0;
    }
    kvsim::DeviceMemory again = empty;
    require(kvsim::memoryFromJson(kvsim::memoryToJson(memory, "KV-700"), again).isEmpty(),
            "what was written can be read");
    require(again == memory, "what was written is read back the same");
    return 0;
}
