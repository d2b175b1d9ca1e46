// SPDX-License-Identifier: Apache-2.0
#include "bench/allocations.h"

#include <atomic>
#include <cstddef>

// Qt's strings come from malloc() and its list nodes from operator new, which calls malloc(): replacing malloc() alone
// counts both. glibc lets a program do so and keeps its own under these names.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
}

namespace
{

std::atomic<long long> allocations{0};

void count()
{
    allocations.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

extern "C" {

void *malloc(std::size_t size)
{
    count();
    return __libc_malloc(size);
}

void *calloc(std::size_t number, std::size_t size)
{
    count();
    return __libc_calloc(number, size);
}

void *realloc(void *block, std::size_t size)
{
    count();
    return __libc_realloc(block, size);
}
}

long long allocationCount()
{
    return allocations.load(std::memory_order_relaxed);
}
