// Remote-area frames of any variable: 22 bytes and the data, and a sum that fits.
#include "driver_fuzz.h"

namespace
{
void requireGoodSum(const QByteArray &frame)
{
    unsigned sum = 0;
    for (int i = 0; i + 1 < frame.size(); ++i)
        sum += quint8(frame.at(i));
    require(quint8(frame.at(frame.size() - 1)) == (sum & 0xFF));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    RW_VAR var;
    var.ownerType = input.ConsumeIntegral<int>();
    var.accessMode = input.ConsumeIntegral<int>();
    var.linkId = input.ConsumeIntegral<int>();
    var.station = input.ConsumeIntegralInRange(0, 2);
    var.area = someInt(input, -1, 41);
    var.address = someInt(input, -2, 2000);
    var.count = someInt(input, -2, 2000);
    var.preReadMark = input.ConsumeIntegral<int>();
    var.field13 = input.ConsumeIntegral<int>();
    var.data = QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());

    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    const Protocol &read = PLC_driver.frameQueue.at(0);
    const Protocol &written = PLC_driver.frameQueue.at(1);
    require(read.frameLength == 22 && read.frame.size() == 22 && read.frame.at(0) == 0);
    require(written.frameLength == 22 + var.data.size() && written.frame.size() == written.frameLength);
    require(quint8(written.frame.at(0)) == (written.frameLength & 0xFF));
    requireGoodSum(read.frame);
    if (written.frame.size() <= 65536) // the sum's length is a 16-bit number
        requireGoodSum(written.frame);
    requireBoundedImages();
    return 0;
}
