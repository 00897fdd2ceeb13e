// SPDX-License-Identifier: MIT
#include "engine/piece_gatherer.h"

#include <algorithm>

namespace kvlink
{

namespace
{

constexpr int bitsOfWord = 16;

// The part of \a place that \a piece brings, as a place of its own.
Place partOf(const Place &place, const UnitBlock &piece)
{
    const int ofUnit = place.element == Element::Bit ? bitsOfWord : 1;
    Place part = place;
    part.number = std::max(place.number, piece.firstUnit * ofUnit);
    const int end = std::min(place.number + place.elements, (piece.firstUnit + piece.unitCount) * ofUnit);
    part.elements = end - part.number;
    return part;
}

} // namespace

void PieceGatherer::take(ValueBook &book, ValueBook::Slot slot, const UnitBlock &piece, const Moment &at,
                         bool tell)
{
    const Place &place = book.tag(slot).place;
    if (place.device == nullptr || place.readArea() != piece.readArea)
        return; // the tag was removed meanwhile
    const auto size = std::size_t(rawSize(place));
    Gathered &gathered = m_gathered[slot];
    if (piece.firstUnit == place.firstUnit())
        gathered = {std::vector<char>(size), piece.firstUnit, at};
    if (piece.firstUnit != gathered.nextUnit || gathered.raw.size() != size)
        return;
    const Place part = partOf(place, piece);
    const int bytesOfElement = int(size) / place.elements;
    copyRaw(part, piece, gathered.raw.data() + (part.number - place.number) * bytesOfElement);
    gathered.nextUnit += piece.unitCount;
    if (gathered.nextUnit < place.firstUnit() + place.unitCount())
        return;
    book.takeRaw(slot, gathered.raw.data(), gathered.began, tell);
    m_gathered.erase(slot);
}

} // namespace kvlink
