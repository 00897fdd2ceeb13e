// SPDX-License-Identifier: MIT
// Names the clauses that a test shows, as docs/kv-gateway-sparkplug.md lists them.
#pragma once

#include <gtest/gtest.h>

namespace kvgateway
{

/// \param ids "T:nbirth-topic B:nbirth-topic"; a test compares all of them with the page
inline void conforms(const char *ids)
{
    testing::Test::RecordProperty("conforms", ids);
}

} // namespace kvgateway
