// Address texts of all areas: whatever an operator types gives an address or is refused, and both entries
// agree.
#include "driver_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ComInfo settings;
    settings.maxBlockLength = 64;
    freshDriver(&settings);
    const int area = someInt(input, -1, 41);
    const int count = input.ConsumeIntegralInRange(-1, 40);
    const QString text = QString::fromUtf8(QByteArray::fromStdString(input.ConsumeRemainingBytesAsString()));
    const QString kept = text;
    const int address = StringAddressToInt(area, text);
    require(PLCAddressChangeIntef(area, text) == address);
    require(text == kept);
    require((area >= 0 && area <= 39) || address == -1);

    QByteArray out;
    const int served = GetRegisterData(0, area, text, 0, &out, count);
    require(area < 0 || area > 39 || served == (address >= 0 ? 1 : 0));
    requireBoundedImages();
    return 0;
}
