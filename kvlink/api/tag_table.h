// SPDX-License-Identifier: MIT
// What a Plc keeps of each tag, found by the tag's id in constant time.
//
// Ids go up and are never given out again. Entries lie in pages of 256; a page whose tags are all
// gone is given back, so that a program that adds and removes tags for years does not grow.
#pragma once

#include <kvlink/sample.h>
#include <kvlink/tag.h>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace kvlink
{

struct TagEntry {
    TagSettings settings;
    Sample sample;
    bool changeWaits = false; ///< a change of this tag waits to be taken
};

class TagTable
{
public:
    Tag add(const TagSettings &settings);
    void remove(Tag tag);
    /// Null if there is no such tag, or no longer.
    TagEntry *find(Tag tag);
    const TagEntry *find(Tag tag) const;
    std::vector<Tag> tags() const;

private:
    struct Page {
        static constexpr quint32 size = 256;
        std::array<std::optional<TagEntry>, size> entries;
        quint32 used = 0;
    };

    std::vector<std::unique_ptr<Page>> m_pages;
    quint32 m_lastId = 0;
};

} // namespace kvlink
