/** Counts heap allocations of the whole process. */
#pragma once

#include <cstdint>

namespace rig
{

/** False in sanitizer builds, whose allocator can't be watched this way. */
bool CountsAllocations();
/** Allocations since the process started, of all threads. */
std::uint64_t Allocations();

} // namespace rig
