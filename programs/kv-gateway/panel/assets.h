// SPDX-License-Identifier: MIT
// The files of the panel, the page in the browser, which are part of the program.
//
// A new file is a row of panel.qrc. The page itself is at "/"; everything else is below a path
// that holds a hash of all files, so a browser may keep it forever and never mixes two versions:
//
//     assets.find("/")                        the page; "@panel@" in it is "panel/5c1f09a2"
//     assets.find("/panel/5c1f09a2/main.js")  a script
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

namespace kvgateway
{

struct Asset {
    QByteArray type; ///< "text/javascript; charset=utf-8"
    QByteArray body;
    QByteArray packed;      ///< the body as the content coding "deflate"
    QByteArray tag;         ///< an entity tag with its quotes
    bool isForever = false; ///< another content has another path
};

/// Never changes; every call from any thread.
class PanelAssets
{
public:
    /// Reads and packs what the program brings along.
    PanelAssets();

    /// \return nullptr if the panel has nothing there. A path is looked up as a whole and never
    /// taken for that of a file
    const Asset *find(const QString &path) const;
    /// All paths, for the test.
    QStringList paths() const { return m_assets.keys(); }

private:
    QHash<QString, Asset> m_assets;
};

} // namespace kvgateway
