#include "start_pages.h"

#include <QFile>
#include <QList>

#include <malloc.h>
#include <sys/mman.h>

namespace kvhost
{

namespace
{

// "7f0a1000-7f0a3000 r-xp 00001000 fe:00 1234    /usr/lib/libc.so.6"
bool isMapping(const QList<QByteArray> &words)
{
    return words.size() >= 6 && words[0].contains('-') && words[1].size() == 4;
}

PageRange rangeOf(const QByteArray &text)
{
    const int dash = int(text.indexOf('-'));
    const auto first = std::uintptr_t(text.left(dash).toULongLong(nullptr, 16));
    const auto end = std::uintptr_t(text.mid(dash + 1).toULongLong(nullptr, 16));
    return {first, end - first};
}

} // namespace

std::vector<PageRange> givableRanges(QIODevice *smaps)
{
    std::vector<PageRange> ranges;
    bool givable = false;
    PageRange range;
    for (QByteArray line = smaps->readLine(); !line.isEmpty(); line = smaps->readLine()) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (isMapping(words)) {
            range = rangeOf(words[0]);
            givable = words[5].startsWith('/') && (words[1] == "r--p" || words[1] == "r-xp");
        } else if (givable && words[0] == "Anonymous:" && words.value(1) == "0") {
            ranges.push_back(range);
        }
    }
    return ranges;
}

void giveBackStartPages()
{
    QFile smaps(QStringLiteral("/proc/self/smaps"));
    if (!smaps.open(QIODevice::ReadOnly))
        return;
    // Where the system refuses, the pages stay: nothing depends on it.
    for (const PageRange &range : givableRanges(&smaps))
        ::madvise(reinterpret_cast<void *>(range.first), range.size, MADV_DONTNEED);
    ::malloc_trim(0);
}

} // namespace kvhost
