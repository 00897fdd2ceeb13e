// SPDX-License-Identifier: MIT
// The program's own malloc, calloc and realloc, which take the place of the C library's for all its
// shared objects: they count and pass the call on. operator new ends up in malloc.
#include "allocation_count.h"

#include <cstddef>

extern "C" {
// The C library exports these names for this purpose.
// NOLINTBEGIN(readability-identifier-naming)
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
// NOLINTEND(readability-identifier-naming)
}

namespace
{
thread_local unsigned long allocations = 0;
} // namespace

unsigned long allocationsOfThisThread()
{
    return allocations;
}

extern "C" {
void *malloc(std::size_t size) noexcept
{
    ++allocations;
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size) noexcept
{
    ++allocations;
    return __libc_calloc(count, size);
}

void *realloc(void *block, std::size_t size) noexcept
{
    ++allocations;
    return __libc_realloc(block, size);
}
}
