// SPDX-License-Identifier: MIT
// Remote-area frames of any variable: 22 bytes and the data, and a sum that fits.
#include "driver_fuzz.h"

namespace
{
void requireGoodSum(const QByteArray &frame)
{
    unsigned sum = 0;
    for (int i = 0; i + 1 < frame.size(); ++i)
        sum += quint8(frame.at(i));
    require(quint8(frame.at(frame.size() - 1)) == (sum & 0xFF), "the sum fits");
}

unsigned bigEndian(const QByteArray &frame, int at, int bytes)
{
    unsigned value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8 | quint8(frame.at(at + i));
    return value;
}

// Every field is at its offset, truncated to its size.
void requireFields(const QByteArray &frame, const RW_VAR &var)
{
    require(bigEndian(frame, 1, 1) == (unsigned(var.ownerType) & 0xFF), "owner type");
    require(bigEndian(frame, 2, 1) == (unsigned(var.accessMode) & 0xFF), "access mode");
    require(bigEndian(frame, 3, 1) == (unsigned(var.linkId) & 0xFF), "link");
    require(bigEndian(frame, 4, 1) == (unsigned(var.station) & 0xFF), "station");
    require(bigEndian(frame, 5, 2) == (unsigned(var.area) & 0xFFFF), "area");
    require(bigEndian(frame, 7, 4) == unsigned(var.address), "address");
    require(bigEndian(frame, 11, 2) == (unsigned(var.count) & 0xFFFF), "count");
    require(bigEndian(frame, 13, 4) == unsigned(var.preReadMark), "pre-read mark");
    require(bigEndian(frame, 17, 4) == unsigned(var.field13), "field 13");
}

RW_VAR someRequest(Input &input)
{
    RW_VAR var;
    var.ownerType = input.number();
    var.accessMode = input.number();
    var.linkId = input.number();
    var.station = input.flag() ? input.between(0, 2) : input.number();
    var.area = someInt(input, -1, 41);
    var.address = someInt(input, -2, 2000);
    var.count = someInt(input, -2, 2000);
    var.preReadMark = input.number();
    var.field13 = input.number();
    return var;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    RW_VAR var = someRequest(input);
    ExactMemory memory;
    var.data = memory.array(input.rest());

    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    const Protocol &read = PLC_driver.frameQueue.at(0);
    const Protocol &written = PLC_driver.frameQueue.at(1);
    require(read.frameLength == 22 && read.frame.size() == 22 && read.frame.at(0) == 0,
            "a read has 22 bytes and begins with 0");
    require(written.frameLength == 22 + var.data.size() && written.frame.size() == written.frameLength,
            "a write has 22 bytes and the data");
    require(quint8(written.frame.at(0)) == (written.frameLength & 0xFF), "a write begins with its length");
    require(written.frame.mid(21, int(var.data.size())) == var.data, "the data comes before the sum");
    requireFields(read.frame, var);
    requireFields(written.frame, var);
    requireGoodSum(read.frame);
    if (written.frame.size() <= 65536) // the sum's length is a 16-bit number
        requireGoodSum(written.frame);
    requireBoundedImages();
    return 0;
}
