// SPDX-License-Identifier: MIT
// Counts what the process asks of the heap, whoever asks: operator new, Qt's containers, C.
#pragma once

/// Calls of malloc, calloc and realloc on this thread so far.
unsigned long allocationsOfThisThread();
