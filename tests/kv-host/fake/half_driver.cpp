// SPDX-License-Identifier: MIT
// All of the driver's calls but DataCom: a host must say which one is missing. Nothing here is ever
// called: whoever does is ended.
#include <cstdlib>

#if defined(__GNUC__)
#define EXPORTED extern "C" __attribute__((visibility("default")))
#else
#define EXPORTED extern "C"
#endif

#define CALL(NAME)                                                                                           \
    EXPORTED void NAME();                                                                                    \
    void NAME()                                                                                              \
    {                                                                                                        \
        std::abort();                                                                                        \
    }

CALL(SetComInfo)
CALL(RegistCallBackFuncIntf)
CALL(FlashLocalRegister)
CALL(QueryFinishFlag)
CALL(ComCommunication)
CALL(EnableEthernet)
CALL(EnCommStation)
CALL(PLCAddressChangeIntef)
CALL(AddListReadVar)
CALL(AddListWriteVar)
CALL(AddListOnceReadVar)
CALL(SetRegisterData)
CALL(ReCreatReadVarList)
CALL(GetRegisterData)
