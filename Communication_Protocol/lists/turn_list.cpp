// SPDX-License-Identifier: MIT
#include "lists/turn_list.h"

#include <algorithm>

namespace
{
// More entries than this are cheaper to move with the whole list than one by one.
constexpr int fewEntries = 1000;
} // namespace

// Not QList::move(): on Qt 6 it moves every entry of the list, each time.
void turnList(QList<RW_VAR> &list, int count)
{
    const int rest = int(list.size()) - count;
    if (count <= fewEntries) {
        for (int i = 0; i < count; ++i)
            list.append(list.takeFirst());
    } else if (rest <= fewEntries) {
        for (int i = 0; i < rest; ++i)
            list.prepend(list.takeLast());
    } else {
        std::rotate(list.begin(), list.begin() + count, list.end());
    }
}
