// SPDX-License-Identifier: MIT
// Address texts of all areas: whatever an operator types gives an address or is refused with a
// line, and both entries agree.
#include "driver_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings;
    settings.maxBlockLength = 64;
    freshDriver(&settings);
    const int area = someInt(input, -1, 41);
    const int count = input.between(-1, 40);
    const QString text = QString::fromUtf8(QByteArray::fromStdString(input.rest()));
    const QString kept = text;
    const int address = StringAddressToInt(area, text);
    require(heard.lines.size() == (address == -1 ? 1 : 0), "a refused text gives one line, a good one none");
    require(PLCAddressChangeIntef(area, text) == address, "both entries agree");
    require(text == kept, "the caller's text is left as it was");
    require((area >= 0 && area <= 39) || address == -1, "an area that is none has no addresses");

    QByteArray out;
    const int served = GetRegisterData(0, area, text, 0, &out, count);
    require(area < 0 || area > 39 || served == (address >= 0 ? 1 : 0),
            "an address that was taken can be read");
    requireBoundedImages();
    return 0;
}
