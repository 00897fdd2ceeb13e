#include "driver_library.h"

#include <QFileInfo>
#include <QLibrary>

namespace kvhost
{

namespace
{

template <typename Function>
void find(QLibrary &library, const char *name, Function &call, QStringList *missing)
{
    call = reinterpret_cast<Function>(library.resolve(name));
    if (call == nullptr)
        *missing << QString::fromLatin1(name);
}

QStringList findAll(QLibrary &library, DriverCalls *calls)
{
    QStringList missing;
    find(library, "SetComInfo", calls->setComInfo, &missing);
    find(library, "RegistCallBackFuncIntf", calls->registCallBackFuncIntf, &missing);
    find(library, "FlashLocalRegister", calls->flashLocalRegister, &missing);
    find(library, "QueryFinishFlag", calls->queryFinishFlag, &missing);
    find(library, "ComCommunication", calls->comCommunication, &missing);
    find(library, "DataCom", calls->dataCom, &missing);
    find(library, "EnableEthernet", calls->enableEthernet, &missing);
    find(library, "EnCommStation", calls->enCommStation, &missing);
    find(library, "PLCAddressChangeIntef", calls->plcAddressChangeIntef, &missing);
    find(library, "AddListReadVar", calls->addListReadVar, &missing);
    find(library, "AddListWriteVar", calls->addListWriteVar, &missing);
    find(library, "AddListOnceReadVar", calls->addListOnceReadVar, &missing);
    find(library, "SetRegisterData", calls->setRegisterData, &missing);
    find(library, "ReCreatReadVarList", calls->reCreatReadVarList, &missing);
    find(library, "GetRegisterData", calls->getRegisterData, &missing);
    return missing;
}

QString firstExisting(const QStringList &places)
{
    for (const QString &place : places) {
        if (QFileInfo::exists(place))
            return place;
    }
    return {};
}

} // namespace

QStringList driverPlaces(const QString &programFolder)
{
    const QString name = QStringLiteral("libCommunication_Protocol.so");
    return {programFolder + "/" + name, programFolder + "/../lib/" + name,
            QStringLiteral(KV_INSTALLED_LIBDIR "/") + name};
}

bool loadDriver(const QString &wanted, const QString &programFolder, DriverCalls *calls, QString *path,
                QString *problem)
{
    const QStringList places = driverPlaces(programFolder);
    const QString file = wanted.isEmpty() ? firstExisting(places) : wanted;
    if (file.isEmpty()) {
        *problem = QStringLiteral("no driver library found; looked for %1. Name it with --driver PATH")
                       .arg(places.join(QStringLiteral(", ")));
        return false;
    }
    if (!QFileInfo::exists(file)) {
        *problem = QStringLiteral("the driver library %1 does not exist. Check --driver PATH").arg(file);
        return false;
    }
    QLibrary library(QFileInfo(file).absoluteFilePath());
    if (!library.load()) {
        *problem = QStringLiteral("the driver library %1 cannot be loaded: %2. Is it built for this machine "
                                  "and with Qt %3?")
                       .arg(file, library.errorString())
                       .arg(QT_VERSION_MAJOR);
        return false;
    }
    const QStringList missing = findAll(library, calls);
    if (!missing.isEmpty()) {
        *calls = {}; // nothing of a library that is something else is called
        *problem =
            QStringLiteral("%1 is not the driver: it lacks the call%2 %3. Name another with --driver PATH")
                .arg(file, QString::fromLatin1(missing.size() == 1 ? "" : "s"),
                     missing.join(QStringLiteral(", ")));
        return false;
    }
    *path = QFileInfo(file).canonicalFilePath();
    return true;
}

} // namespace kvhost
