// SPDX-License-Identifier: MIT
#include "api/tag_table.h"

namespace kvlink
{

TagEntry::TagEntry(const TagSettings &settings)
    : texts(settings.address.toUtf8() + '\0' + settings.name.toUtf8() + '\0' + settings.unit.toUtf8())
{
    texts.squeeze();
}

void TagEntry::copyTo(TagSettings &settings) const
{
    const QList<QByteArray> parts = texts.split('\0');
    settings.address = QString::fromUtf8(parts.value(0));
    settings.name = QString::fromUtf8(parts.value(1));
    settings.unit = QString::fromUtf8(parts.value(2));
}

Tag TagTable::add(const TagSettings &settings)
{
    const quint32 id = ++m_lastId;
    const quint32 page = id / Page::size;
    if (page >= m_pages.size())
        m_pages.resize(page + 1);
    if (!m_pages[page])
        m_pages[page] = std::make_unique<Page>();
    m_pages[page]->entries[id % Page::size].emplace(settings);
    ++m_pages[page]->used;
    return Tag(id);
}

void TagTable::remove(Tag tag)
{
    if (find(tag) == nullptr)
        return;
    std::unique_ptr<Page> &page = m_pages[tag.id() / Page::size];
    page->entries[tag.id() % Page::size].reset();
    if (--page->used == 0)
        page.reset();
}

TagEntry *TagTable::entryOf(Tag tag) const
{
    const quint32 page = tag.id() / Page::size;
    if (page >= m_pages.size() || !m_pages[page])
        return nullptr;
    // cppcheck-suppress constVariable ; callers write through what is returned
    std::optional<TagEntry> &entry = m_pages[page]->entries[tag.id() % Page::size];
    return entry ? &*entry : nullptr;
}

std::vector<Tag> TagTable::tags() const
{
    std::vector<Tag> all;
    for (quint32 id = 1; id <= m_lastId; ++id) {
        if (find(Tag(id)) != nullptr)
            all.emplace_back(id);
    }
    return all;
}

} // namespace kvlink
