// SPDX-License-Identifier: MIT
// The lists and the store, given records that no parser has checked: any area, address,
// count and data.
#include "driver_fuzz.h"

namespace
{
RW_VAR someVariable(Input &input)
{
    RW_VAR var;
    var.area = someInt(input, -1, 41);
    var.address = someInt(input, -40, 70000);
    var.station = input.between(0, 2);
    var.addressText = someAddressText(input, 70000);
    var.count = someInt(input, -2, 3000);
    return var;
}

// Builders and lists rely on a checked count, so absurd counts are outside their contract.
void queueSome(Input &input, RW_VAR var)
{
    var.count = input.between(-2, 3000);
    switch (input.below(4)) {
    case 0:
        AddListOnceReadVar(&var, input.below(2));
        break;
    case 1:
        handshake[var.station] = true;
        WriteRegister(&var);
        PLC_driver.frameQueue.clear();
        break;
    case 2:
        handshake[var.station] = true;
        ReadRegister(&var);
        PLC_driver.frameQueue.clear();
        break;
    default:
        AddListWriteVar(&var, input.below(2));
    }
}

void someCall(Input &input, ExactMemory &memory)
{
    RW_VAR var = someVariable(input);
    var.data = memory.array(input.bytes(64));
    QByteArray out;
    switch (input.below(5)) {
    case 0:
        GetRegisterData(0, var.area, var.addressText, var.station, &out, var.count);
        require(out.size() <= 64 * 1024 * 1024, "no answer passes its ceiling");
        break;
    case 1:
        WriteDataToLocal(&var);
        break;
    case 2: {
        ControlInformationM range{var.station, var.area, var.address, var.count};
        checkTheStorage(range);
        break;
    }
    case 3:
        PLC_driver.lastFailed = quint8(input.below(2));
        break;
    default:
        queueSome(input, var);
        break;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    ExactMemory memory;
    for (int calls = 0; calls < 12 && !input.empty(); ++calls)
        someCall(input, memory);
    require(PLC_driver.onceReadList.size() <= 1024 + 12, "the list of once-reads is bounded");
    require(PLC_driver.writeList.size() <= 1024 + 12, "the list of writes is bounded");
    requireBoundedImages();
    return 0;
}
