// SPDX-License-Identifier: MIT
#include "page_list.h"

#include "tag_use.h"

#include "drawings/drawing_folder.h"

#include <kvlink/text.h>

#include <QHash>

#include <algorithm>

namespace kvgateway
{

namespace
{

struct KnownTag {
    const TagConfig *tag = nullptr;
    const PlcConfig *plc = nullptr;
};
using TagsByName = QHash<QString, KnownTag>;

TagsByName tagsOf(const Config &config)
{
    TagsByName tags;
    for (const PlcConfig &plc : config.plcs) {
        for (const TagConfig &tag : plc.tags)
            tags.insert(tag.name, {&tag, &plc});
    }
    return tags;
}

// \return empty: the tag is there, and can do what is asked of it
QString useProblem(const TagUse &use, const TagsByName &tags)
{
    const KnownTag known = tags.value(use.tag);
    if (known.tag != nullptr)
        return tagUseProblem(use, *known.tag, known.plc->link);
    const QString near = kvlink::nearestName(use.tag, tags.keys());
    return QStringLiteral("there is no tag \"%1\"%2")
        .arg(use.tag, near.isEmpty() ? QString() : QStringLiteral("; did you mean \"%1\"?").arg(near));
}

} // namespace

bool readPages(Config &config, const QString &folder, Problems &problems, QString &problem)
{
    std::vector<FolderDrawing> drawings = readDrawings(folder, problem);
    const TagsByName tags = tagsOf(config);
    for (FolderDrawing &one : drawings) {
        const auto before = Problems::difference_type(problems.size());
        for (const DrawingFault &fault : one.checked.faults)
            problems.push_back({one.file, fault.line, 0, fault.text});
        for (const TagUse &use : one.checked.tags) {
            const QString text = useProblem(use, tags);
            if (!text.isEmpty())
                problems.push_back({one.file, use.line, 0, text});
        }
        std::stable_sort(
            problems.begin() + before, problems.end(),
            [](const Problem &first, const Problem &second) { return first.line < second.line; });
        config.pages.push_back(std::move(one.checked.drawing));
    }
    return problem.isEmpty();
}

} // namespace kvgateway
