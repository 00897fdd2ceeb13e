// SPDX-License-Identifier: MIT
// Where the driver library is looked for. See driver_places.h.
#include "driver/driver_places.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace kvlink
{

namespace
{

const char *const libraryName = "libCommunication_Protocol.so";
const char *const variableName = "KV_DRIVER";

QString folderOfProgram()
{
    // On purpose not QCoreApplication: a host in C or Python has none.
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()).path();
}

// Of libkvlink, or of whatever kvlink was linked into.
QString folderOfKvlink()
{
    Dl_info info = {};
    if (::dladdr(libraryName, &info) == 0)
        return {};
    return QFileInfo(QFileInfo(QFile::decodeName(info.dli_fname)).canonicalFilePath()).path();
}

void addFolder(const QString &folder, QStringList &places)
{
    for (const QString &below :
         {QStringLiteral("communication_protocol/qt%1/").arg(QT_VERSION_MAJOR), QString()}) {
        const QString place = QDir::cleanPath(folder + '/' + below + QString::fromLatin1(libraryName));
        if (!places.contains(place))
            places << place;
    }
}

} // namespace

QStringList driverPlacesOf(const QStringList &folders)
{
    QStringList places;
    for (const QString &folder : folders) {
        addFolder(folder, places);
        addFolder(folder + QStringLiteral("/../lib"), places);
        addFolder(folder + QStringLiteral("/../" KV_LIBDIR), places);
    }
    addFolder(QStringLiteral(KV_INSTALLED_LIBDIR), places);
    return places;
}

QStringList standardDriverPlaces()
{
    const QString named = qEnvironmentVariable(variableName);
    if (!named.isEmpty())
        return {named};
    QStringList folders = {folderOfProgram(), folderOfKvlink()};
    folders.removeAll(QString());
    return driverPlacesOf(folders);
}

QString findDriver(const QString &wanted, const QStringList &places, QString &problem)
{
    for (const QString &place : wanted.isEmpty() ? places : QStringList{wanted}) {
        if (QFileInfo::exists(place))
            return place;
    }
    problem = wanted.isEmpty()
                  ? QStringLiteral(
                        "no driver library was found; looked for %1. Give its path in the settings of the "
                        "link or in the environment variable %2")
                        .arg(places.join(QStringLiteral(", ")), QString::fromLatin1(variableName))
                  : QStringLiteral("the driver library %1 does not exist; check the path").arg(wanted);
    return {};
}

} // namespace kvlink
