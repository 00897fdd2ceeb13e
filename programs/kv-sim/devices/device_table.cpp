// SPDX-License-Identifier: MIT
// The rows of all devices and models.
#include "devices/device_table.h"

#include "text/digits.h"

namespace kvsim
{
namespace
{

constexpr auto relay = Kind::Relay;
constexpr auto word = Kind::Word;
constexpr auto dword = Kind::DWord;
constexpr auto triple = Kind::Triple;
constexpr auto setval = Kind::SetValue;
constexpr auto chbit = Notation::ChannelBit;
constexpr auto hex = Notation::Hex;
constexpr auto deci = Notation::Decimal;
constexpr auto bit = Format::Bit;
constexpr auto u16 = Format::U;
constexpr auto u32 = Format::D;
constexpr const char *none = nullptr;

// Z begins at 1. Unverified: all columns but the first, the range of CTH, the standard formats of
// CM, VM, CTH and CTC, and every largest count. Our choice: CM of KV-1000 and KV-700, and that
// neither has AT.
// clang-format off
constexpr std::array<Device, deviceCount> table{{
    // name kind    notat. std first   KV-8000   KV-5000   KV-1000  KV-700   Nano       count  32  S
    { "R",   relay,  chbit, bit, "0", { "199915", "99915",  "59915", "59915", "59915" },  1000,  500,   true  },
    { "B",   relay,  hex,   bit, "0", { "7FFF",   "3FFF",   none,    none,    "1FFF"  },  1000,  500,   true  },
    { "MR",  relay,  chbit, bit, "0", { "399915", "99915",  "99915", none,    "59915" },  1000,  500,   true  },
    { "LR",  relay,  chbit, bit, "0", { "99915",  "99915",  "99915", none,    "19915" },  1000,  500,   true  },
    { "CR",  relay,  chbit, bit, "0", { "7915",   "3915",   "3915",  "3915",  "8915"  },  1000,  500,   true  },
    { "VB",  relay,  hex,   bit, "0", { "F9FF",   "3FFF",   none,    none,    "1FFF"  },  1000,  500,   true  },
    { "DM",  word,   deci,  u16, "0", { "65534",  "65534",  "65534", "19999", "32767" },  1000,  500,   false },
    { "EM",  word,   deci,  u16, "0", { "65534",  "65534",  "65534", none,    none    },  1000,  500,   false },
    { "FM",  word,   deci,  u16, "0", { "32767",  "32767",  "32766", none,    none    },  1000,  500,   false },
    { "ZF",  word,   deci,  u16, "0", { "524287", "131071", none,    none,    none    },  1000,  500,   false },
    { "W",   word,   hex,   u16, "0", { "7FFF",   "3FFF",   none,    none,    "3FFF"  },  1000,  500,   false },
    { "TM",  word,   deci,  u16, "0", { "511",    "511",    "511",   "511",   "511"   },   512,  256,   false },
    { "Z",   dword,  deci,  u16, "1", { "12",     "12",     "12",    "12",    "12"    },    12,   12,   false },
    { "AT",  dword,  deci,  u32, "0", { "7",      "7",      none,    none,    none    },     8,    8,   false },
    { "T",   triple, deci,  u32, "0", { "3999",   "3999",   "3999",  "511",   "511"   },   120,  120,   true  },
    { "C",   triple, deci,  u32, "0", { "3999",   "3999",   "3999",  "511",   "255"   },   120,  120,   true  },
    { "CTH", triple, deci,  u32, "0", { "1",      "1",      "1",     "1",     "3"     },     2,    2,   false },
    { "CTC", triple, deci,  u32, "0", { "3",      "3",      "3",     "3",     "7"     },     4,    4,   true  },
    { "TS",  setval, deci,  u32, "0", { "3999",   "3999",   "3999",  "511",   "511"   },   120,  120,   false },
    { "CS",  setval, deci,  u32, "0", { "3999",   "3999",   "3999",  "511",   "255"   },   120,  120,   false },
    { "CM",  word,   deci,  u16, "0", { "7599",   "5999",   "3999",  "3999",  "8999"  },  1000,  500,   false },
    { "VM",  word,   deci,  u16, "0", { "589823", "59999",  none,    none,    "9499"  },  1000,  500,   false },
}};

constexpr std::array<Model, 13> modelTable{{
    // Which range column a model takes is unverified but for the KV-8000 and KV-7000 ones.
    { "KV-8000",  Family::Kv8000,  57 }, { "KV-8000A", Family::Kv8000,  58 }, { "KV-7500", Family::Kv8000,  55 },
    { "KV-7300",  Family::Kv8000,  54 }, { "KV-5500",  Family::Kv5000,  53 }, { "KV-5000", Family::Kv5000,  52 },
    { "KV-3000",  Family::Kv5000,  51 }, { "KV-1000",  Family::Kv1000,   0 }, { "KV-700",  Family::Kv700,    0 },
    { "KV-NC32T", Family::Nano,   128 }, { "KV-N60",   Family::Nano,   132 }, { "KV-N40",  Family::Nano,   133 },
    { "KV-N24",   Family::Nano,   134 },
}};
// clang-format on

ElementNumber channelBit(std::string_view text)
{
    const auto number = decimal(text);
    if (!number)
        return {NumberError::Form};
    if (*number % 100 >= bitsPerChannel)
        return {NumberError::BitDigits};
    return {NumberError::None, *number / 100 * bitsPerChannel + *number % 100};
}

} // namespace

std::span<const Device, deviceCount> devices()
{
    return table;
}

std::span<const Model> models()
{
    return modelTable;
}

std::size_t rowOf(const Device &device)
{
    return std::size_t(&device - table.data());
}

const Device *deviceNamed(std::string_view name)
{
    for (const Device &device : table)
        if (name == device.name)
            return &device;
    return nullptr;
}

const Device *deviceAtStartOf(std::string_view text)
{
    const Device *best = nullptr;
    std::size_t length = 0;
    for (const Device &device : table) {
        const std::string_view name = device.name;
        if (name.size() > length && text.substr(0, name.size()) == name) {
            best = &device;
            length = name.size();
        }
    }
    return best;
}

const Device &holderOf(const Device &device)
{
    if (device.kind != Kind::SetValue)
        return device;
    return *deviceNamed(std::string_view(device.name).substr(0, 1));
}

const Model *modelNamed(std::string_view name)
{
    for (const Model &model : modelTable)
        if (name == model.name)
            return &model;
    return nullptr;
}

ElementNumber elementFromText(Notation notation, std::string_view text, bool upperOnly)
{
    if (notation == Notation::ChannelBit)
        return channelBit(text);
    const auto number = notation == Notation::Hex ? hexadecimal(text, upperOnly) : decimal(text);
    return number ? ElementNumber{NumberError::None, *number} : ElementNumber{NumberError::Form};
}

std::string elementToText(Notation notation, std::uint32_t element)
{
    if (notation == Notation::Hex)
        return toHexadecimal(element);
    if (notation == Notation::Decimal)
        return std::to_string(element);
    return std::to_string(element / bitsPerChannel * 100 + element % bitsPerChannel);
}

std::optional<Range> rangeOf(const Device &device, Family family)
{
    const char *last = device.last[std::size_t(family)];
    if (!last)
        return std::nullopt;
    return Range{elementFromText(device.notation, device.first).element,
                 elementFromText(device.notation, last).element};
}

std::uint32_t elementsPerValue(const Device &device, Format format)
{
    if (format == Format::Bit)
        return 1;
    const std::uint32_t words = is32Bit(format) ? 2 : 1;
    if (device.kind == Kind::Relay)
        return words * bitsPerChannel;
    return device.kind == Kind::Word ? words : 1;
}

} // namespace kvsim
