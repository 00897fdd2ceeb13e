// Host calls with any data, count, address and settings block, against the pending lists and the store.
#include "driver_fuzz.h"

namespace
{
void someCall(FuzzedDataProvider &input)
{
    const int area = someInt(input, -1, 41);
    const QString text =
        input.ConsumeBool() ? QString::number(input.ConsumeIntegralInRange(0, 70000)) : someText(input, 12);
    const int station = input.ConsumeIntegralInRange(0, 2);
    const int count = input.ConsumeIntegralInRange(-2, 3000);
    RW_VAR var;
    var.area = area;
    var.address = someInt(input, -40, 70000);
    var.station = station;
    var.addressText = text;
    var.count = someInt(input, -2, 3000);
    var.data = someBytes(input, 64);
    QByteArray out;
    switch (input.ConsumeIntegralInRange(0, 7)) {
    case 0:
        SetRegisterData(QString(), area, text, station, var.data, count, 1, 2);
        break;
    case 1:
        GetRegisterData(0, area, text, station, &out, someInt(input, -2, 3000));
        require(out.size() <= 64 * 1024 * 1024);
        break;
    case 2:
        AddListWriteVar(&var, input.ConsumeIntegralInRange(0, 1));
        break;
    case 3:
        var.count = count;
        AddListOnceReadVar(&var, input.ConsumeIntegralInRange(0, 1));
        break;
    case 4:
        WriteDataToLocal(&var);
        break;
    case 5: {
        ControlInformationM range{station, area, var.address, var.count};
        checkTheStorage(range);
        break;
    }
    case 6:
        PLC_driver.lastFailed = input.ConsumeIntegralInRange<quint8>(0, 1);
        break;
    default:
        var.count = count; // the frame's length follows it
        handshake[station] = true;
        WriteRegister(&var);
        PLC_driver.frameQueue.clear();
        break;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    for (int calls = 0; calls < 12 && input.remaining_bytes() > 0; ++calls)
        someCall(input);
    require(PLC_driver.onceReadList.size() <= 1024 + 12);
    require(PLC_driver.writeList.size() <= 1024 + 12);
    requireBoundedImages();
    return 0;
}
