// SPDX-License-Identifier: MIT
// The lists of pending requests, as the host's screens fill them.
//
// Runs: on any thread; listMutex is held while a list is touched. AddListReadVar alone takes no
//       lock: it is not called while the exchange loop runs.
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "lists/pieces.h"
#include "lists/write_list.h"

#include <algorithm>

namespace
{
constexpr int mostEntries = 1024; // of writeList and of onceReadList

bool hasRoom(const QList<RW_VAR> &list)
{
    return list.size() < mostEntries;
}

bool sameRequest(const RW_VAR &one, const RW_VAR &other)
{
    return one.station == other.station && one.area == other.area && one.address == other.address &&
           one.count == other.count;
}

bool sameOwnedRequest(const RW_VAR &one, const RW_VAR &other)
{
    return one.ownerType == other.ownerType && one.ownerId == other.ownerId && sameRequest(one, other);
}

// Overwrites a pending write of the same range with the newer values.
// On purpose: the head is never looked at, because the PLC may be serving it just now.
bool mergeAfterHead(QList<RW_VAR> &list, const RW_VAR &var)
{
    for (int i = 1; i < list.size(); ++i) {
        if (sameRequest(list.at(i), var)) {
            // Moved in from a copy: the old values are released here, where the thread sanitizer
            // sees it, not inside Qt.
            list[i] = RW_VAR(var);
            return true;
        }
    }
    return false;
}

void addOnceReadPiece(const RW_VAR &piece)
{
    QList<RW_VAR> &list = PLC_driver.onceReadList;
    const bool known = std::any_of(list.constBegin(), list.constEnd(),
                                   [&piece](const RW_VAR &entry) { return sameOwnedRequest(entry, piece); });
    if (!known && hasRoom(list))
        list.append(piece);
}

// Cuts a variable in store units into pieces of at most longest units. Pieces that find the list
// full are dropped.
void addOnceReadPieces(const RW_VAR &var, int longest)
{
    RW_VAR piece = var;
    forEachPiece(var.address, var.count, longest, [&piece](int address, int count) {
        piece.address = address;
        piece.count = count;
        addOnceReadPiece(piece);
        return hasRoom(PLC_driver.onceReadList);
    });
}

int appendOnceRead(const RW_VAR &var)
{
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    PLC_driver.onceReadList.append(var);
    return int(PLC_driver.onceReadList.size());
}
} // namespace

bool writeListMayTakeMoreAfter(const RW_VAR &piece)
{
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    const QList<RW_VAR> &list = PLC_driver.writeList;
    if (hasRoom(list))
        return true;
    return std::any_of(list.constBegin() + 1, list.constEnd(), [&piece](const RW_VAR &entry) {
        return entry.station == piece.station && entry.area == piece.area && entry.address > piece.address;
    });
}

int AddListReadVar(RW_VAR *var)
{
    if (var == nullptr)
        return 0;
    // Unlocked on purpose: the exchange loop is not running.
    PLC_driver.readList.append(*var);
    return int(PLC_driver.readList.size());
}

int AddListWriteVar(RW_VAR *var, int mode)
{
    if (var == nullptr)
        return 0;
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    QList<RW_VAR> &list = PLC_driver.writeList;
    if (mode == kvAppendUnchanged || (!mergeAfterHead(list, *var) && hasRoom(list)))
        list.append(*var);
    return int(list.size());
}

int AddListOnceReadVar(RW_VAR *var, int mode)
{
    if (var == nullptr)
        return 0;
    if (mode == kvAppendUnchanged)
        return appendOnceRead(*var);
    if (PLC_driver.comInfo == nullptr)
        return 0;

    RW_VAR request = *var;
    request.address = StringAddressToInt(request.area, request.addressText);
    if (request.address < 0)
        return 0;
    request.station = stationInUse(request.station);
    request.preReadMark = 0;
    request.field13 = 0;
    updateRwVar(&request);

    const Held lists(PLC_driver.listMutex, Rank::Lists);
    addOnceReadPieces(request, blockLength());
    return int(PLC_driver.onceReadList.size());
}
