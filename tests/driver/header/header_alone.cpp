// SPDX-License-Identifier: MIT
// The public header alone, twice, in the oldest C++ that Qt allows and under strict warnings: a
// host may have no newer compiler settings than these.
#include <Communication_Protocol.h>
// NOLINTNEXTLINE(readability-duplicate-include)
#include <Communication_Protocol.h>

#if QT_VERSION_MAJOR == 5
static_assert(__cplusplus == 201103L, "compiled as C++11");
#endif
static_assert(sizeof(ComInfo) == 19 * 4, "the settings block has 19 words");
