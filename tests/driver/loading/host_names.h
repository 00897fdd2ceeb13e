// SPDX-License-Identifier: MIT
// A host whose own variables and functions happen to have the names of the driver's.
//
// Not together with Communication_Protocol.h, which declares the same names otherwise.
#pragma once

namespace hostnames
{
/// \return true if all variables of the host still hold what they held when the program started
bool areUntouched();

/// How often one of the host's functions was called in place of the driver's.
int callsTaken();
} // namespace hostnames
