// Lists of cyclically read variables: blocks come out in order, within the longest length, and every unit
// that a variable asked for lies in one of them.
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
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ComInfo settings = someSettings(input);
    freshDriver(&settings);
    QList<HOSTVAR> list;
    while (input.remaining_bytes() > 0 && list.size() < 40) {
        HOSTVAR var;
        var.area = input.ConsumeIntegralInRange<quint8>(0, 41);
        var.station = input.ConsumeIntegralInRange<quint8>(0, 2);
        var.count =
            input.ConsumeIntegralInRange(-2, 300); // a block each for timers: kept small for the fuzzer
        var.addressText =
            input.ConsumeBool() ? QString::number(input.ConsumeIntegralInRange(0, 400)) : someText(input, 12);
        list.append(var);
    }
    require(ReCreatReadVarList(&list) == int(PLC_driver.readList.size()));

    const int longest = qMax(1, settings.maxBlockLength);
    for (int i = 0; i < PLC_driver.readList.size(); ++i) {
        const RW_VAR &block = PLC_driver.readList.at(i);
        require(block.count >= 1 && block.count <= longest);
        require(i == 0 || inOrder(PLC_driver.readList.at(i - 1), block));
    }
    for (const HOSTVAR &wanted : std::as_const(list)) {
        RW_VAR var;
        var.area = wanted.area;
        var.address = StringAddressToInt(wanted.area, wanted.addressText);
        if (var.address < 0)
            continue;
        var.station = settings.multiStation != 0 ? int(wanted.station) : settings.defaultStation;
        var.count = wanted.count;
        updateRwVar(&var);
        require(covered(var));
    }
    return 0;
}
