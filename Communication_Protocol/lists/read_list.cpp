// SPDX-License-Identifier: MIT
// Read list rebuilding: from the variables of all screens to as few read blocks as serve them.
//
// In:   the host's variables, in host units.
// Out:  readList, ordered by station, key and address; no block longer than maxBlockLength store
//       units.
// Runs: on any thread; listMutex is held from the first step to the last, so the scheduler never
//       sees a list that is half built. The listing is printed after the unlock, from a copy.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "lists/pieces.h"

#include <algorithm>
#include <vector>

namespace
{
using Groups = QMap<int, QMap<int, QList<RW_VAR>>>; // station -> read key -> variables

constexpr int nobody = -1; // ownerId of blocks: they serve all screens

// What all read blocks have in common.
RW_VAR readTemplate()
{
    RW_VAR var;
    var.ownerId = nobody;
    var.field3 = setting(&ComInfo::remoteMode);
    var.linkId = setting(&ComInfo::localLinkId);
    return var;
}

Groups groupVariables(const QList<HOSTVAR> &list)
{
    Groups groups;
    RW_VAR var = readTemplate();
    for (const HOSTVAR &wanted : list) {
        const int address = StringAddressToInt(wanted.area, wanted.addressText);
        if (address < 0)
            continue; // logged by the parser
        var.extraText = wanted.extraText;
        var.addressText = wanted.addressText;
        var.area = wanted.area;
        var.address = address;
        var.station = stationInUse(wanted.station);
        var.count = wanted.count;
        updateRwVar(&var);
        groups[var.station][var.area].append(var);
    }
    return groups;
}

// Timers and counters are never merged: each of their elements is a block of its own.
int longestBlock(int readKey, int maxLength)
{
    return findArea(readKey)->reply == Reply::Triples ? 1 : maxLength;
}

void appendGroups(Groups &groups, int maxLength)
{
    for (auto &keysOfStation : groups) {
        for (QList<RW_VAR> &group : keysOfStation) {
            Bubble_Sort(&group);
            BitVarReCreat_3(&group, longestBlock(group.first().area, maxLength));
        }
    }
}

std::vector<ControlInformationM> listing()
{
    std::vector<ControlInformationM> blocks;
    blocks.reserve(size_t(PLC_driver.readList.size()));
    for (const RW_VAR &block : std::as_const(PLC_driver.readList))
        blocks.push_back({block.station, block.area, block.address, block.count});
    return blocks;
}

void printListing(const std::vector<ControlInformationM> &blocks)
{
    qDebug("************ fenzu ***********");
    for (const ControlInformationM &block : blocks)
        qDebug("%d %d %d %d", block.station, block.area, block.address, block.count);
}

// Appends count units from the address on, with the fields of a block or variable.
void appendBlocks(RW_VAR block, int address, qint64 count, int longest)
{
    forEachPiece(address, count, longest, [&block](int start, int length) {
        block.address = start;
        block.count = length;
        PLC_driver.readList.append(block);
        return true;
    });
}

// Grows the last block, across any gap, until it reaches end. What exceeds the longest length goes
// into further blocks with the same fields.
void growLastBlock(qint64 end, int longest)
{
    const RW_VAR last = PLC_driver.readList.last();
    const qint64 needed = end - last.address;
    if (last.count >= needed)
        return;
    PLC_driver.readList.removeLast();
    appendBlocks(last, last.address, needed, longest);
}
} // namespace

void Bubble_Sort(QList<RW_VAR> *list)
{
    if (list == nullptr)
        return;
    std::stable_sort(list->begin(), list->end(),
                     [](const RW_VAR &one, const RW_VAR &other) { return one.address < other.address; });
}

void BitVarReCreat_3(QList<RW_VAR> *list, int maxLength)
{
    if (list == nullptr)
        return;
    const int longest = qMax(1, maxLength);
    const QList<RW_VAR> &blocks = PLC_driver.readList;
    const auto before = blocks.size();
    for (const RW_VAR &var : std::as_const(*list)) {
        const bool blockOpened = blocks.size() > before;
        if (blockOpened && var.address < qint64(blocks.last().address) + longest)
            growLastBlock(qint64(var.address) + var.count, longest);
        else
            appendBlocks(var, var.address, var.count, longest);
    }
}

int ReCreatReadVarList(QList<HOSTVAR> *list)
{
    if (list == nullptr || PLC_driver.comInfo == nullptr)
        return 0;
    std::vector<ControlInformationM> blocks;
    {
        const Held lists(PLC_driver.listMutex, Rank::Lists);
        PLC_driver.readList.clear();
        if (list->isEmpty())
            return 0;
        const int maxLength = blockLength();
        storeShared(PLC_driver.readsThisCycle, 0);
        setSetting(&ComInfo::cycleDone, 0);
        Groups groups = groupVariables(*list);
        appendGroups(groups, maxLength);
        blocks = listing();
    }
    printListing(blocks);
    return int(blocks.size());
}
