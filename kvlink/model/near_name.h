// SPDX-License-Identifier: MIT
// The name that was probably meant: for mistyped tags, commands, keys and devices. Declared in
// the public header.
#pragma once

#include <kvlink/text.h>
