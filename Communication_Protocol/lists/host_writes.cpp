// SPDX-License-Identifier: MIT
// Host writes: one write of a screen becomes pending writes of bounded size.
//
// Runs: on any thread; takes no lock of its own (listMutex inside AddListWriteVar, storeMutex
//       inside WriteDataToLocal, one after the other).
#include "addresses/area_table.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "lists/pieces.h"
#include "lists/write_list.h"
#include "store/device_image.h"

#include <limits>

namespace
{
constexpr int longestWritePiece = 128; // more would not fit the limits of the PLC and of the frame

// How the write of an area is cut into pieces.
struct Pieces {
    qint64 elements; // in store units; bits one by one
    int longest;     // elements in one piece
    int bytes;       // in one element
};

// maxBlockLength, capped. The cap is written back and so holds for every later user of the word.
int cappedBlockLength()
{
    const int length = blockLength();
    if (length <= longestWritePiece)
        return length;
    setSetting(&ComInfo::maxBlockLength, longestWritePiece);
    return longestWritePiece;
}

Pieces piecesOf(const Area &area, int count, int longest)
{
    switch (area.element) {
    case Element::Relay:
    case Element::WordBit:
        return {count, 1, 1};
    case Element::Word:
        return {count, longest, 2};
    case Element::DWord:
        return {(qint64(count) + 1) / 2, longest, 4};
    case Element::Contact:
        break; // not writable
    }
    return {}; // no elements
}

// Bytes of a piece; 0 for each byte that the screen did not give.
QByteArray bytesOfPiece(const QByteArray &data, qint64 from, int length)
{
    const int start = int(qMin<qint64>(from, data.size()));
    return data.mid(start, length).leftJustified(length, '\0');
}

bool lastRequestFailed()
{
    return loadShared(PLC_driver.lastFailed) != 0;
}

// Pieces that found writeList full are dropped. After a failed request screens still see them.
void mirrorRest(RW_VAR rest, int first, const QByteArray &data, const Pieces &pieces)
{
    const qint64 done = qint64(rest.address) + rest.count - first;
    const qint64 left = qMin(pieces.elements - done, std::numeric_limits<int>::max() - (first + done) + 1);
    if (left < 1 || !lastRequestFailed())
        return;
    const qint64 bytes = qMin(left * pieces.bytes, DeviceImage::maxSize);
    rest.address = int(first + done);
    rest.count = int(left);
    rest.data = bytesOfPiece(data, done * pieces.bytes, int(bytes));
    WriteDataToLocal(&rest);
}

// Queues piece by piece until the list could take no later one: a runaway count does not block the
// screen for minutes.
int queuePieces(RW_VAR piece, const QByteArray &data, const Pieces &pieces)
{
    const int first = piece.address;
    int listLength = 0;
    forEachPiece(first, pieces.elements, pieces.longest, [&](int address, int count) {
        piece.address = address;
        piece.count = count;
        piece.data = bytesOfPiece(data, qint64(address - first) * pieces.bytes, count * pieces.bytes);
        listLength = AddListWriteVar(&piece, 0);
        if (lastRequestFailed())
            WriteDataToLocal(&piece);
        return writeListMayTakeMoreAfter(piece);
    });
    mirrorRest(piece, first, data, pieces);
    return listLength;
}

int writeToStoreOnly(RW_VAR &var, const QByteArray &data, int count)
{
    var.count = count;
    var.data = data;
    WriteDataToLocal(&var);
    return 1;
}
} // namespace

int SetRegisterData(QString extraText, int area, QString addressText, int station, QByteArray data, int count,
                    int ownerType, int ownerId)
{
    if (PLC_driver.comInfo == nullptr)
        return 0;
    RW_VAR var;
    var.address = StringAddressToInt(area, addressText);
    if (var.address < 0)
        return 0;
    var.ownerType = ownerType;
    var.ownerId = ownerId;
    var.accessMode = kvReplyIsShort;
    var.field3 = setting(&ComInfo::remoteMode);
    var.linkId = setting(&ComInfo::localLinkId);
    var.extraText = extraText;
    var.addressText = addressText;
    var.area = area; // as given: the write frames tell R from its channels, T from TS
    var.station = stationInUse(station);

    if (setting(&ComInfo::commMode) != kvSendWrites)
        return writeToStoreOnly(var, data, count);
    const Area *row = findArea(area); // known: its address was parsed
    return queuePieces(var, data, piecesOf(*row, count, cappedBlockLength()));
}
