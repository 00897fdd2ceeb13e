// SPDX-License-Identifier: MIT
#include "page_list.h"

#include "tag_use.h"

#include "drawings/drawing_folder.h"
#include "text/near_name.h"

#include <QHash>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr int mostProblems = 20; // of a drawing: the rest is as wrong as these
constexpr int mostSought = 20;   // tags that are not there, of all drawings: a search takes some ms

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

// What drawings ask of tags, one after the other.
class UseChecker
{
public:
    explicit UseChecker(const Config &config) : m_tags(tagsOf(config)), m_names(m_tags.keys()) {}

    // \return empty: the tag is there, and can do what is asked of it
    QString problem(const TagUse &use)
    {
        const KnownTag known = m_tags.value(use.tag);
        if (known.tag != nullptr)
            return tagUseProblem(use, *known.tag, known.plc->link);
        const bool isSought = ++m_unknown <= mostSought;
        return QStringLiteral("there is no tag \"%1\"%2")
            .arg(use.tag, isSought ? didYouMean(use.tag, m_names) : QString());
    }

private:
    const TagsByName m_tags;
    const QStringList m_names;
    int m_unknown = 0;
};

} // namespace

bool readPages(Config &config, const QString &folder, Problems &problems, QString &problem)
{
    std::vector<FolderDrawing> drawings = readDrawings(folder, problem);
    UseChecker checker(config);
    for (FolderDrawing &one : drawings) {
        const auto before = Problems::difference_type(problems.size());
        for (const DrawingFault &fault : one.checked.faults)
            problems.push_back({one.file, fault.line, 0, fault.text});
        for (const TagUse &use : one.checked.tags) {
            if (int(problems.size() - std::size_t(before)) >= mostProblems)
                break;
            const QString text = checker.problem(use);
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
