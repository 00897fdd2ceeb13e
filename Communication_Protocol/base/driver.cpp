// SPDX-License-Identifier: MIT
// All process-wide objects of the driver, save the store's inner lock (store/device_image.cpp),
// which needs neither construction nor destruction.
//
// They are in one file and in this order because objects of one file are constructed in the order
// of their definitions and destroyed in reverse: the driver object outlives what is defined below.
#include "Communication_Protocol.h"

Communication_Protocol PLC_driver;
QMap<int, QMap<int, QByteArray>> DataStorage;
QMap<int, bool> handshake;
void *LB = nullptr, *LW = nullptr, *RWI = nullptr;
