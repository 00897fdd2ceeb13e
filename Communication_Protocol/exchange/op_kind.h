// Which list the request in flight came from, as it stands in PLC_driver.opKind.
#pragma once

namespace OpKind
{
constexpr int CyclicRead = 0;
constexpr int Write = 1;
constexpr int OnceRead = 2;
} // namespace OpKind
