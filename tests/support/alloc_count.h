/** Counts heap allocations, those of the libraries included. */
#pragma once

#include <cstdint>

namespace rig
{

/** False in sanitizer builds, whose allocator can't be watched this way. */
bool CountsAllocations();
/** Allocations since the process started, of all threads. */
std::uint64_t Allocations();
/** Allocations of the calling thread since it began. */
std::uint64_t AllocationsOfThisThread();

} // namespace rig
