// SPDX-License-Identifier: MIT
#include "tag_use.h"

namespace kvgateway
{

namespace
{

QString pressProblem(const TagConfig &tag)
{
    if (!tag.isBit())
        return QStringLiteral("only a relay or a bit of a word can be pressed; write \"set\" with a value, "
                              "or \"ask\"");
    if (tag.confirm)
        return QStringLiteral(
            "the tag wants a confirmation, and a press cannot ask; write \"set on\" or \"ask\"");
    return {};
}

// On purpose strict with bits: the panel takes all but "on" and "1" for off.
QString setProblem(const TagConfig &tag, const kvlink::AddressInfo &address, const QString &typed,
                   const kvlink::LinkSettings &link)
{
    static const QStringList bits{QStringLiteral("on"), QStringLiteral("off"), QStringLiteral("1"),
                                  QStringLiteral("0")};
    if (tag.kind == kvlink::ValueKind::Text)
        return QStringLiteral("the tag is a text; write \"ask\"");
    if (tag.count > 1)
        return QStringLiteral("the tag has %1 values; write \"ask\"").arg(tag.count);
    if (tag.kind == kvlink::ValueKind::Bit)
        return bits.contains(typed) ? QString()
                                    : QStringLiteral("the tag is a bit; write \"set on\" or \"set off\"");
    QString problem;
    const auto value = address.valueFromText(typed, tag.settings, link, problem);
    return value ? tag.limitProblem(*value) : problem;
}

QString buttonProblem(const QStringList &button, const TagConfig &tag, const kvlink::LinkSettings &link)
{
    QString problem;
    const auto address = kvlink::AddressInfo::parse(tag.settings.address, problem);
    if (!address)
        return problem;
    if (!address->isWritable())
        return QStringLiteral("nobody can write %1; take data-button out").arg(address->name());
    if (tag.settings.access != kvlink::Access::ReadWrite)
        return QStringLiteral("the tag is read-only; say rw in its tag file, or take data-button out");
    if (button[0] == QLatin1String("press"))
        return pressProblem(tag);
    return button.size() == 2 ? setProblem(tag, *address, button[1], link) : QString();
}

} // namespace

QString tagUseProblem(const TagUse &use, const TagConfig &tag, const kvlink::LinkSettings &link)
{
    if (use.button.isEmpty())
        return {};
    const QString problem = buttonProblem(use.button.simplified().split(' '), tag, link);
    if (problem.isEmpty())
        return {};
    return QStringLiteral("<%1 data-tag=\"%2\" data-button=\"%3\">: %4")
        .arg(use.element, use.tag, use.button, problem);
}

} // namespace kvgateway
