// SPDX-License-Identifier: MIT
#include "assets.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

namespace kvgateway
{

namespace
{

constexpr int hashDigits = 16;
constexpr int lengthInFront = 4; // what qCompress() writes before the zlib stream
constexpr int smallest = 9;      // level of compression

struct TypeRow {
    const char *suffix;
    const char *type;
};

// clang-format off
constexpr TypeRow typeRows[] = {
    {".html", "text/html; charset=utf-8"},
    {".css",  "text/css; charset=utf-8"},
    {".js",   "text/javascript; charset=utf-8"},
    {".svg",  "image/svg+xml"},
};
// clang-format on

QByteArray typeOf(const QString &name)
{
    for (const TypeRow &row : typeRows) {
        if (name.endsWith(QLatin1String(row.suffix)))
            return row.type;
    }
    return "application/octet-stream";
}

QByteArray hashOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().left(hashDigits);
}

// The coding "deflate" is a zlib stream (RFC 9110).
Asset assetOf(const QString &name, const QByteArray &body)
{
    return {typeOf(name), body, qCompress(body, smallest).mid(lengthInFront), "W/\"" + hashOf(body) + '"',
            true};
}

} // namespace

PanelAssets::PanelAssets()
{
    const QDir folder(QStringLiteral(":/panel"));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    QByteArray everything;
    QHash<QString, QByteArray> bodies;
    for (const QString &name : names) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            bodies.insert(name, file.readAll());
        everything += name.toUtf8() + '\0' + bodies.value(name);
    }
    const QByteArray place = "panel/" + hashOf(everything);
    QByteArray page = bodies.take(QStringLiteral("index.html"));
    Asset index = assetOf(QStringLiteral("index.html"), page.replace("@panel@", place));
    index.isForever = false;
    m_assets.insert(QStringLiteral("/"), index);
    for (auto body = bodies.cbegin(); body != bodies.cend(); ++body)
        m_assets.insert(QStringLiteral("/%1/%2").arg(QString::fromLatin1(place), body.key()),
                        assetOf(body.key(), body.value()));
}

const Asset *PanelAssets::find(const QString &path) const
{
    const auto found = m_assets.constFind(path);
    return found == m_assets.constEnd() ? nullptr : &*found;
}

} // namespace kvgateway
