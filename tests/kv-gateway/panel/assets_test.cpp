// SPDX-License-Identifier: MIT
// The files of the panel: each path that the page names leads to one, and nothing else does.
#include "panel/assets.h"

#include <QRegularExpression>
#include <QStringList>
#include <QtEndian>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

const PanelAssets &assets()
{
    static const PanelAssets all;
    return all;
}

QString folderOf(const QByteArray &page)
{
    const QRegularExpression link(QStringLiteral("src=\"(panel/[0-9a-f]{16})/main.js\""));
    return "/" + link.match(QString::fromUtf8(page)).captured(1);
}

TEST(PanelAssets, thePageNamesFilesThatAreThere)
{
    const Asset *page = assets().find("/");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->type, "text/html; charset=utf-8");
    EXPECT_FALSE(page->isForever) << "a browser must ask for it again";
    EXPECT_FALSE(page->body.contains('@'));
    const QString folder = folderOf(page->body);
    const struct {
        const char *name, *type;
    } rows[] = {{"/main.js", "text/javascript; charset=utf-8"},
                {"/style.css", "text/css; charset=utf-8"},
                {"/icon.svg", "image/svg+xml"}};
    for (const auto &row : rows) {
        const Asset *asset = assets().find(folder + row.name);
        ASSERT_NE(asset, nullptr) << row.name;
        EXPECT_EQ(asset->type, row.type);
        EXPECT_TRUE(asset->isForever);
    }
}

TEST(PanelAssets, nothingElseIsFound)
{
    const QString folder = folderOf(assets().find("/")->body);
    for (const QString &path :
         {QString(), QStringLiteral("/index.html"), folder, folder + "/index.html",
          folder + "/../../etc/passwd", QStringLiteral("/panel/0123456789abcdef/main.js"),
          folder + "/main.js/", QStringLiteral(":/panel/main.js"), folder + "//main.js"})
        EXPECT_EQ(assets().find(path), nullptr) << path.toStdString();
}

TEST(PanelAssets, eachScriptThatIsImportedIsThere)
{
    const QString folder = folderOf(assets().find("/")->body);
    const QRegularExpression import(QStringLiteral("(?:from|import\\() ?\"\\./([^\"]+)\""));
    int count = 0;
    for (const QString &path : assets().paths()) {
        const QString text = QString::fromUtf8(assets().find(path)->body);
        auto matches = import.globalMatch(path.endsWith(".js") ? text : QString());
        for (; matches.hasNext(); ++count) {
            const QString name = matches.next().captured(1);
            EXPECT_NE(assets().find(folder + "/" + name), nullptr) << (path + ": " + name).toStdString();
        }
    }
    EXPECT_GT(count, 10);
}

TEST(PanelAssets, theirPackedFormIsTheSame)
{
    for (const QString &path : assets().paths()) {
        const Asset &asset = *assets().find(path);
        QByteArray withLength(4, '\0');
        qToBigEndian(quint32(asset.body.size()), withLength.data());
        EXPECT_EQ(qUncompress(withLength + asset.packed), asset.body) << path.toStdString();
    }
}

TEST(PanelAssets, allOfThemAreSmallOnTheirWay)
{
    qsizetype size = 0;
    for (const QString &path : assets().paths())
        size += assets().find(path)->packed.size();
    EXPECT_LT(size, 200'000) << "a panel on a slow line";
}

} // namespace
} // namespace kvgateway
