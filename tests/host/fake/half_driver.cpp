// All of the driver's calls but DataCom: a host must say which one is missing. Nothing here is ever called.
#if defined(__GNUC__)
#define EXPORTED extern "C" __attribute__((visibility("default")))
#else
#define EXPORTED extern "C"
#endif

EXPORTED void SetComInfo();
EXPORTED void RegistCallBackFuncIntf();
EXPORTED void FlashLocalRegister();
EXPORTED void QueryFinishFlag();
EXPORTED void ComCommunication();
EXPORTED void EnableEthernet();
EXPORTED void EnCommStation();
EXPORTED void PLCAddressChangeIntef();
EXPORTED void AddListReadVar();
EXPORTED void AddListWriteVar();
EXPORTED void AddListOnceReadVar();
EXPORTED void SetRegisterData();
EXPORTED void ReCreatReadVarList();
EXPORTED void GetRegisterData();

void SetComInfo() {}
void RegistCallBackFuncIntf() {}
void FlashLocalRegister() {}
void QueryFinishFlag() {}
void ComCommunication() {}
void EnableEthernet() {}
void EnCommStation() {}
void PLCAddressChangeIntef() {}
void AddListReadVar() {}
void AddListWriteVar() {}
void AddListOnceReadVar() {}
void SetRegisterData() {}
void ReCreatReadVarList() {}
void GetRegisterData() {}
