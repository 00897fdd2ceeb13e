// SPDX-License-Identifier: MIT
#include "engine/asked_reads.h"

namespace kvlink
{

namespace
{
constexpr int mostLosses = 2;
} // namespace

void AskedReads::noteEnd(const AskedRead &read)
{
    if (read.id != 0)
        m_ended.push_back(read.id);
}

void AskedReads::endFirst()
{
    noteEnd(m_reads.front());
    m_reads.pop_front();
}

void AskedReads::linkLost()
{
    std::erase_if(m_reads, [this](AskedRead &read) {
        const bool ends = ++read.losses >= mostLosses || read.id == 0;
        if (ends)
            noteEnd(read);
        return ends;
    });
}

void AskedReads::endAll()
{
    for (const AskedRead &read : m_reads)
        noteEnd(read);
    m_reads.clear();
}

} // namespace kvlink
