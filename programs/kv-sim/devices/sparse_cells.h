// SPDX-License-Identifier: MIT
// A long row of cells of which few are ever touched: a page exists from its first value that
// is not zero.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kvsim
{

template <typename Cell>
class SparseCells
{
public:
    /// Cells 0 to count - 1, all of them Cell{}.
    void resize(std::size_t count)
    {
        m_count = count;
        m_pages.clear();
    }

    /// Cell{} outside the row.
    Cell at(std::size_t index) const
    {
        const std::size_t page = index / pageSize;
        return page < m_pages.size() && !m_pages[page].empty() ? m_pages[page][index % pageSize] : Cell{};
    }

    /// Outside the row nothing happens.
    void set(std::size_t index, Cell value)
    {
        if (index >= m_count || (value == Cell{} && at(index) == Cell{}))
            return;
        const std::size_t page = index / pageSize;
        if (page >= m_pages.size())
            m_pages.resize(page + 1);
        if (m_pages[page].empty())
            m_pages[page].resize(pageSize);
        m_pages[page][index % pageSize] = value;
    }

    /// Equal values; which pages exist does not matter.
    bool operator==(const SparseCells &other) const
    {
        const std::size_t pages = std::max(m_pages.size(), other.m_pages.size());
        for (std::size_t index = 0; index < pages * pageSize; ++index)
            if (!(at(index) == other.at(index)))
                return false;
        return m_count == other.m_count;
    }

private:
    static constexpr std::size_t pageSize = 256;

    std::size_t m_count = 0;
    std::vector<std::vector<Cell>> m_pages; // an empty one was never touched
};

} // namespace kvsim
