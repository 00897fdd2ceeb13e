// Reply decoding: the last step of a read.
//
// In:   a checked reply, and the head of frameQueue that it answers.
// Out:  bytes in DataStorage; addresses and counts in store units (words, double words, triples).
// Runs: on the exchange thread; storeMutex is held by the caller for local replies.
// Not here: length and error checks (core/reply_checks.cpp), the variable lists.
#include "addresses/area_table.h"
#include "Communication_Protocol.h"
#include "core/debug_line.h"
#include "store/decimal_field.h"
#include "store/device_image.h"

#include <QtEndian>
#include <QVarLengthArray>

namespace
{
using Bytes = QVarLengthArray<char, 512>;

/// Where a field stands within its record.
struct Span {
    int offset;
    int length;
};

constexpr Span wordSpan{0, 5};
constexpr Span dwordSpan{0, 10};
constexpr Span contactSpan{0, 1};
constexpr Span firstSpan{2, 10};
constexpr Span secondSpan{13, 10};

/// Records that begin inside the data; the last one may be cut short.
int recordsIn(const QByteArray &data, Reply layout)
{
    const int width = replyWidth(layout);
    return (int(data.size()) + width - 1) / width;
}

/// One field of one record; what the data does not reach reads as an empty field, thus 0.
int fieldOf(const QByteArray &data, int record, int width, Span span)
{
    const int start = record * width + span.offset;
    const int length = qBound(0, int(data.size()) - start, span.length);
    return decimalField(data.constData() + qMin(start, int(data.size())), length);
}

void storeWords(const RW_VAR &var, const QByteArray &data)
{
    const int records = recordsIn(data, Reply::Words);
    Bytes bytes(records * 2);
    for (int k = 0; k < records; ++k) {
        const int value = fieldOf(data, k, replyWidth(Reply::Words), wordSpan);
        qToLittleEndian<quint16>(quint16(value), reinterpret_cast<uchar *>(bytes.data() + 2 * k));
    }
    DeviceImage(var.station, var.area).write(qint64(var.address) * 2, bytes.constData(), bytes.size());
}

void storeDWords(const RW_VAR &var, int imageKey, const QByteArray &data, Reply layout, Span span)
{
    const int records = recordsIn(data, layout);
    Bytes bytes(records * 4);
    for (int k = 0; k < records; ++k) {
        const int value = fieldOf(data, k, replyWidth(layout), span);
        qToLittleEndian<quint32>(quint32(value), reinterpret_cast<uchar *>(bytes.data() + 4 * k));
    }
    DeviceImage(var.station, imageKey).write(qint64(var.address) * 4, bytes.constData(), bytes.size());
}

void storeContacts(const RW_VAR &var, int imageKey, const QByteArray &data)
{
    const int records = recordsIn(data, Reply::Triples);
    Bytes bytes(records);
    for (int k = 0; k < records; ++k)
        bytes[k] = fieldOf(data, k, replyWidth(Reply::Triples), contactSpan) != 0 ? 1 : 0;
    DeviceImage(var.station, imageKey).write(var.address, bytes.constData(), bytes.size());
}

/// One read of a timer or counter fills the images of all areas that share its read key.
void storeTriples(const RW_VAR &var, int readKey, const QByteArray &data)
{
    if (data.isEmpty())
        return; // not even empty images are made
    for (const Area *area = firstArea(); area != pastLastArea(); ++area) {
        if (area->readKey != readKey)
            continue;
        if (area->field == Field::Contact)
            storeContacts(var, area->imageKey, data);
        else if (area->field == Field::First)
            storeDWords(var, area->imageKey, data, Reply::Triples, firstSpan);
        else if (area->field == Field::Second)
            storeDWords(var, area->imageKey, data, Reply::Triples, secondSpan);
    }
}
} // namespace

void SaveToLocalDataErea(QByteArray *reply)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return;
    const Protocol &head = PLC_driver.frameQueue.first();
    const RW_VAR &var = head.var;
    if (var.preReadMark == -1) {
        SpecialRegisterSave(reply);
        return;
    }
    const QByteArray data = reply->mid(head.replyOffset, head.payloadLength);
    ControlInformationM range{var.station, var.area, var.address, var.count};
    checkTheStorage(range);

    const Area *area = findArea(var.area);
    switch (area == nullptr ? Reply::None : area->reply) {
    case Reply::Words:
        storeWords(var, data);
        break;
    case Reply::DWords:
        storeDWords(var, var.area, data, Reply::DWords, dwordSpan);
        break;
    case Reply::Triples:
        storeTriples(var, area->readKey, data);
        break;
    case Reply::None:
        debugLine("SaveToLocalDataErea default", var.station, var.area);
        break;
    }
}
