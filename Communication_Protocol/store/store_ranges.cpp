// SPDX-License-Identifier: MIT
// Where the values of an area are: its keys, and the range that must exist before it is touched.
#include "store/store_ranges.h"

#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "Communication_Protocol.h"
#include "store/device_image.h"

qint64 sizeOfRange(const Area *area, qint64 address, qint64 count)
{
    if (area != nullptr && area->element == Element::DWord)
        return (address + count) * 4;
    if (area != nullptr && area->element == Element::WordBit)
        return (count / bitsPerWord + 1 + address / bitsPerWord) * 2;
    return (address + count) * 2;
}

int getPlcReg(int area)
{
    const Area *row = findArea(area);
    if (row != nullptr)
        return row->readKey;
    debugLine("getPlcReg default", area);
    return area;
}

void checkTheStorage(ControlInformationM &range)
{
    const Area *area = findArea(range.area);
    if (area == nullptr)
        debugLine("**** ERROR checkTheStorage default");
    const int key = area != nullptr ? area->imageKey : range.area;
    const qint64 wantedSize = sizeOfRange(area, range.address, range.count);
    {
        DeviceImage image(range.station, key);
        if (image.isNew())
            image.growTo(wantedSize);
        if (image.size() >= wantedSize)
            return;
    }
    const Held growth(PLC_driver.storageControlMutex, Rank::StoreGrowth);
    DeviceImage(range.station, key).growTo(wantedSize);
}
