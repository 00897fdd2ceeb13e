// SPDX-License-Identifier: MIT
#include "page_list.h"

#include "drawings/drawing_folder.h"

#include <kvlink/text.h>

#include <QHash>

#include <algorithm>

namespace kvgateway
{

namespace
{

using TagsByName = QHash<QString, const TagConfig *>;

TagsByName tagsOf(const Config &config)
{
    TagsByName tags;
    for (const PlcConfig &plc : config.plcs) {
        for (const TagConfig &tag : plc.tags)
            tags.insert(tag.name, &tag);
    }
    return tags;
}

// \return empty: the tag is there, and can do what is asked of it
QString useProblem(const TagUse &use, const TagsByName &tags)
{
    const TagConfig *tag = tags.value(use.tag);
    if (tag != nullptr && !use.button.isEmpty() && tag->settings.access != kvlink::Access::ReadWrite)
        return QStringLiteral("\"%1\" is read-only, and this is a button").arg(use.tag);
    if (tag != nullptr && use.button == QLatin1String("press") && !tag->isBit())
        return QStringLiteral("\"%1\" is not a relay or a bit of a word, and only these can be pressed")
            .arg(use.tag);
    if (tag != nullptr)
        return {};
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
