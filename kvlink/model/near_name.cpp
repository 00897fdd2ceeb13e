// SPDX-License-Identifier: MIT
// Distance between names: as many single slips of the keyboard as lie between them.
#include "model/near_name.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace kvlink
{

namespace
{

constexpr int lettersForOneSlip = 3;

// Slips between two names; rows of a table of which three are kept, since swapped neighbours look
// two rows back.
int slipsBetween(const QString &one, const QString &other)
{
    const int width = int(other.size()) + 1;
    const auto room = size_t(width);
    std::vector<int> beforeLast(room);
    std::vector<int> last(room);
    std::vector<int> current(room);
    for (int column = 0; column < width; ++column)
        last[size_t(column)] = column;
    for (int row = 1; row <= int(one.size()); ++row) {
        current[0] = row;
        for (int column = 1; column < width; ++column) {
            const auto at = size_t(column);
            const int changed = last[at - 1] + (one[row - 1] == other[column - 1] ? 0 : 1);
            current[at] = std::min({changed, last[at] + 1, current[at - 1] + 1});
            const bool swapped = row > 1 && column > 1 && one[row - 1] == other[column - 2] &&
                                 one[row - 2] == other[column - 1];
            if (swapped)
                current[at] = std::min(current[at], beforeLast[at - 2] + 1);
        }
        std::swap(beforeLast, last);
        std::swap(last, current);
    }
    return last.back();
}

} // namespace

QString nearestName(const QString &given, const QStringList &names)
{
    const QString wanted = given.toLower();
    const int mostSlips = std::max(1, int(wanted.size()) / lettersForOneSlip);
    QString nearest;
    int fewest = mostSlips + 1;
    for (const QString &name : names) {
        if (std::abs(int(name.size() - wanted.size())) >= fewest)
            continue;
        const int slips = slipsBetween(wanted, name.toLower());
        // Names that share no letter are not near, however short they are.
        if (slips < fewest && slips < std::max(name.size(), wanted.size())) {
            fewest = slips;
            nearest = name;
        }
    }
    return nearest;
}

} // namespace kvlink
