// Host reads: current values for the screens, out of the store. Never talks to the PLC.
//
// In:   area and address text as configured; count in elements of the area.
// Out:  1 byte a bit or contact, 2 a word, 4 a double word; what was never read is 0.
// Runs: on any thread; takes storageControlMutex when the range has to be created, then storeMutex.
#include "addresses/area_table.h"
#include "Communication_Protocol.h"
#include "core/held_lock.h"
#include "core/settings.h"
#include "store/device_image.h"

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

/// On purpose: two zero bytes an element whatever its size.
int refuseAddress(QByteArray *out, qint64 count)
{
    const qint64 length = count * 2;
    if (length > 0 && length <= DeviceImage::maxSize)
        *out = QByteArray(int(length), '\0');
    return 0;
}

void readBits(const DeviceImage &image, qint64 first, char *to, int count)
{
    for (int i = 0; i < count; ++i)
        to[i] = image.bit(first + i) ? 1 : 0;
}

void copyElements(const Area &area, const ControlInformationM &range, QByteArray *out)
{
    const qint64 width = bytesOfElement(area.element);
    out->resize(int(range.count * width));
    const DeviceImage image(range.station, area.imageKey);
    if (area.element == Element::Relay || area.element == Element::WordBit)
        readBits(image, range.address, out->data(), range.count);
    else
        image.read(range.address * width, out->data(), out->size());
}
} // namespace

int GetRegisterData(int /*unused*/, int area, QString addressText, int station, QByteArray *out, int count)
{
    if (out == nullptr || PLC_driver.comInfo == nullptr)
        return 0;
    out->clear();
    ControlInformationM range{stationInUse(station), area, 0, count};
    const Area *row = findArea(area);
    if (row == nullptr) {
        qDebug("GetRegisterData default %d \"%s\" %d", area, addressText.toUtf8().constData(), range.station);
        return 1;
    }
    range.address = StringAddressToInt(area, addressText);
    if (range.address < 0)
        return refuseAddress(out, count);
    if (count * bytesOfElement(row->element) > DeviceImage::maxSize)
        return 0;
    checkTheStorage(range);
    const Held store(PLC_driver.storeMutex, Rank::Store);
    if (count >= 1)
        copyElements(*row, range, out);
    return 1;
}
