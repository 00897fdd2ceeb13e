// SPDX-License-Identifier: MIT
// Addresses and names of hosts, as people write them.
#pragma once

#include <QString>

namespace kvlink
{

/// "[fe80::1%eth0]" without its brackets.
bool isIpv6Address(const QString &text);

/// Whether a host without brackets is four decimals or a possible name.
/// \param isName set on success
/// \param problem what is wrong and what to write instead; set on failure only
bool checkHost(const QString &host, bool &isName, QString &problem);

} // namespace kvlink
