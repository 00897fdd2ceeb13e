// SPDX-License-Identifier: MIT
// The devices of a KV PLC as rows.
//
// On purpose not the driver's table: an address that an engineer reads in the manual and an area
// code that the driver takes meet here, and a wrong row of one side shows in the tests of the
// other. Ranges are those of a KV-8000, the largest of the family; a smaller PLC answers E0 for
// what it lacks. Documents of CTH give no range and none give the longest reads: those are the
// usual ones of the family.
#include "model/device_table.h"

namespace kvlink
{

namespace
{

constexpr Notation channelBit = Notation::ChannelBit;
constexpr Notation hexBit = Notation::HexBit;
constexpr Notation decimal = Notation::Decimal;
constexpr Notation hex = Notation::Hex;

constexpr Element bit = Element::Bit;
constexpr Element contact = Element::Contact;
constexpr Element word = Element::Word;
constexpr Element doubleWord = Element::DoubleWord;

constexpr int none = -1; // the device has no such area

constexpr int lastBit(int channels)
{
    return channels * bitsOfWord - 1;
}

// clang-format off
constexpr Device table[] = {
    // The last number is the most units in one request.
    // name  notation    element    area word  bit read  field           write lowest highest
    {"R",    channelBit, bit,          0,   26, none,  0, Field::Whole,   true,   0, lastBit(2000), 1000, "relay (inputs, outputs, internal)",    "R0 to R199915"},
    {"B",    hexBit,     bit,          1,   27, none,  1, Field::Whole,   true,   0, 0x7FFF,        1000, "link relay",                           "B0 to B7FFF"},
    {"MR",   channelBit, bit,          2,   28, none,  2, Field::Whole,   true,   0, lastBit(4000), 1000, "internal auxiliary relay",             "MR0 to MR399915"},
    {"LR",   channelBit, bit,          3,   29, none,  3, Field::Whole,   true,   0, lastBit(1000), 1000, "latch relay",                          "LR0 to LR99915"},
    {"CR",   channelBit, bit,          4,   30, none,  4, Field::Whole,   true,   0, lastBit(80),   1000, "control relay",                        "CR0 to CR7915"},
    {"VB",   hexBit,     bit,          5,   31, none,  5, Field::Whole,   true,   0, 0xF9FF,        1000, "work relay",                           "VB0 to VBF9FF"},
    {"T",    decimal,    contact,      6, none, none,  6, Field::Contact, false,  0, 3999,           120, "timer contact",                        "T0 to T3999"},
    {"C",    decimal,    contact,      7, none, none,  7, Field::Contact, false,  0, 3999,           120, "counter contact",                      "C0 to C3999"},
    {"DM",   decimal,    word,        10, none,   32, 10, Field::Whole,   true,   0, 65534,         1000, "data memory",                          "DM0 to DM65534"},
    {"EM",   decimal,    word,        11, none,   33, 11, Field::Whole,   true,   0, 65534,         1000, "extended data memory",                 "EM0 to EM65534"},
    {"FM",   decimal,    word,        12, none,   34, 12, Field::Whole,   true,   0, 32767,         1000, "file memory, current bank",            "FM0 to FM32767"},
    {"ZF",   decimal,    word,        13, none,   35, 13, Field::Whole,   true,   0, 524287,        1000, "file memory, continuous",              "ZF0 to ZF524287"},
    {"W",    hex,        word,        14, none,   36, 14, Field::Whole,   true,   0, 0x7FFF,        1000, "link register",                        "W0 to W7FFF"},
    {"TM",   decimal,    word,        15, none,   37, 15, Field::Whole,   true,   0, 511,            512, "temporary memory",                     "TM0 to TM511"},
    {"Z",    decimal,    doubleWord,  16, none, none, 16, Field::Whole,   true,   1, 12,              12, "index register",                       "Z1 to Z12"},
    {"TC",   decimal,    doubleWord,  17, none, none,  6, Field::Current, true,   0, 3999,           120, "timer, current value",                 "TC0 to TC3999"},
    {"TS",   decimal,    doubleWord,  18, none, none,  6, Field::Set,     true,   0, 3999,           120, "timer, set value",                     "TS0 to TS3999"},
    {"CC",   decimal,    doubleWord,  19, none, none,  7, Field::Current, true,   0, 3999,           120, "counter, current value",               "CC0 to CC3999"},
    {"CS",   decimal,    doubleWord,  20, none, none,  7, Field::Set,     true,   0, 3999,           120, "counter, set value",                   "CS0 to CS3999"},
    {"CTH",  decimal,    doubleWord,  21, none,    8, 21, Field::Current, true,   0, 1,                2, "high-speed counter (contact: CTH0.C)", "CTH0 to CTH1"},
    {"CTC",  decimal,    doubleWord,  22, none,    9, 22, Field::Set,     true,   0, 3,                4, "counter comparator (contact: CTC0.C)", "CTC0 to CTC3"},
    {"AT",   decimal,    doubleWord,  23, none, none, 23, Field::Whole,   true,   0, 7,                8, "digital trimmer",                      "AT0 to AT7"},
    {"CM",   decimal,    word,        24, none,   38, 24, Field::Whole,   true,   0, 7599,          1000, "control memory",                       "CM0 to CM7599"},
    {"VM",   decimal,    word,        25, none,   39, 25, Field::Whole,   true,   0, 589823,        1000, "work memory",                          "VM0 to VM589823"},
};
// clang-format on

} // namespace

std::span<const Device> devices()
{
    return table;
}

const Device *deviceNamed(std::string_view name)
{
    for (const Device &device : table) {
        if (name == device.name)
            return &device;
    }
    return nullptr;
}

const Device *findDevice(const QString &name)
{
    return deviceNamed(std::string_view(name.toLatin1().constData()));
}

} // namespace kvlink
