// One reply to one outstanding frame of any area, address and count. A reply may say anything: it must
// neither touch memory that is not its own nor take an image past its ceiling.
#include "driver_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    RW_VAR var;
    var.area = someInt(input, -1, 41);
    var.address = someInt(input, -2, 2000);
    var.count = someInt(input, -2, 200);
    var.station = input.ConsumeIntegralInRange(0, 2);
    var.ownerType = input.ConsumeIntegralInRange(-1, 12);
    var.accessMode = input.ConsumeIntegralInRange(0, 2);
    var.linkId = input.ConsumeIntegralInRange(0, 1);
    handshake[var.station] = input.ConsumeBool();
    PLC_driver.opKind = input.ConsumeIntegralInRange(-1, 3);

    RW_VAR written = var;
    written.data = someBytes(input, 4);
    if (input.ConsumeBool())
        PLC_driver.writeList.append(written);
    ReadAnalog(&var);
    if (input.ConsumeBool()) {
        PLC_driver.frameQueue.first().var.preReadMark = -1;
        WriteAnalog(&var);
    }
    Protocol &head = PLC_driver.frameQueue.first();
    if (input.ConsumeBool()) {
        head.replyLength = someInt(input, -1, 64);
        head.payloadLength = someInt(input, -2, 64);
        head.replyOffset = someInt(input, -2, 64);
    }
    const int claimed = input.ConsumeBool() ? head.replyLength : input.ConsumeIntegral<int>();
    QByteArray reply = QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());
    require(DataCom(&reply, input.ConsumeBool() ? int(reply.size()) : claimed) != 0);
    require(PLC_driver.currentVar.data.isEmpty());
    requireBoundedImages();
    return 0;
}
