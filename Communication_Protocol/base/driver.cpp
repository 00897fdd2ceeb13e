// All process-wide objects of the driver.
//
// They live here, in one file and in this order, because objects of one file are constructed in the order of
// their definitions and destroyed in reverse: the driver object outlives what is defined below it.
#include "Communication_Protocol.h"
#include "store/device_image.h"

Communication_Protocol PLC_driver;
QMap<int, QMap<int, QByteArray>> DataStorage;
QMap<int, bool> handshake;
void *LB = nullptr, *LW = nullptr, *RWI = nullptr;

std::mutex storeInnerLock;
