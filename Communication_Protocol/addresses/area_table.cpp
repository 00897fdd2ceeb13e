// SPDX-License-Identifier: MIT
#include "addresses/area_table.h"

#include "Communication_Protocol.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace
{
// The two keys differ for 8, 9 and 17 to 20: one read of T brings what three images hold.
// On purpose: hexadecimal numbers are upper case in operands and lower case in single relays.
// clang-format off
using enum Element;
using enum Form;
constexpr Area areas[] = {
//  code            device element  form         read image reply           field
//                                               key  key   then: write, operand, relay
    {AREA_R,         "R",   Relay,   ChannelBit,   0,  0, Reply::Words,   Field::None,    Write::Relay,     "%s%d00.U %d", "%s%d%02d"},
    {AREA_B,         "B",   Relay,   Hex,          1,  1, Reply::Words,   Field::None,    Write::HexRelay,  "%s%X0.U %d",  "%s%x"},
    {AREA_MR,        "MR",  Relay,   ChannelBit,   2,  2, Reply::Words,   Field::None,    Write::Relay,     "%s%d00.U %d", "%s%d%02d"},
    {AREA_LR,        "LR",  Relay,   ChannelBit,   3,  3, Reply::Words,   Field::None,    Write::Relay,     "%s%d00.U %d", "%s%d%02d"},
    {AREA_CR,        "CR",  Relay,   ChannelBit,   4,  4, Reply::Words,   Field::None,    Write::Relay,     "%s%d00.U %d", "%s%d%02d"},
    {AREA_VB,        "VB",  Relay,   Hex,          5,  5, Reply::Words,   Field::None,    Write::HexRelay,  "%s%X0.U %d",  "%s%x"},
    {AREA_T,         "T",   Contact, Decimal,      6,  6, Reply::Triples, Field::Contact, Write::Empty,     "%s%d.D %d",   nullptr},
    {AREA_C,         "C",   Contact, Decimal,      7,  7, Reply::Triples, Field::Contact, Write::Empty,     "%s%d.D %d",   nullptr},
    {AREA_CTH,       "CTH", Contact, Decimal,     21,  8, Reply::None,    Field::Contact, Write::Never,     nullptr,       nullptr},
    {AREA_CTC,       "CTC", Contact, Decimal,     22,  9, Reply::None,    Field::Contact, Write::Never,     nullptr,       nullptr},
    {AREA_DM,        "DM",  Word,    Decimal,     10, 10, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_EM,        "EM",  Word,    Decimal,     11, 11, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_FM,        "FM",  Word,    Decimal,     12, 12, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_ZF,        "ZF",  Word,    Decimal,     13, 13, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_W,         "W",   Word,    Hex,         14, 14, Reply::Words,   Field::None,    Write::Words,     "%s%X.U %d",   nullptr},
    {AREA_TM,        "TM",  Word,    Decimal,     15, 15, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_Z,         "Z",   DWord,   Decimal,     16, 16, Reply::DWords,  Field::None,    Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_T_DWORD,   "T",   DWord,   Decimal,      6, 17, Reply::Triples, Field::First,   Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_TS,        "TS",  DWord,   Decimal,      6, 18, Reply::Triples, Field::Second,  Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_C_DWORD,   "C",   DWord,   Decimal,      7, 19, Reply::Triples, Field::First,   Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_CS,        "CS",  DWord,   Decimal,      7, 20, Reply::Triples, Field::Second,  Write::DWords,    "%s%d.D %d",   nullptr},
    // On purpose: CTH keeps the first value of its triple, CTC the second.
    {AREA_CTH_DWORD, "CTH", DWord,   Decimal,     21, 21, Reply::Triples, Field::First,   Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_CTC_DWORD, "CTC", DWord,   Decimal,     22, 22, Reply::Triples, Field::Second,  Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_AT,        "AT",  DWord,   Decimal,     23, 23, Reply::DWords,  Field::None,    Write::DWords,    "%s%d.D %d",   nullptr},
    {AREA_CM,        "CM",  Word,    Decimal,     24, 24, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_VM,        "VM",  Word,    Decimal,     25, 25, Reply::Words,   Field::None,    Write::Words,     "%s%d.U %d",   nullptr},
    {AREA_R_WORD,    "R",   Word,    Channel,      0,  0, Reply::None,    Field::None,    Write::Words,     "%s%d00.U %d", nullptr},
    {AREA_B_WORD,    "B",   Word,    HexWord,      1,  1, Reply::None,    Field::None,    Write::Words,     "%s%X0.U %d",  nullptr},
    {AREA_MR_WORD,   "MR",  Word,    Channel,      2,  2, Reply::None,    Field::None,    Write::Words,     "%s%d00.U %d", nullptr},
    {AREA_LR_WORD,   "LR",  Word,    Channel,      3,  3, Reply::None,    Field::None,    Write::Words,     "%s%d00.U %d", nullptr},
    {AREA_CR_WORD,   "CR",  Word,    Channel,      4,  4, Reply::None,    Field::None,    Write::Words,     "%s%d00.U %d", nullptr},
    {AREA_VB_WORD,   "VB",  Word,    HexWord,      5,  5, Reply::None,    Field::None,    Write::Words,     "%s%X0.U %d",  nullptr},
    {AREA_DM_BIT,    "DM",  WordBit, DotBit,      10, 10, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_EM_BIT,    "EM",  WordBit, DotBit,      11, 11, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_FM_BIT,    "FM",  WordBit, DotBit,      12, 12, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_ZF_BIT,    "ZF",  WordBit, DotBit,      13, 13, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_W_BIT,     "W",   WordBit, HexDotBit,   14, 14, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_TM_BIT,    "TM",  WordBit, DotBit,      15, 15, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_CM_BIT,    "CM",  WordBit, DotBit,      24, 24, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
    {AREA_VM_BIT,    "VM",  WordBit, DotBit,      25, 25, Reply::None,    Field::None,    Write::BitOfWord, nullptr,       nullptr},
};
// clang-format on

// findArea takes the code for the number of the row.
constexpr bool isInTheRowOfItsCode(const Area &area)
{
    return &area - std::begin(areas) == area.code;
}
static_assert(std::size(areas) == areaCount);
static_assert(std::all_of(std::begin(areas), std::end(areas), isInTheRowOfItsCode));

// A row fills exactly the columns that are used: the field of a triple where triples fill its
// image, and the operand where the area has commands of its own. An area without them has the
// device name of the area that is read for it.
constexpr bool fillsTheColumnsInUse(const Area &area)
{
    const Area &read = areas[area.readKey];
    const bool fromTriples = read.reply == Reply::Triples;
    const bool ownCommands = isReadable(area) || area.write == Write::Words || area.write == Write::DWords;
    return (area.field != Field::None) == fromTriples && (area.operand != nullptr) == ownCommands &&
           (ownCommands || std::string_view(area.device) == read.device);
}
static_assert(std::all_of(std::begin(areas), std::end(areas), fillsTheColumnsInUse));
} // namespace

const Area *findArea(int code)
{
    return code >= 0 && code < int(std::size(areas)) ? &areas[code] : nullptr;
}

const Area *firstArea()
{
    return std::begin(areas);
}

const Area *pastLastArea()
{
    return std::end(areas);
}
