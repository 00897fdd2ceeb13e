// SPDX-License-Identifier: MIT
// Host reads: current values for the screens, out of the store. Never talks to the PLC.
//
// In:   area and address text as configured; count in elements of the area.
// Out:  1 byte a bit or contact, 2 a word, 4 a double word; what was never read is 0.
// Runs: on any thread; makes the range first (storageControlMutex if its image must grow), then
//       takes storeMutex.
#include "addresses/area_table.h"
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "store/device_image.h"

#include <utility>

namespace
{
qint64 bytesOfElement(Element element)
{
    switch (element) {
    case Element::Relay:
    case Element::WordBit:
    case Element::Contact:
        return 1;
    case Element::Word:
        return 2;
    case Element::DWord:
        break;
    }
    return 4;
}

// On purpose: two zero bytes an element whatever its size.
int refuseAddress(QByteArray *out, qint64 count)
{
    const qint64 length = count * 2;
    if (count > 0 && length <= DeviceImage::maxSize)
        *out = QByteArray(int(length), '\0');
    return 0;
}

void readBits(const DeviceImage &image, qint64 first, char *to, int count)
{
    for (int i = 0; i < count; ++i)
        to[i] = image.bit(first + i) ? 1 : 0;
}

void copyElements(const DeviceImage &image, const Area &area, int address, QByteArray *out)
{
    if (area.element == Element::Relay || area.element == Element::WordBit)
        readBits(image, address, out->data(), int(out->size()));
    else
        image.read(address * bytesOfElement(area.element), out->data(), out->size());
}

// Fills out, which has its size already; what the store does not hold reads as 0.
void readRange(const Area &area, const ControlInformationM &range, QByteArray *out)
{
    const Held store(PLC_driver.storeMutex, Rank::Store);
    const DeviceImage image(range.station, area.imageKey);
    if (!out->isEmpty())
        copyElements(image, area, range.address, out);
}
} // namespace

int GetRegisterData(int /*unused*/, int area, QString addressText, int station, QByteArray *out, int count)
{
    if (out == nullptr || PLC_driver.comInfo == nullptr)
        return 0;
    out->clear();
    const int usedStation = stationInUse(station);
    const Area *row = findArea(area);
    if (row == nullptr) {
        qDebug("GetRegisterData default %d \"%s\" %d", area, addressText.toUtf8().constData(), usedStation);
        return 1;
    }
    const int address = StringAddressToInt(area, std::move(addressText));
    if (address < 0)
        return refuseAddress(out, count);
    const qint64 length = count * bytesOfElement(row->element);
    if (length > DeviceImage::maxSize)
        return 0;
    if (count > 0)
        *out = QByteArray(int(length), Qt::Uninitialized); // before the lock: nobody waits for the heap
    ControlInformationM range{usedStation, area, address, count};
    checkTheStorage(range); // before the lock: a long decoding does not delay the growing
    readRange(*row, range, out);
    return 1;
}
