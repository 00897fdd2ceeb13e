// SPDX-License-Identifier: MIT
// Reply decoding: the last step of a read.
//
// In:   a checked reply, and the head of frameQueue that it answers.
// Out:  bytes in DataStorage; addresses and counts in store units (words, double words, triples).
// Runs: on the exchange thread; storeMutex is held by the caller for local replies.
// Not here: length and error checks (exchange/reply_checks.cpp), the variable lists.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "Communication_Protocol.h"
#include "replies/decimal_field.h"
#include "store/device_image.h"

#include <QtEndian>
#include <QVarLengthArray>

namespace
{
using Bytes = QVarLengthArray<char, 512>;

// The part of a reply that holds its values.
struct Payload {
    const char *bytes;
    int length;
};

// What QByteArray::mid takes, without the copy. A length below 0 takes all from the offset on.
Payload payloadOf(const QByteArray &reply, const Protocol &frame)
{
    const qint64 size = reply.size();
    const qint64 end = frame.payloadLength < 0 ? size : qint64(frame.replyOffset) + frame.payloadLength;
    const qint64 from = qBound(qint64(0), qint64(frame.replyOffset), size);
    const qint64 until = qBound(from, end, size);
    return {reply.constData() + from, int(until - from)};
}

constexpr int wordDigits = 5;
constexpr int dwordDigits = 10;
constexpr int contactDigits = 1;

// Where the fields of a triple begin.
constexpr int contactAt = 0;
constexpr int firstAt = 2;
constexpr int secondAt = 13;

// Records that begin inside the payload; the last one may be cut short.
int recordsIn(const Payload &payload, Reply layout)
{
    const int width = replyWidth(layout);
    return (payload.length + width - 1) / width;
}

// The field of this many digits at a position, cut short where the payload ends.
template <int digits>
int fieldAt(const Payload &payload, int position)
{
    const int left = payload.length - position;
    if (left >= digits)
        return decimalField<digits>(payload.bytes + position);
    return left > 0 ? decimalField(payload.bytes + position, left) : 0;
}

void storeWords(const RW_VAR &var, const Payload &payload)
{
    constexpr int width = replyWidth(Reply::Words);
    const int records = recordsIn(payload, Reply::Words);
    Bytes bytes(records * 2);
    for (int k = 0; k < records; ++k) {
        const int value = fieldAt<wordDigits>(payload, k * width);
        qToLittleEndian<quint16>(quint16(value), reinterpret_cast<uchar *>(bytes.data() + 2 * k));
    }
    DeviceImage(var.station, var.area).write(qint64(var.address) * 2, bytes.constData(), bytes.size());
}

// The value begins at fieldStart in its record.
void storeDWords(const RW_VAR &var, int imageKey, const Payload &payload, Reply layout, int fieldStart)
{
    const int width = replyWidth(layout);
    const int records = recordsIn(payload, layout);
    Bytes bytes(records * 4);
    for (int k = 0; k < records; ++k) {
        const int value = fieldAt<dwordDigits>(payload, k * width + fieldStart);
        qToLittleEndian<quint32>(quint32(value), reinterpret_cast<uchar *>(bytes.data() + 4 * k));
    }
    DeviceImage(var.station, imageKey).write(qint64(var.address) * 4, bytes.constData(), bytes.size());
}

void storeContacts(const RW_VAR &var, int imageKey, const Payload &payload)
{
    constexpr int width = replyWidth(Reply::Triples);
    const int records = recordsIn(payload, Reply::Triples);
    Bytes bytes(records);
    for (int k = 0; k < records; ++k)
        bytes[k] = fieldAt<contactDigits>(payload, k * width + contactAt) != 0 ? 1 : 0;
    DeviceImage(var.station, imageKey).write(var.address, bytes.constData(), bytes.size());
}

// One read of a timer or counter fills the images of all areas that share its read key.
void storeTriples(const RW_VAR &var, int readKey, const Payload &payload)
{
    if (payload.length == 0)
        return; // not even empty images are made
    for (const Area *area = firstArea(); area != pastLastArea(); ++area) {
        if (area->readKey != readKey)
            continue;
        if (area->field == Field::Contact)
            storeContacts(var, area->imageKey, payload);
        else if (area->field == Field::First)
            storeDWords(var, area->imageKey, payload, Reply::Triples, firstAt);
        else if (area->field == Field::Second)
            storeDWords(var, area->imageKey, payload, Reply::Triples, secondAt);
    }
}
} // namespace

void SaveToLocalDataErea(QByteArray *reply)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return;
    const Protocol &head = PLC_driver.frameQueue.first();
    const RW_VAR &var = head.var;
    if (var.preReadMark == kvPreRead) {
        SpecialRegisterSave(reply);
        return;
    }
    const Payload payload = payloadOf(*reply, head);
    ControlInformationM range{var.station, var.area, var.address, var.count};
    checkTheStorage(range);

    const Area *area = findArea(var.area);
    switch (area == nullptr ? Reply::None : area->reply) {
    case Reply::Words:
        storeWords(var, payload);
        break;
    case Reply::DWords:
        storeDWords(var, var.area, payload, Reply::DWords, 0);
        break;
    case Reply::Triples:
        storeTriples(var, area->readKey, payload);
        break;
    case Reply::None:
        debugLine("SaveToLocalDataErea default", var.station, var.area);
        break;
    }
}
