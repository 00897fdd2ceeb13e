// SPDX-License-Identifier: MIT
// C++ records of kvlink into the plain records of the C face, and the texts that those point to.
//
// Each function of the C face that hands out texts keeps one Handed for each thread: what it handed
// out lives until the thread calls it again.
#pragma once

#include "api/mailbox.h"

#include <kvlink/kvlink.h>

#include <deque>

namespace kvlink
{

/// What the records of one call point to.
class Handed
{
public:
    void clear();
    const char *text(const QString &text);
    const kvlink_scalar *scalars(const Value &value, int32_t &count);

private:
    std::deque<QByteArray> m_texts; // a deque: texts stay where they are
    std::vector<kvlink_scalar> m_scalars;
};

kvlink_sample recordOf(const Sample &sample, Handed &handed);
kvlink_write_result recordOf(const WriteResult &result, Handed &handed);
kvlink_link_status recordOf(const LinkStatus &status, Handed &handed);
kvlink_statistics recordOf(const LinkStatistics &from);

double seconds(Duration time);
/// Nothing for a negative number or none.
std::optional<Duration> duration(double seconds);

/// Keeps the text for the thread's kvlink_last_error. \return the error
int failed(kvlink_error error, const QString &text);

} // namespace kvlink
