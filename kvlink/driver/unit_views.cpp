// SPDX-License-Identifier: MIT
// Views of what a read request brought. See unit_views.h.
#include "driver/unit_views.h"

#include <Communication_Protocol.h>

#include <algorithm>
#include <iterator>

namespace kvlink
{

namespace
{

// clang-format off
constexpr int none = -1;
constexpr UnitViews rows[] = {
//   read area        address            whole          contact   current         set
    {AREA_R,          UnitText::Channel, AREA_R_WORD,   none,     none,           none},
    {AREA_B,          UnitText::HexWord, AREA_B_WORD,   none,     none,           none},
    {AREA_MR,         UnitText::Channel, AREA_MR_WORD,  none,     none,           none},
    {AREA_LR,         UnitText::Channel, AREA_LR_WORD,  none,     none,           none},
    {AREA_CR,         UnitText::Channel, AREA_CR_WORD,  none,     none,           none},
    {AREA_VB,         UnitText::HexWord, AREA_VB_WORD,  none,     none,           none},
    {AREA_T,          UnitText::Decimal, none,          AREA_T,   AREA_T_DWORD,   AREA_TS},
    {AREA_C,          UnitText::Decimal, none,          AREA_C,   AREA_C_DWORD,   AREA_CS},
    {AREA_DM,         UnitText::Decimal, AREA_DM,       none,     none,           none},
    {AREA_EM,         UnitText::Decimal, AREA_EM,       none,     none,           none},
    {AREA_FM,         UnitText::Decimal, AREA_FM,       none,     none,           none},
    {AREA_ZF,         UnitText::Decimal, AREA_ZF,       none,     none,           none},
    {AREA_W,          UnitText::Hex,     AREA_W,        none,     none,           none},
    {AREA_TM,         UnitText::Decimal, AREA_TM,       none,     none,           none},
    {AREA_Z,          UnitText::Decimal, AREA_Z,        none,     none,           none},
    // Of a high-speed counter the driver keeps the first value alone, of its comparator the second.
    {AREA_CTH_DWORD,  UnitText::Decimal, none,          AREA_CTH, AREA_CTH_DWORD, none},
    {AREA_CTC_DWORD,  UnitText::Decimal, none,          AREA_CTC, none,           AREA_CTC_DWORD},
    {AREA_AT,         UnitText::Decimal, AREA_AT,       none,     none,           none},
    {AREA_CM,         UnitText::Decimal, AREA_CM,       none,     none,           none},
    {AREA_VM,         UnitText::Decimal, AREA_VM,       none,     none,           none},
};
// clang-format on

} // namespace

const UnitViews *findUnitViews(int readArea)
{
    const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                   [readArea](const UnitViews &views) { return views.readArea == readArea; });
    return row == std::end(rows) ? nullptr : row;
}

QString unitText(UnitText text, int unit)
{
    switch (text) {
    case UnitText::Decimal:
        return QString::number(unit);
    case UnitText::Hex:
        return QString::number(unit, 16).toUpper();
    case UnitText::Channel:
        return QString::number(unit) + QStringLiteral("00");
    case UnitText::HexWord:
        return QString::number(unit, 16).toUpper() + QLatin1Char('0');
    }
    return {};
}

} // namespace kvlink
