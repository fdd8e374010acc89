/** Counts heap allocations, those of the libraries included, and refuses some. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace rig
{

/** False in sanitizer builds, whose allocator can't be replaced. */
bool CountsAllocations();
/** Allocations since the process started, of all threads. */
std::uint64_t Allocations();
/** Allocations of the calling thread since it began. */
std::uint64_t AllocationsOfThisThread();

/** Blocks that are allocated and not freed, of all threads. 0 in sanitizer builds, which look for
 *  leaks themselves. */
std::uint64_t LiveAllocations();

/** From now on malloc refuses blocks of exactly this size; 0: none. Has no effect in sanitizer
 *  builds. */
void RefuseAllocationsOf(std::size_t bytes);

} // namespace rig
