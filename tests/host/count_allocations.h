/** Counts what a thread allocates with operator new. */
#pragma once

#include <cstdint>

/** Allocations of the calling thread since it began. */
std::uint64_t AllocationsOfThisThread();
