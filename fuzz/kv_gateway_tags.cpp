// SPDX-License-Identifier: MIT
// Tag files of kv-gateway: a line becomes a tag that the service can keep, or a problem.
#include "config/tag_list.h"
#include "require.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kvgateway;
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    PlcConfig plc;
    plc.name = QStringLiteral("line1");
    Problems problems;
    const auto file = kvtags::parseTags(bytes, kvtags::FileEncoding::Utf8, gatewayColumns());
    takeTags(plc, QStringLiteral("line1.csv"), file, std::chrono::seconds(1), problems);
    const int lines = int(bytes.count('\n') + bytes.count('\r')) + 1;
    for (const Problem &problem : problems)
        require(problem.line >= 0 && problem.line <= lines && !problem.text.isEmpty(),
                "a problem has a line and says what is wrong");
    for (const TagConfig &tag : plc.tags) {
        require(tag.name.startsWith(QLatin1String("line1.")) && !tag.name.contains(','),
                "a name can be asked for");
        require(tag.settings.period >= std::chrono::milliseconds(1), "a period is one");
        require(!tag.min || std::isfinite(*tag.min), "a limit is a number");
        require(!tag.min || !tag.max || *tag.min <= *tag.max, "something is within the limits");
    }
    return 0;
}
