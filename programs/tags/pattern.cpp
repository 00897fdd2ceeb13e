// SPDX-License-Identifier: MIT
#include "pattern.h"

#include <algorithm>

namespace kvtags
{

bool isPattern(const QString &word)
{
    return word.contains('*') || word.contains('?');
}

// Goes back to the last star only: no pattern takes longer than its length times that of the name.
bool matchesPattern(const QString &pattern, const QString &name)
{
    int p = 0, n = 0, star = -1, resume = 0;
    while (n < int(name.size())) {
        if (p < int(pattern.size()) && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (p < int(pattern.size()) && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star >= 0) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < int(pattern.size()) && pattern[p] == '*')
        ++p;
    return p == int(pattern.size());
}

bool matchesAny(const QStringList &patterns, const QString &name)
{
    return patterns.isEmpty() ||
           std::any_of(patterns.begin(), patterns.end(),
                       [&name](const QString &pattern) { return matchesPattern(pattern, name); });
}

} // namespace kvtags
