// SPDX-License-Identifier: MIT
// Lists of cyclically read variables: blocks come out in order, within the longest length, and
// every unit that a variable asked for lies in one of them.
#include "driver_fuzz.h"

namespace
{
bool covered(const RW_VAR &wanted)
{
    for (qint64 unit = wanted.address; unit < qint64(wanted.address) + wanted.count; ++unit) {
        bool found = false;
        for (const RW_VAR &block : std::as_const(PLC_driver.readList)) {
            found = found || (block.station == wanted.station && block.area == wanted.area &&
                              unit >= block.address && unit < qint64(block.address) + block.count);
        }
        if (!found && unit <= 0x7FFFFFFF)
            return false;
    }
    return true;
}

bool inOrder(const RW_VAR &one, const RW_VAR &other)
{
    if (one.station != other.station)
        return one.station < other.station;
    return one.area != other.area ? one.area < other.area : one.address <= other.address;
}

HOSTVAR someVariable(Input &input)
{
    HOSTVAR var;
    var.area = quint8(input.between(0, 41));
    var.station = quint8(input.between(0, 2));
    var.count = input.between(-2, 300); // a block each for timers: kept small for the fuzzer
    var.addressText = someAddressText(input, 400);
    return var;
}

void requireBlocks(int longest)
{
    for (int i = 0; i < PLC_driver.readList.size(); ++i) {
        const RW_VAR &block = PLC_driver.readList.at(i);
        require(block.count >= 1 && block.count <= longest, "a block is within the longest length");
        require(i == 0 || inOrder(PLC_driver.readList.at(i - 1), block), "blocks stand in order");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    QList<HOSTVAR> list;
    while (!input.empty() && list.size() < 40)
        list.append(someVariable(input));
    require(ReCreatReadVarList(&list) == int(PLC_driver.readList.size()), "the number of blocks is returned");
    requireBlocks(qMax(1, settings.maxBlockLength));

    for (const HOSTVAR &wanted : std::as_const(list)) {
        RW_VAR var;
        var.area = wanted.area;
        var.address = StringAddressToInt(wanted.area, wanted.addressText);
        if (var.address < 0)
            continue;
        var.station = settings.multiStation != 0 ? int(wanted.station) : settings.defaultStation;
        var.count = wanted.count;
        updateRwVar(&var);
        require(covered(var), "every unit that was asked for is read");
    }
    return 0;
}
