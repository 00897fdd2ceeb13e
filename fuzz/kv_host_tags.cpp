// SPDX-License-Identifier: MIT
// Tag files: each line becomes a tag or a fault with its number; nothing stops the reader.
#include "require.h"
#include "tags/tag_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const kvtags::TagFile file = kvtags::parseTags(bytes);
    const int lines = int(bytes.count('\n') + bytes.count('\r')) + 1;
    require(int(file.tags.size()) + int(file.faults.size()) <= 2 * lines,
            "no line is reported more than twice");
    for (const kvtags::TagFault &fault : file.faults)
        require(fault.line >= 1 && fault.line <= lines && !fault.why.isEmpty(),
                "a fault says its line and why");
    return 0;
}
