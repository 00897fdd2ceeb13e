// Tag files: each line becomes a tag or a fault with its number; nothing stops the reader.
#include "tags_csv.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const kvhost::TagFile file = kvhost::parseTags(bytes);
    const int lines = bytes.count('\n') + bytes.count('\r') + 1;
    if (int(file.tags.size()) + file.faults.size() > 2 * lines)
        std::abort();
    for (const kvhost::TagFault &fault : file.faults) {
        if (fault.line < 1 || fault.line > lines || fault.why.isEmpty())
            std::abort();
    }
    return 0;
}
