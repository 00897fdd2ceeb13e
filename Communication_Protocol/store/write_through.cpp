// SPDX-License-Identifier: MIT
// Local write-through: a written value is in the store at once, so that screens show it before the
// PLC confirms it.
//
// In:   a write in the area's own units; values low byte first, one byte for a bit or a contact.
// Runs: on the thread of its caller; takes storeMutex.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "base/held_lock.h"
#include "Communication_Protocol.h"
#include "store/device_image.h"

namespace
{
void writeBits(DeviceImage &image, qint64 first, const QByteArray &data, qint64 count)
{
    const qint64 given = qMin<qint64>(count, data.size());
    image.growTo((first + given + 7) / 8);
    for (qint64 i = 0; i < given; ++i)
        image.setBit(first + i, data.at(int(i)) != 0);
}

void writeContacts(DeviceImage &image, qint64 first, const QByteArray &data, qint64 count)
{
    QByteArray contacts = data.left(int(qMin<qint64>(count, data.size())));
    for (char &contact : contacts)
        contact &= 1;
    image.write(first, contacts.constData(), contacts.size());
}

// Elements that the data does not reach stay as they are; a partly given one gets 0 for the rest.
void writeElements(DeviceImage &image, qint64 first, const QByteArray &data, qint64 count, int width)
{
    const qint64 given = qMin<qint64>(count, (data.size() + width - 1) / width);
    const QByteArray values = data.left(int(given * width)).leftJustified(int(given * width), '\0');
    image.write(first * width, values.constData(), values.size());
}
} // namespace

void WriteDataToLocal(RW_VAR *var)
{
    if (var == nullptr)
        return;
    const Area *area = findArea(var->area);
    if (area == nullptr || area->write == Write::Never) {
        debugLine("WriteDataToLocal default", var->station, var->area, var->address);
        return;
    }
    if (var->count < 1 || var->data.isEmpty())
        return;
    const Held store(PLC_driver.storeMutex, Rank::Store);
    DeviceImage image(var->station, area->imageKey);
    switch (area->element) {
    case Element::Relay:
    case Element::WordBit:
        writeBits(image, var->address, var->data, var->count);
        break;
    case Element::Contact:
        writeContacts(image, var->address, var->data, var->count);
        break;
    case Element::Word:
        writeElements(image, var->address, var->data, var->count, 2);
        break;
    case Element::DWord:
        writeElements(image, var->address, var->data, var->count, 4);
        break;
    }
}
