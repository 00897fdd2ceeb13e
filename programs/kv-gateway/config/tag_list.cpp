// SPDX-License-Identifier: MIT
#include "tag_list.h"

#include <kvlink/text.h>

#include <algorithm>
#include <cmath>

namespace kvgateway
{

namespace
{

enum Extra { Period, Group, History, Min, Max, OnChange, Confirm, Button };

constexpr kvlink::Duration shortestPeriod = std::chrono::milliseconds(1);
constexpr kvlink::Duration longestPeriod = std::chrono::hours(24);
constexpr int longestName = 200;

// What separates names in a request, and what patterns are made of.
bool isOutOfPlace(QChar c)
{
    return c == ',' || c == '*' || c == '?' || !c.isPrint();
}

// One line of the file on its way to a tag of the service.
class TagLine
{
public:
    TagLine(const kvtags::Variable &variable, const QString &plc, kvlink::Duration period)
        : m_variable(variable), m_plc(plc), m_period(period)
    {
    }

    // \return none with a problem
    std::optional<TagConfig> tag(QString &problem)
    {
        TagConfig tag;
        tag.settings = m_variable.settings;
        tag.name = m_plc + "." + m_variable.settings.name;
        tag.group = cell(Group);
        tag.comment = m_variable.comment;
        takeKind(tag);
        tag.count = m_variable.address.values();
        takeName(problem);
        takeAccess(problem);
        takePeriod(tag, problem);
        takeYesOrNo("history", History, tag.history, problem);
        takeLimits(tag, problem);
        takeOnChange(tag, problem);
        takeYesOrNo("confirm", Confirm, tag.confirm, problem);
        takeButton(tag, problem);
        if (!problem.isEmpty())
            return std::nullopt;
        tag.name.squeeze(); // for as long as the service runs, 100,000 times
        tag.settings.address.squeeze();
        return tag;
    }

private:
    QString cell(Extra column) const { return m_variable.extras.value(column); }

    // With a scale or an offset kvlink shows and takes decimal numbers, whatever the format.
    void takeKind(TagConfig &tag) const
    {
        tag.kind = m_variable.address.kind();
        if (tag.kind == kvlink::ValueKind::Hex && m_variable.isScaled())
            tag.kind = kvlink::ValueKind::Real;
        if (tag.kind == kvlink::ValueKind::Hex)
            tag.digits = int(m_variable.address.shown(kvlink::Value(qint64(0))).size());
    }

    void takeName(QString &problem) const
    {
        const QString &name = m_variable.settings.name;
        if (m_variable.station >= 0)
            problem =
                QStringLiteral("'%1' has a station: a tag file belongs to one PLC; leave the station out")
                    .arg(name);
        else if (name.size() > longestName)
            problem = QStringLiteral("a name has at most %1 characters").arg(longestName);
        else if (std::any_of(name.begin(), name.end(), isOutOfPlace))
            problem = QStringLiteral("the name '%1' has a comma, '*', '?' or a character that cannot be seen")
                          .arg(name);
    }

    void takeAccess(QString &problem) const
    {
        if (problem.isEmpty() && m_variable.settings.access == kvlink::Access::ReadWrite &&
            !m_variable.address.isWritable())
            problem = QStringLiteral("rw: %1 is a contact, which follows its timer or counter and cannot be "
                                     "written; say r, or leave the cell empty")
                          .arg(m_variable.address.name());
    }

    void takePeriod(TagConfig &tag, QString &problem) const
    {
        tag.settings.period = m_period;
        const QString typed = cell(Period);
        if (typed.isEmpty() || !problem.isEmpty())
            return;
        const auto period = kvlink::durationFromText(typed, problem);
        if (!period)
            problem = "period: " + problem;
        else if (*period < shortestPeriod || *period > longestPeriod)
            problem = QStringLiteral("period '%1': from 1ms to 24h is possible").arg(typed);
        else
            tag.settings.period = *period;
    }

    void takeYesOrNo(const char *name, Extra column, bool &answer, QString &problem) const
    {
        const QString typed = cell(column).toLower();
        if (typed.isEmpty() || !problem.isEmpty())
            return;
        answer = typed == "yes" || typed == "1";
        if (!answer && typed != "no" && typed != "0")
            problem =
                QStringLiteral("%1 '%2': yes or no is expected").arg(QString::fromLatin1(name), cell(column));
    }

    void takeLimit(const char *name, Extra column, std::optional<double> &limit, QString &problem) const
    {
        const QString typed = cell(column);
        if (typed.isEmpty() || !problem.isEmpty())
            return;
        const auto kind = m_variable.address.kind();
        bool ok = false;
        const double number = QString(typed).replace(',', '.').toDouble(&ok);
        if (!ok || !std::isfinite(number))
            problem = QStringLiteral("%1 '%2' is not a number").arg(QString::fromLatin1(name), typed);
        else if (kind == kvlink::ValueKind::Bit || kind == kvlink::ValueKind::Text)
            problem = QStringLiteral("%1 has no meaning for %2, which is not a number: leave it empty")
                          .arg(QString::fromLatin1(name), m_variable.address.name());
        limit = number;
    }

    void takeLimits(TagConfig &tag, QString &problem) const
    {
        takeLimit("min", Min, tag.min, problem);
        takeLimit("max", Max, tag.max, problem);
        if (problem.isEmpty() && tag.min && tag.max && *tag.min > *tag.max)
            problem = QStringLiteral("min %1 is above max %2").arg(cell(Min), cell(Max));
    }

    void takeOnChange(TagConfig &tag, QString &problem) const
    {
        bool isOnChange = true;
        takeYesOrNo("on_change", OnChange, isOnChange, problem);
        tag.settings.everySample = !isOnChange;
        if (problem.isEmpty() && !isOnChange && tag.settings.deadband > 0.0)
            problem =
                QStringLiteral("on_change 'no' reports every answer, and a deadband leaves answers out: "
                               "take one of them");
    }

    void takeButton(TagConfig &tag, QString &problem) const
    {
        takeYesOrNo("button", Button, tag.button, problem);
        if (!problem.isEmpty() || !tag.button)
            return;
        if (!m_variable.address.isBit())
            problem = QStringLiteral("button: %1 is not a single bit, so it cannot be on while it is held")
                          .arg(m_variable.address.name());
        else if (tag.settings.access == kvlink::Access::ReadOnly)
            problem = QStringLiteral("button: %1 is read-only; say rw, or leave the column empty")
                          .arg(m_variable.settings.name);
        else if (tag.confirm)
            problem = QStringLiteral("a button acts as long as it is held, and cannot ask first: take "
                                     "confirm or button");
    }

    const kvtags::Variable &m_variable;
    const QString &m_plc;
    kvlink::Duration m_period;
};

} // namespace

QStringList gatewayColumns()
{
    return {"period", "group", "history", "min", "max", "on_change", "confirm", "button"};
}

void readTags(PlcConfig &plc, const QString &path, kvtags::FileEncoding encoding, kvlink::Duration period,
              Problems &problems)
{
    takeTags(plc, path, kvtags::readTagFile(path, encoding, gatewayColumns()), period, problems);
}

void takeTags(PlcConfig &plc, const QString &path, const kvtags::TagFile &file, kvlink::Duration period,
              Problems &problems)
{
    const auto before = Problems::difference_type(problems.size());
    if (!file.problem.isEmpty())
        problems.push_back({path, 0, 0, file.problem});
    for (const kvtags::TagFault &fault : file.faults)
        problems.push_back({path, fault.line, 0, fault.why});
    plc.tags.reserve(plc.tags.size() + file.tags.size());
    for (const kvtags::Variable &variable : file.tags) {
        QString problem;
        if (auto tag = TagLine(variable, plc.name, period).tag(problem))
            plc.tags.push_back(std::move(*tag));
        else
            problems.push_back({path, variable.line, 0, problem});
    }
    std::stable_sort(problems.begin() + before, problems.end(),
                     [](const Problem &one, const Problem &other) { return one.line < other.line; });
}

} // namespace kvgateway
