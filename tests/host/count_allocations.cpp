#include "count_allocations.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::uint64_t allocations = 0;
} // namespace

std::uint64_t AllocationsOfThisThread()
{
    return allocations;
}

// In a file of their own, so that no caller inlines one of a pair.
void* operator new(std::size_t bytes)
{
    ++allocations;
    if (void* memory = std::malloc(bytes == 0 ? 1 : bytes))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
