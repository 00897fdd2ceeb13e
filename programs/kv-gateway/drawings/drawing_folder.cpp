// SPDX-License-Identifier: MIT
#include "drawing_folder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace kvgateway
{

namespace
{

constexpr int mostDrawings = 200;
constexpr qint64 largestDrawing = 2 * 1024 * 1024;

CheckedDrawing failed(const QString &text)
{
    CheckedDrawing checked;
    checked.faults.push_back({0, text});
    return checked;
}

CheckedDrawing readDrawing(const QFileInfo &info)
{
    static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9_-]{1,40}$"));
    const QString name = info.completeBaseName();
    if (!shape.match(name).hasMatch())
        return failed(
            QStringLiteral("the name of a drawing may have letters, digits, '-' and '_' only, and at "
                           "most 40 of them"));
    QFile file(info.absoluteFilePath());
    if (!info.isFile() || !file.open(QIODevice::ReadOnly))
        return failed(QStringLiteral("the drawing cannot be read: %1").arg(file.errorString()));
    if (file.size() > largestDrawing)
        return failed(QStringLiteral("the drawing is larger than 2 MiB"));
    return checkDrawing(name, file.readAll());
}

} // namespace

std::vector<FolderDrawing> readDrawings(const QString &folder, QString &problem)
{
    const QFileInfoList files =
        QDir(folder).entryInfoList({QStringLiteral("*.svg")}, QDir::Files | QDir::System, QDir::Name);
    if (!QFileInfo(folder).isDir())
        problem = QStringLiteral("the folder %1 is not there").arg(folder);
    else if (files.size() > mostDrawings)
        problem = QStringLiteral("%1 drawings are too many: %2 fit one service")
                      .arg(files.size())
                      .arg(mostDrawings);
    if (!problem.isEmpty())
        return {};
    std::vector<FolderDrawing> drawings;
    for (const QFileInfo &info : files)
        drawings.push_back({info.absoluteFilePath(), readDrawing(info)});
    return drawings;
}

} // namespace kvgateway
