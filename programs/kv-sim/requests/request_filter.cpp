// SPDX-License-Identifier: MIT
// Which requests something applies to.
#include "requests/request_filter.h"

#include <algorithm>

namespace kvsim
{

bool RequestFilter::matches(const Asked &asked) const
{
    if (!words.empty() && std::find(words.begin(), words.end(), asked.word) == words.end())
        return false;
    return !span || (asked.span && overlap(*span, *asked.span));
}

} // namespace kvsim
