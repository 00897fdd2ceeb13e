// SPDX-License-Identifier: MIT
// The driver's 15 calls, as pointers: their shapes come from the driver's header, their addresses
// from a loaded copy.
#pragma once

#include <Communication_Protocol.h>

namespace kvlink
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

} // namespace kvlink
