// SPDX-License-Identifier: MIT
#include "outlet_keys.h"

#include <tags/pattern.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QSysInfo>

#include <algorithm>

namespace kvgateway
{

QString readOutletName(TomlSection &from, const QString &fallback, const Config &sofar)
{
    static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9_-]{1,40}$"));
    QString name = from.text("name", fallback);
    const auto isTaken = [&name](const auto &others) {
        return std::any_of(others.begin(), others.end(),
                           [&name](const auto &other) { return other.name == name; });
    };
    if (!shape.match(name).hasMatch())
        from.refuse("name", QStringLiteral("the name \"%1\" may have letters, digits, '-' and '_' only, and "
                                           "at most 40 of them")
                                .arg(name));
    else if (isTaken(sofar.mqtt) || isTaken(sofar.sparkplug) || isTaken(sofar.postgresql))
        from.refuse("name",
                    QStringLiteral("two outlets are called \"%1\": give each a name of its own").arg(name));
    return name;
}

QStringList readOutletTags(TomlSection &from, const std::vector<PlcConfig> &plcs)
{
    QStringList patterns = from.texts("tags");
    for (const QString &pattern : patterns) {
        const auto isMeant = [&pattern](const TagConfig &tag) {
            return kvtags::matchesPattern(pattern, tag.name);
        };
        if (std::none_of(plcs.begin(), plcs.end(), [&](const PlcConfig &plc) {
                return std::any_of(plc.tags.begin(), plc.tags.end(), isMeant);
            }))
            from.refuse("tags", QStringLiteral("no tag is called \"%1\"").arg(pattern));
    }
    return patterns;
}

QString readSite(TomlSection &from)
{
    QString site = from.text("site", QSysInfo::machineHostName());
    if (site.isEmpty() || hasReserved(site))
        from.refuse("site",
                    QStringLiteral("site \"%1\": it must not be empty, nor have '+', '#' or '/'").arg(site));
    return site;
}

bool hasReserved(const QString &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c == '+' || c == '#' || c == '/' || !c.isPrint(); });
}

QString readFilePath(TomlSection &from, const char *key, const QDir &base)
{
    const QString typed = from.text(key);
    if (typed.isEmpty())
        return {};
    QString path = QDir::cleanPath(base.absoluteFilePath(typed));
    if (!QFileInfo(path).isReadable())
        from.refuse(key, QStringLiteral("%1: %2 cannot be read").arg(QString::fromLatin1(key), path));
    return path;
}

QString authoritiesOfTheSystem()
{
    return QStringLiteral("/etc/ssl/certs/ca-certificates.crt");
}

} // namespace kvgateway
