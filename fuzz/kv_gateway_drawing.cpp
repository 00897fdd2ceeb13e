// SPDX-License-Identifier: MIT
// Drawings: whatever is in the file, what is served is SVG that runs, fetches and styles nothing.
#include "drawings/drawing.h"
#include "require.h"

#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>

namespace
{

const QSet<QString> harmful{"script", "foreignObject", "image",   "a",     "style",           "iframe",
                            "set",    "animate",       "feImage", "video", "animateTransform"};

void checkAttribute(const QXmlStreamAttribute &attribute)
{
    const QString name = attribute.name().toString(), value = attribute.value().toString();
    require(!name.startsWith("on", Qt::CaseInsensitive), "nothing is run");
    require(name != "style" && name != "class", "nothing is styled by the page");
    require(name != "href" || value.startsWith("#page-"), "nothing is fetched by href");
    require(name != "id" || value.startsWith("page-"), "ids are apart from those of the page");
    if (name.startsWith("data-") || name == "font-family")
        return;
    require(!value.contains("src(", Qt::CaseInsensitive), "nothing is fetched by src()");
    if (value.contains("url", Qt::CaseInsensitive))
        require(value.startsWith("url(#page-") && value.count("url", Qt::CaseInsensitive) == 1 &&
                    !value.contains("image", Qt::CaseInsensitive),
                "nothing is fetched by url()");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const kvgateway::CheckedDrawing checked = kvgateway::checkDrawing("plant", bytes);
    const int lines = int(bytes.count('\n') + bytes.count('\r')) + 1;
    for (const kvgateway::DrawingFault &fault : checked.faults)
        require(fault.line >= 1 && fault.line <= lines && !fault.text.isEmpty(),
                "a fault has line and reason");
    QXmlStreamReader served(checked.drawing.svg);
    while (!served.atEnd()) {
        if (served.readNext() != QXmlStreamReader::StartElement)
            continue;
        require(!harmful.contains(served.name().toString()), "no harmful element is served");
        const QXmlStreamAttributes attributes = served.attributes();
        std::for_each(attributes.begin(), attributes.end(), checkAttribute);
    }
    if (checked.faults.empty())
        require(!served.hasError(), "a drawing without a fault is served as well-formed SVG");
    return 0;
}
