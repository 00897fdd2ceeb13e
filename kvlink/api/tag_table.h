// SPDX-License-Identifier: MIT
// What a Plc keeps of each tag, found by the tag's id in constant time.
//
// Ids go up and are never given out again. Entries lie in pages of 256; a page whose tags are all
// gone is given back, so that a program that adds and removes tags for years does not grow.
#pragma once

#include <kvlink/tag.h>

#include <QByteArray>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace kvlink
{

/// The texts of a tag; its numbers are the engine's. Small: 100,000 of them are held.
struct TagEntry {
    explicit TagEntry(const TagSettings &settings);
    /// Fills in address, name and unit.
    void copyTo(TagSettings &settings) const;

    QByteArray texts;         ///< address, name and unit, with a byte 0 between them: one piece of memory
    bool changeWaits = false; ///< a change of this tag waits to be taken
};

class TagTable
{
public:
    Tag add(const TagSettings &settings);
    void remove(Tag tag);
    /// Null if there is no such tag, or no longer.
    TagEntry *find(Tag tag) { return entryOf(tag); }
    const TagEntry *find(Tag tag) const { return entryOf(tag); }
    std::vector<Tag> tags() const;

private:
    struct Page {
        static constexpr quint32 size = 256;
        std::array<std::optional<TagEntry>, size> entries;
        quint32 used = 0;
    };

    TagEntry *entryOf(Tag tag) const;

    std::vector<std::unique_ptr<Page>> m_pages;
    quint32 m_lastId = 0;
};

} // namespace kvlink
