// SPDX-License-Identifier: MIT
// One reply to one outstanding frame of any area, address and count. A reply may say anything: it
// must neither touch memory that is not its own nor take an image past its ceiling.
#include "driver_fuzz.h"

namespace
{
RW_VAR someRequest(Input &input)
{
    RW_VAR var;
    var.area = someInt(input, -1, 41);
    var.address = someInt(input, -2, 2000);
    var.count = someInt(input, -2, 200);
    var.station = input.between(0, 2);
    var.ownerType = input.between(-1, 12);
    var.accessMode = input.between(0, 2);
    var.linkId = input.between(0, 1);
    return var;
}

// Queues the request's frame, and perhaps the write that follows it in a bit write.
void ask(Input &input, RW_VAR var)
{
    const int with = input.byte();
    if ((with & 1) != 0) {
        RW_VAR written = var;
        written.data = QByteArray::fromStdString(input.bytes(4));
        PLC_driver.writeList.append(written);
    }
    if ((with & 2) != 0)
        PLC_driver.onceReadList.append(var);
    if ((with & 4) != 0)
        PLC_driver.readList.append(var);
    ReadAnalog(&var);
    if ((with & 8) != 0) {
        PLC_driver.frameQueue.first().var.preReadMark = -1;
        WriteAnalog(&var);
    }
    if ((with & 16) != 0) {
        Protocol &head = PLC_driver.frameQueue.first();
        head.replyLength = someInt(input, -1, 64);
        head.payloadLength = someInt(input, -2, 64);
        head.replyOffset = someInt(input, -2, 64);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    const RW_VAR var = someRequest(input);
    handshake[var.station] = input.below(4) != 0;
    ask(input, var);
    PLC_driver.opKind = input.between(-1, 3);
    enum class Length { Expected, Any, True };
    const auto length = Length(input.below(3));
    int claimed = PLC_driver.frameQueue.first().replyLength;
    if (length == Length::Any)
        claimed = input.number();
    const std::string bytes = input.rest();
    if (length == Length::True)
        claimed = int(bytes.size());
    ExactMemory memory;
    QByteArray reply = memory.array(bytes);
    require(DataCom(&reply, claimed) != 0, "DataCom returns where its record is");
    require(reply.toStdString() == bytes, "the reply is left as it was");
    require(PLC_driver.currentVar.data.isEmpty(), "the record that the host reads has no data");
    requireBoundedImages();
    return 0;
}
