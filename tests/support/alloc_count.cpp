#include "tests/support/alloc_count.h"

#include <atomic>
#include <cerrno>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RIG_SANITIZED 1
#endif
#endif

static std::atomic<std::uint64_t> allocations{0};
static std::atomic<std::uint64_t> frees{0};
static thread_local std::uint64_t allocationsOfThisThread = 0;
static std::atomic<std::size_t> refusedSize{0};

namespace rig
{

bool CountsAllocations()
{
#ifdef RIG_SANITIZED
    return false;
#else
    return true;
#endif
}

std::uint64_t Allocations()
{
    return allocations;
}

std::uint64_t AllocationsOfThisThread()
{
    return allocationsOfThisThread;
}

std::uint64_t LiveAllocations()
{
    return allocations - frees;
}

void RefuseAllocationsOf(std::size_t bytes)
{
    refusedSize = bytes;
}

} // namespace rig

#ifndef RIG_SANITIZED

static void Count()
{
    ++allocations;
    ++allocationsOfThisThread;
}

// The C library's own names for its allocator; operator new comes through malloc.
extern "C" {
void* __libc_malloc(std::size_t size);                // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t n, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(std::size_t alignment,          // NOLINT(bugprone-reserved-identifier)
                      std::size_t size);
void __libc_free(void* block); // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size)
{
    Count();
    return size != 0 && size == refusedSize ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t n, std::size_t size)
{
    Count();
    return __libc_calloc(n, size);
}

void* realloc(void* block, std::size_t size)
{
    Count();
    frees += block == nullptr ? 0 : 1;
    return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    Count();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    Count();
    *block = __libc_memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block)
{
    frees += block == nullptr ? 0 : 1;
    __libc_free(block);
}
} // extern "C"

#endif
