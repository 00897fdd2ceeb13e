// SPDX-License-Identifier: MIT
// What is wrong with settings and options, before a link or a tag is made of them.
#pragma once

#include <kvlink/link.h>
#include <kvlink/write.h>

namespace kvlink
{

/// A sentence each; empty: nothing is wrong. Addresses are not looked at.
QString problemOf(const LinkSettings &settings);
QString problemOf(const TagSettings &settings);
QString problemOf(const WriteOptions &options);

} // namespace kvlink
