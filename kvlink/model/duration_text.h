// SPDX-License-Identifier: MIT
// Times as people write them. Declared in the public header, since programs take times on
// their command lines.
#pragma once

#include <kvlink/text.h>
