// The driver, loaded at run time: the 15 host calls, found by their plain names.
//
// kv-host is not linked with the driver. It knows the records and the shapes of the calls from the driver's
// header and asks the shared object for each name, as an HMI runtime does.
#pragma once

#include <Communication_Protocol.h>

#include <QString>
#include <QStringList>

namespace kvhost
{

struct DriverCalls {
    decltype(&::SetComInfo) setComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) registCallBackFuncIntf = nullptr;
    decltype(&::FlashLocalRegister) flashLocalRegister = nullptr;
    decltype(&::QueryFinishFlag) queryFinishFlag = nullptr;
    decltype(&::ComCommunication) comCommunication = nullptr;
    decltype(&::DataCom) dataCom = nullptr;
    decltype(&::EnableEthernet) enableEthernet = nullptr;
    decltype(&::EnCommStation) enCommStation = nullptr;
    decltype(&::PLCAddressChangeIntef) plcAddressChangeIntef = nullptr;
    decltype(&::AddListReadVar) addListReadVar = nullptr;
    decltype(&::AddListWriteVar) addListWriteVar = nullptr;
    decltype(&::AddListOnceReadVar) addListOnceReadVar = nullptr;
    decltype(&::SetRegisterData) setRegisterData = nullptr;
    decltype(&::ReCreatReadVarList) reCreatReadVarList = nullptr;
    decltype(&::GetRegisterData) getRegisterData = nullptr;
};

/// Where the driver is looked for when no path is given: beside the program, in ../lib of the program, where
/// `cmake --install` puts it.
QStringList driverPlaces(const QString &programFolder);

/// Loads the driver and finds all its calls. The library stays loaded until the process ends.
/// \param wanted  a path, or empty: the places of driverPlaces are tried in order
/// \param problem what went wrong and what to try next, when the result is false
bool loadDriver(const QString &wanted, const QString &programFolder, DriverCalls *calls, QString *path,
                QString *problem);

} // namespace kvhost
